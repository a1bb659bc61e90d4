#include "FakeUDisks.h"
#include "PrivateBus.h"
#include "RefusalCheck.h"
#include "ScopedEnvironment.h"
#include "platform/RemovableVolumes.h"

#include <QLabel>

using namespace vantor;

namespace {

class VolumeBarTest : public test::UiTest {
protected:
    test::PrivateBus bus;
    test::ScopedEnvironment address{"VANTOR_SYSTEM_BUS_ADDRESS", bus.address().toUtf8()};
    const QString card = dir.makeDir(QStringLiteral("A001"));
    std::unique_ptr<test::FakeUDisks> udisks;

    QString text(QWidget *row, const char *name) { return row->findChild<QLabel *>(QLatin1String(name))->text(); }
    QAbstractButton *button(QWidget *row, const char *name)
    {
        return row->findChild<QAbstractButton *>(QLatin1String(name));
    }
};

TEST_F(VolumeBarTest, AMountedCardIsOfferedImportedAndEjectedWhenTheQueueIsDone)
{
    ASSERT_FALSE(bus.address().isEmpty()) << "dbus-daemon did not start";
    dir.write(QStringLiteral("A001/DCIM/C0001.MP4"), test::randomBytes(1000, 1));
    udisks = std::make_unique<test::FakeUDisks>(bus.address());
    udisks->add({QStringLiteral("sdb1"), QStringLiteral("A001"), 64000000000, card}, false);
    udisks->add({QStringLiteral("nvme0n1p2"), QStringLiteral("data"), 1, dir.makeDir(QStringLiteral("disk")), false},
                false);
    open();
    workspace->volumes().start();
    workspace->setPage(Page::ingest);

    // The card is offered, the internal disk is not.
    ASSERT_TRUE(waitUntil([&] { return find(QStringLiteral("volumeBar"))->isVisible(); }));
    const QList<QWidget *> offers = window->findChildren<QWidget *>(QStringLiteral("volumeOffer"));
    ASSERT_EQ(offers.size(), 1);
    QWidget *offer = offers.first();
    EXPECT_EQ(text(offer, "volumeLabel"), QStringLiteral("A001"));
    EXPECT_EQ(text(offer, "volumeDetail"), QStringLiteral("64.0 GB \u00B7 ") + card);
    QAbstractButton *import = button(offer, "importVolume");
    QAbstractButton *eject = button(offer, "ejectVolume");
    EXPECT_EQ(import->accessibleName(), QStringLiteral("Import"));
    EXPECT_EQ(eject->accessibleName(), QStringLiteral("Eject"));
    // Tab reaches them between "Add Sources…" and the drop zone's button, as they are shown.
    EXPECT_EQ(test::tabChain(find(QStringLiteral("importPage"))).mid(1, 4),
              (QStringList{"addSources=Add Sources\u2026", "ejectVolume=Eject", "importVolume=Import",
                           "browseMedia=Browse media\u2026"}));

    // "Import" receives the card as a drop of its folder does.
    QTest::mouseClick(import, Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return !workspace->scanning() && !workspace->sources().empty(); }));
    EXPECT_EQ(workspace->sources().front().url, card + QStringLiteral("/DCIM/C0001.MP4"));

    // While a job still reads from the card it stays; once none does, it is unmounted and powered off.
    const SourceFile &clip = workspace->sources().front();
    const QString project = dir.makeDir(QStringLiteral("project"));
    const MediaJob reading = MediaJob::make(clip.url, FileGrant(card), project, FileGrant(project),
                                            project + QStringLiteral("/C0001.MP4"), std::nullopt, JobOperation::copy,
                                            std::nullopt, ChecksumAlgorithm(), clip.size, clip.modified);
    queue().enqueue({reading});
    QTest::mouseClick(eject, Qt::LeftButton);
    test::expectRefusal(*this, QStringLiteral("\u201CA001\u201D is still in use by the queue: let its jobs finish, or "
                                              "cancel them, before ejecting it."));
    queue().cancel(reading.id);
    QTest::mouseClick(eject, Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return workspace->notice() == QStringLiteral("\u201CA001\u201D ejected and safe to remove"); }));
    EXPECT_EQ(udisks->calls(), (QStringList{QStringLiteral("Unmount ") + test::FakeUDisks::blockPath(QStringLiteral("sdb1")),
                                            QStringLiteral("PowerOff ") + test::FakeUDisks::drivePath(QStringLiteral("sdb1"))}));
    EXPECT_FALSE(find(QStringLiteral("volumeBar"))->isVisible());
}

} // namespace
