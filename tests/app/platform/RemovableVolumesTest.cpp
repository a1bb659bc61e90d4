#include "FakeUDisks.h"
#include "PrivateBus.h"
#include "ScopedEnvironment.h"
#include "platform/RemovableVolumes.h"

#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>
#include <memory>

using namespace vantor;
using test::FakeCard;
using test::FakeUDisks;

namespace {

// Every message the program logs while the object lives.
class LogCapture {
public:
    LogCapture() { s_messages.clear(); m_previous = qInstallMessageHandler(&LogCapture::record); }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    QStringList messages() const { return s_messages; }

private:
    static void record(QtMsgType, const QMessageLogContext &, const QString &text) { s_messages << text; }
    static inline QStringList s_messages;
    QtMessageHandler m_previous;
};

const FakeCard a001{QStringLiteral("sdb1"), QStringLiteral("A001"), 64000000000, QStringLiteral("/media/dit/A001")};

class RemovableVolumesTest : public ::testing::Test {
protected:
    test::PrivateBus bus;
    test::ScopedEnvironment address{"VANTOR_SYSTEM_BUS_ADDRESS", bus.address().toUtf8()};
    std::unique_ptr<FakeUDisks> udisks = std::make_unique<FakeUDisks>(bus.address());

    void SetUp() override { ASSERT_FALSE(bus.address().isEmpty()) << "dbus-daemon did not start"; }

    static QStringList labels(const RemovableVolumes &volumes)
    {
        QStringList shown;
        for (const RemovableVolume &volume : volumes.volumes())
            shown << volume.label + u' ' + volume.mountPoint;
        return shown;
    }
    static bool waitFor(const std::function<bool()> &done) { return QTest::qWaitFor(done, 10000); }
};

TEST_F(RemovableVolumesTest, OffersMountedFileSystemsOfRemovableDrivesOnly)
{
    struct Case {
        const char *name;
        FakeCard card;
        QStringList offered; // besides the reference card B002
    };
    const QString mount = QStringLiteral("/media/dit/");
    const Case cases[] = {
        {"removable and mounted", a001, {QStringLiteral("A001 /media/dit/A001")}},
        {"no label: the mount folder's name", {QStringLiteral("sdc1"), QString(), 1, mount + QStringLiteral("A002")},
         {QStringLiteral("A002 /media/dit/A002")}},
        {"internal disk", {QStringLiteral("nvme0n1p2"), QStringLiteral("data"), 1, QStringLiteral("/srv"), false}, {}},
        {"not mounted", {QStringLiteral("sdd1"), QStringLiteral("A003"), 1, QString()}, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        udisks.reset();
        udisks = std::make_unique<FakeUDisks>(bus.address());
        udisks->add({QStringLiteral("sde1"), QStringLiteral("B002"), 2, mount + QStringLiteral("B002")}, false);
        udisks->add(c.card, false);
        RemovableVolumes volumes;
        volumes.start();
        ASSERT_TRUE(waitFor([&] { return !volumes.volumes().empty(); }));
        EXPECT_EQ(labels(volumes), c.offered + QStringList{QStringLiteral("B002 /media/dit/B002")});
    }
    udisks.reset();
    udisks = std::make_unique<FakeUDisks>(bus.address());
    udisks->add(a001, false);
    RemovableVolumes volumes;
    volumes.start();
    ASSERT_TRUE(waitFor([&] { return !volumes.volumes().empty(); }));
    const RemovableVolume &card = volumes.volumes().front();
    EXPECT_EQ(card.size, 64000000000);
    EXPECT_EQ(card.objectPath, FakeUDisks::blockPath(QStringLiteral("sdb1")));
    EXPECT_EQ(card.drivePath, FakeUDisks::drivePath(QStringLiteral("sdb1")));
    EXPECT_EQ(volumes.containing(QStringLiteral("/media/dit/A001/DCIM/C0001.MP4"))->label, QStringLiteral("A001"));
    EXPECT_FALSE(volumes.containing(QStringLiteral("/media/dit/A0010")));
}

TEST_F(RemovableVolumesTest, FollowsCardsArrivingAndLeaving)
{
    struct Case {
        const char *name;
        std::function<void(FakeUDisks &)> arrive, leave;
    };
    FakeCard unmounted = a001;
    unmounted.mountPoint.clear();
    const Case cases[] = {
        {"added and removed", [](FakeUDisks &fake) { fake.add(a001); },
         [](FakeUDisks &fake) { fake.remove(a001.name); }},
        {"mounted and unmounted",
         [&](FakeUDisks &fake) {
             fake.add(unmounted);
             fake.setMountPoint(a001.name, a001.mountPoint);
         },
         [](FakeUDisks &fake) { fake.setMountPoint(a001.name, QString()); }},
        {"the service goes away", [](FakeUDisks &fake) { fake.add(a001); }, [this](FakeUDisks &) { udisks.reset(); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        udisks.reset();
        udisks = std::make_unique<FakeUDisks>(bus.address());
        RemovableVolumes volumes;
        volumes.start();
        QSignalSpy mounted(&volumes, &RemovableVolumes::volumeMounted);
        QSignalSpy removed(&volumes, &RemovableVolumes::volumeRemoved);
        c.arrive(*udisks);
        ASSERT_TRUE(mounted.wait(10000));
        EXPECT_EQ(labels(volumes), QStringList{QStringLiteral("A001 /media/dit/A001")});
        c.leave(*udisks);
        ASSERT_TRUE(removed.wait(10000));
        EXPECT_EQ(removed.first().first().value<RemovableVolume>().label, QStringLiteral("A001"));
        EXPECT_TRUE(volumes.volumes().empty());
        EXPECT_EQ(mounted.size(), 1);
    }
}

TEST_F(RemovableVolumesTest, EjectUnmountsThenPowersOffWhereTheDriveCan)
{
    const QString unmount = QStringLiteral("Unmount ") + FakeUDisks::blockPath(a001.name);
    const QString powerOff = QStringLiteral("PowerOff ") + FakeUDisks::drivePath(a001.name);
    struct Case {
        const char *name;
        bool canPowerOff;
        QString failing, failure;
        QStringList calls;
        QString message; // empty: ejected
    };
    const Case cases[] = {
        {"unmount and power off", true, {}, {}, {unmount, powerOff}, {}},
        {"a drive that cannot power off", false, {}, {}, {unmount}, {}},
        {"busy", true, QStringLiteral("Unmount"), QStringLiteral("Error unmounting /dev/sdb1: target is busy"),
         {unmount},
         QStringLiteral("\u201CA001\u201D could not be ejected: Error unmounting /dev/sdb1: target is busy.")},
        {"power off refused", true, QStringLiteral("PowerOff"), QStringLiteral("Not authorized."), {unmount, powerOff},
         QStringLiteral("\u201CA001\u201D was unmounted but could not be powered off: Not authorized.")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        udisks.reset();
        udisks = std::make_unique<FakeUDisks>(bus.address());
        FakeCard card = a001;
        card.canPowerOff = c.canPowerOff;
        udisks->add(card, false);
        if (!c.failing.isEmpty())
            udisks->failNext(c.failing, c.failure);
        RemovableVolumes volumes;
        volumes.start();
        ASSERT_TRUE(waitFor([&] { return volumes.volumes().size() == 1; }));
        QSignalSpy ejected(&volumes, &RemovableVolumes::ejected);
        QSignalSpy failed(&volumes, &RemovableVolumes::ejectFailed);
        const RemovableVolume volume = volumes.volumes().front();
        volumes.eject(volume);
        volumes.eject(volume); // a second press while it runs changes nothing
        EXPECT_TRUE(volumes.ejecting(volume));
        ASSERT_TRUE(waitFor([&] { return ejected.size() + failed.size() > 0; }));
        EXPECT_FALSE(volumes.ejecting(volume));
        EXPECT_EQ(udisks->calls(), c.calls);
        EXPECT_EQ(failed.isEmpty() ? QString() : failed.first().at(1).toString(), c.message);
        // Only a refused unmount leaves the card offered.
        EXPECT_EQ(volumes.volumes().size(), c.failing == QLatin1String("Unmount") ? 1u : 0u);
    }
}

TEST_F(RemovableVolumesTest, SilentWithoutBusOrService)
{
    LogCapture log;
    {
        test::ScopedEnvironment none("VANTOR_SYSTEM_BUS_ADDRESS", QByteArray("unix:path=/nonexistent/vantor-bus"));
        RemovableVolumes volumes;
        volumes.start();
        EXPECT_FALSE(volumes.connectedToSystem());
        EXPECT_TRUE(volumes.volumes().empty());
    }
    // A bus without UDisks2 says nothing either, and a UDisks2 that starts later is followed.
    udisks.reset();
    RemovableVolumes volumes;
    volumes.start();
    EXPECT_TRUE(volumes.connectedToSystem());
    QSignalSpy mounted(&volumes, &RemovableVolumes::volumeMounted);
    udisks = std::make_unique<FakeUDisks>(bus.address());
    udisks->add(a001);
    ASSERT_TRUE(mounted.wait(10000));
    EXPECT_EQ(labels(volumes), QStringList{QStringLiteral("A001 /media/dit/A001")});
    EXPECT_EQ(log.messages(), QStringList());
}

} // namespace
