#include "WorkspaceHarness.h"

#include "automation/WatchFolderService.h"
#include "model/StateStore.h"
#include "projects/WatchFolder.h"
#include "model/VantorError.h"
#include "queue/OperationLog.h"

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
    Workspace *workspace = nullptr;
    WatchFolderService *watcher = nullptr;

    void SetUp() override
    {
        workspace = &harness.open();
        watcher = workspace->watcher();
        watcher->setClock([this] { return now; });
        workspace->queue().pause(); // jobs stay WAITING so the test can read them
    }

    TranscodePreset proxy()
    {
        TranscodePreset preset = workspace->preset();
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
    // One poll `seconds` after the previous one.
    void pollAfter(double seconds)
    {
        now += seconds;
        QSignalSpy finished(watcher, &WatchFolderService::pollFinished);
        watcher->poll();
        ASSERT_TRUE(finished.count() > 0 || finished.wait(10000));
    }
    QStringList queuedOutputs() const
    {
        QStringList outputs;
        for (const MediaJob &job : workspace->queue().state().jobs)
            outputs << job.outputDestination.value_or(QString());
        return outputs;
    }
    void append(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(bytes);
    }
};

} // namespace

TEST_F(WatchFolderServiceTest, AGrowingFileIsQueuedOnceAfterTwentyQuietSeconds)
{
    rule(QStringLiteral("Incoming"), QStringLiteral("out"));
    const QString clip = media.write(QStringLiteral("Incoming/Day1/A001.mov"), "a");
    media.write(QStringLiteral("Incoming/Day1/A001.wav"), "sound");
    media.write(QStringLiteral("Incoming/Day1/A001.xml"), "<xml/>");

    // Written over 45 seconds: a new size at every poll.
    for (int poll = 0; poll < 5; ++poll) {
        pollAfter(10);
        EXPECT_TRUE(queuedOutputs().isEmpty()) << "poll " << poll;
        append(clip, "more");
    }
    pollAfter(5); // 45 s: it stops changing and is first seen in its final form
    pollAfter(10);
    EXPECT_TRUE(queuedOutputs().isEmpty());
    pollAfter(9.5);
    EXPECT_TRUE(queuedOutputs().isEmpty());
    pollAfter(0.5); // 20 s after the final version was first seen
    EXPECT_EQ(queuedOutputs(), QStringList{media.file(QStringLiteral("out/Incoming/Day1/A001_proxy.mov"))});
    pollAfter(10);
    pollAfter(10);
    EXPECT_EQ(queuedOutputs().size(), 1);

    const MediaJob &job = workspace->queue().state().jobs.front();
    EXPECT_EQ(job.operation, JobOperation::transcode);
    EXPECT_EQ(job.checksum, std::nullopt);
    EXPECT_EQ(job.preset, proxy());
    EXPECT_EQ(job.destinationRoot, media.file(QStringLiteral("out")));
    EXPECT_EQ(job.bytes, QFileInfo(clip).size());
    const WatchFolder &stored = workspace->queue().state().watches.front();
    EXPECT_EQ(stored.seen.keys(), QStringList{clip});
    workspace->queue().flush();
    EXPECT_EQ(StateStore::load(harness.support.path()).watches.front().seen, stored.seen);

    // A new version is queued again (its transcode would then meet the existing output).
    append(clip, "changed");
    pollAfter(10);
    pollAfter(20);
    EXPECT_EQ(queuedOutputs().size(), 1); // same output path: the queue refuses the collision
    EXPECT_TRUE(workspace->notice().startsWith(QStringLiteral("Watch folder: Destination collision: ")));
}

TEST_F(WatchFolderServiceTest, RulesKeepTheirOwnStabilityAndSeen)
{
    rule(QStringLiteral("Shared"), QStringLiteral("out1"));
    rule(QStringLiteral("Shared"), QStringLiteral("out2"));
    rule(QStringLiteral("Off"), QStringLiteral("out3"), false);
    media.write(QStringLiteral("Shared/clip.mp4"), "v");
    media.write(QStringLiteral("Off/clip.mp4"), "v");
    pollAfter(0);
    pollAfter(20);
    EXPECT_EQ(queuedOutputs(), (QStringList{media.file(QStringLiteral("out1/Shared/clip_proxy.mov")),
                                            media.file(QStringLiteral("out2/Shared/clip_proxy.mov"))}));
    pollAfter(20);
    EXPECT_EQ(queuedOutputs().size(), 2);
}

TEST_F(WatchFolderServiceTest, FailingRulesReportAndTheNextRuleIsPolled)
{
    const QUuid inside = rule(QStringLiteral("Watched"), QStringLiteral("elsewhere"));
    // A destination inside the watched folder that reached the state by another way.
    for (WatchFolder &entry : workspace->queue().mutableState().watches) {
        if (entry.id == inside)
            entry.destination = FileGrant(media.makeDir(QStringLiteral("Watched/out")));
    }
    rule(QStringLiteral("Good"), QStringLiteral("goodOut"));
    media.write(QStringLiteral("Good/a.mov"), "v");
    pollAfter(0);
    pollAfter(20);
    EXPECT_EQ(queuedOutputs().size(), 1);
    const QString expected = QStringLiteral("Watch folder: Watch output must be outside the watched folder.");
    EXPECT_EQ(workspace->notice(), expected);
    workspace->queue().flush();
    EXPECT_TRUE(QString::fromUtf8(readFile(OperationLog::path(harness.support.path()))).contains(expected));
}

TEST_F(WatchFolderServiceTest, RuleEditing)
{
    const QString watched = media.makeDir(QStringLiteral("W"));
    EXPECT_THROW(watcher->addRule(watched, watched, proxy()), VantorError);
    try {
        watcher->addRule(watched, media.makeDir(QStringLiteral("W/out")), proxy());
        FAIL() << "a destination inside the watched folder was accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Choose a destination outside the watched folder."));
    }
    EXPECT_TRUE(workspace->queue().state().watches.empty());

    harness.choices.folders = {watched, media.makeDir(QStringLiteral("dest"))};
    workspace->addWatchFolder();
    EXPECT_EQ(harness.choices.asked, (QStringList{QStringLiteral("Choose folder to watch"),
                                                  QStringLiteral("Choose transcode destination")}));
    ASSERT_EQ(workspace->queue().state().watches.size(), 1u);
    const WatchFolder created = workspace->queue().state().watches.front();
    EXPECT_FALSE(created.enabled);
    EXPECT_TRUE(created.seen.isEmpty());
    EXPECT_EQ(created.preset, workspace->preset());

    watcher->setEnabled(created.id, true);
    EXPECT_TRUE(workspace->queue().state().watches.front().enabled);
    watcher->removeRule(created.id);
    EXPECT_TRUE(workspace->queue().state().watches.empty());
}

// Real time, real timer: the only test here that waits for the clock.
TEST(WatchFolderRealTime, AFileWrittenOverFortyFiveSecondsIsQueuedTwentyToThirtySecondsLater)
{
    WorkspaceHarness harness;
    TempDir media;
    Workspace &workspace = harness.open();
    workspace.queue().pause();
    TranscodePreset preset = workspace.preset();
    const QUuid id = workspace.watcher()->addRule(media.makeDir(QStringLiteral("In")), media.makeDir(QStringLiteral("Out")),
                                                  preset);
    workspace.watcher()->setEnabled(id, true);

    const QString clip = media.write(QStringLiteral("In/shot.mov"), "a");
    QFile file(clip);
    ASSERT_TRUE(file.open(QIODevice::Append));
    QElapsedTimer writing;
    writing.start();
    int queuedWhileWriting = 0;
    QObject::connect(&workspace.queue(), &QueueService::jobsChanged, [&] { queuedWhileWriting = int(workspace.queue().state().jobs.size()); });
    while (writing.elapsed() < 45000) {
        QTest::qWait(3000);
        file.write("more");
        file.flush();
    }
    file.close();
    QElapsedTimer quiet;
    quiet.start();
    EXPECT_EQ(queuedWhileWriting, 0);

    QSignalSpy changed(&workspace.queue(), &QueueService::jobsChanged);
    ASSERT_TRUE(changed.wait(40000));
    const qint64 after = quiet.elapsed();
    EXPECT_GE(after, 20000);
    EXPECT_LE(after, 31000);
    ASSERT_EQ(workspace.queue().state().jobs.size(), 1u);
    EXPECT_EQ(workspace.queue().state().jobs.front().bytes, QFileInfo(clip).size());
}
