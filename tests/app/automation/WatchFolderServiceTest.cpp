#include "WorkspaceHarness.h"

#include "automation/WatchFolderService.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "state/OperationLog.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class WatchFolderServiceTest : public ::testing::Test {
protected:
    WorkspaceHarness harness;
    TempDir media;
    double now = 1000;
    Workspace &ws = harness.open();
    WatchFolderService *watcher = ws.watcher();

    void SetUp() override
    {
        watcher->setClock([this] { return now; });
        ws.queue().pause(); // jobs stay WAITING so the test can read them
    }
    TranscodePreset proxy()
    {
        TranscodePreset preset = ws.preset();
        preset.suffix = QStringLiteral("_proxy");
        preset.container = QStringLiteral("mov");
        return preset;
    }
    QUuid rule(const QString &watched, const QString &destination, bool enabled = true)
    {
        const QUuid id = watcher->addRule(media.makeDir(watched), media.makeDir(destination), proxy());
        watcher->setEnabled(id, enabled);
        return id;
    }
    void pollAfter(double seconds)
    {
        now += seconds;
        QSignalSpy finished(watcher, &WatchFolderService::pollFinished);
        watcher->poll();
        ASSERT_TRUE(finished.count() > 0 || finished.wait(10000));
    }
    QStringList queued() const
    {
        QStringList outputs;
        for (const MediaJob &job : ws.queue().state().jobs)
            outputs << job.outputDestination.value_or(QString());
        return outputs;
    }
};

} // namespace

TEST_F(WatchFolderServiceTest, AGrowingFileIsQueuedOnceAfterTwentyQuietSeconds)
{
    rule(QStringLiteral("Incoming"), QStringLiteral("out"));
    const QString clip = media.write(QStringLiteral("Incoming/Day1/A001.mov"), "a");
    media.write(QStringLiteral("Incoming/Day1/A001.wav"), "sound");
    QFile file(clip);
    ASSERT_TRUE(file.open(QIODevice::Append | QIODevice::Unbuffered));

    // Written over 45 seconds: a new size at every poll.
    for (int poll = 0; poll < 5; ++poll) {
        pollAfter(10);
        EXPECT_TRUE(queued().isEmpty()) << "poll " << poll;
        file.write("more");
    }
    pollAfter(5); // 45 s: first seen in its final form
    pollAfter(10);
    pollAfter(9.5);
    EXPECT_TRUE(queued().isEmpty());
    pollAfter(0.5); // 20 s later
    EXPECT_EQ(queued(), QStringList{media.file(QStringLiteral("out/Incoming/Day1/A001_proxy.mov"))});
    pollAfter(10);
    pollAfter(10);
    EXPECT_EQ(queued().size(), 1);

    const MediaJob &job = ws.queue().state().jobs.front();
    EXPECT_TRUE(job.operation == JobOperation::transcode && job.preset == proxy()
                && job.destinationRoot == media.file(QStringLiteral("out")) && job.bytes == QFileInfo(clip).size());
    ws.queue().flush();
    EXPECT_EQ(StateStore::load(harness.support.path()).watches.front().seen.keys(), QStringList{clip});

    // A new version is queued again; here its output collides with the waiting job's.
    file.write("changed");
    pollAfter(10);
    pollAfter(20);
    EXPECT_EQ(queued().size(), 1);
    EXPECT_TRUE(ws.notice().startsWith(QStringLiteral("Watch folder: Destination collision: ")));
}

TEST_F(WatchFolderServiceTest, EachRuleIsPolledOnItsOwnAndAFailingOneIsReported)
{
    const QUuid inside = rule(QStringLiteral("Watched"), QStringLiteral("elsewhere"));
    // A destination inside the watched folder that reached the state by another way.
    for (WatchFolder entry : ws.queue().state().watches)
        if (entry.id == inside) {
            entry.destination = FileGrant(media.makeDir(QStringLiteral("Watched/out")));
            ws.queue().repository().updateWatch(entry);
        }
    rule(QStringLiteral("Shared"), QStringLiteral("out1"));
    rule(QStringLiteral("Shared"), QStringLiteral("out2"));
    rule(QStringLiteral("Off"), QStringLiteral("out3"), false);
    media.write(QStringLiteral("Watched/a.mov"), "v");
    media.write(QStringLiteral("Shared/clip.mp4"), "v");
    media.write(QStringLiteral("Off/clip.mp4"), "v");
    pollAfter(0);
    pollAfter(20);
    pollAfter(20);
    EXPECT_EQ(queued(), (QStringList{media.file(QStringLiteral("out1/Shared/clip_proxy.mov")),
                                     media.file(QStringLiteral("out2/Shared/clip_proxy.mov"))}));
    const QString expected = QStringLiteral("Watch folder: Watch output must be outside the watched folder.");
    EXPECT_EQ(ws.notice(), expected);
    ws.queue().flush();
    EXPECT_TRUE(readFile(OperationLog::path(harness.support.path())).contains(expected.toUtf8()));
}

// A link in the watched folder is skipped and logged once; the files beside it are still queued.
TEST_F(WatchFolderServiceTest, ALinkIsSkippedAndLoggedOnceWhileTheRestIsQueued)
{
    rule(QStringLiteral("In"), QStringLiteral("out"));
    const QString clip = media.write(QStringLiteral("In/A001.mov"), "v");
    const QString link = media.file(QStringLiteral("In/A002.mov"));
    ASSERT_TRUE(QFile::link(clip, link));
    for (int poll = 0; poll < 4; ++poll)
        pollAfter(10);
    EXPECT_EQ(queued(), QStringList{media.file(QStringLiteral("out/In/A001_proxy.mov"))});
    const QString message = QStringLiteral("Watch folder: A symbolic link was skipped: ") + link;
    EXPECT_EQ(ws.notice(), message);
    ws.queue().flush();
    EXPECT_EQ(readFile(OperationLog::path(harness.support.path())).count(message.toUtf8()), 1);
}

TEST_F(WatchFolderServiceTest, RuleEditing)
{
    const QString watched = media.makeDir(QStringLiteral("W"));
    for (const QString &destination : {watched, media.makeDir(QStringLiteral("W/out"))}) {
        try {
            watcher->addRule(watched, destination, proxy());
            ADD_FAILURE() << "accepted " << destination.toStdString();
        } catch (const VantorError &error) {
            EXPECT_EQ(error.message(), QStringLiteral("Choose a destination outside the watched folder."));
        }
    }
    EXPECT_TRUE(ws.queue().state().watches.empty());

    harness.choices.folders = {watched, media.makeDir(QStringLiteral("dest"))};
    ws.addWatchFolder(); // added disabled, with the current preset
    ASSERT_EQ(ws.queue().state().watches.size(), 1u);
    const WatchFolder &created = ws.queue().state().watches.front();
    EXPECT_TRUE(!created.enabled && created.preset == ws.preset() && created.source == FileGrant(watched));
}

// Real time, real timer: the only test here that waits for the clock.
TEST(WatchFolderRealTime, AFileWrittenOverFortyFiveSecondsIsQueuedTwentyToThirtySecondsLater)
{
    WorkspaceHarness harness;
    TempDir media;
    Workspace &ws = harness.open();
    ws.queue().pause();
    ws.watcher()->setEnabled(ws.watcher()->addRule(media.makeDir("In"), media.makeDir("Out"), ws.preset()), true);
    QFile file(media.write(QStringLiteral("In/shot.mov"), "a"));
    ASSERT_TRUE(file.open(QIODevice::Append | QIODevice::Unbuffered));
    const auto queued = [&] { return !ws.queue().state().jobs.empty(); };
    QElapsedTimer timer;
    for (timer.start(); timer.elapsed() < 45000; file.write("more"))
        ASSERT_FALSE(QTest::qWaitFor(queued, 3000));
    timer.start();
    ASSERT_TRUE(QTest::qWaitFor(queued, 40000));
    EXPECT_GE(timer.elapsed(), 20000);
    EXPECT_LE(timer.elapsed(), 31000);
    EXPECT_EQ(ws.queue().state().jobs.size(), 1u);
    EXPECT_EQ(ws.queue().state().jobs.back().bytes, file.size());
}
