#include "WorkspaceHarness.h"

#include "automation/WatchFolderService.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "state/OperationLog.h"

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

// A workspace polls only once asked: an import (as `vantor ingest` makes) with an enabled rule
// and a finished file in its folder queues nothing for the rule.
TEST_F(WatchFolderServiceTest, NoRuleIsPolledUntilTheWatcherIsStarted)
{
    rule(QStringLiteral("In"), QStringLiteral("out"));
    media.write(QStringLiteral("In/waiting.mov"), "a");
    const QString card = media.write(QStringLiteral("card/take.wav"), "sound");
    ws.openProjectFolder(media.makeDir(QStringLiteral("Doc")));
    ws.setOperation(JobOperation::copy);
    ws.receive({card}, Page::ingest);
    ASSERT_TRUE(harness.settle());
    QSignalSpy polls(watcher, &WatchFolderService::pollFinished);
    ws.enqueue(false);
    ASSERT_TRUE(harness.settle());
    ASSERT_EQ(ws.queue().state().jobs.size(), 1u);
    EXPECT_EQ(ws.queue().state().jobs.front().source, card);
    EXPECT_FALSE(watcher->started());
    EXPECT_EQ(polls.count(), 0);
    EXPECT_TRUE(ws.queue().state().watches.front().seen.isEmpty());

    watcher->start(); // as the window and `vantor watch run` do: a first pass at once
    EXPECT_TRUE(watcher->started());
    ASSERT_TRUE(polls.count() > 0 || polls.wait(10000));
    pollAfter(WatchFolderService::stableFor);
    EXPECT_EQ(queued().size(), 2);
}

// A file whose name cannot be part of a new name is reported once per version; the files after
// it are still queued.
TEST_F(WatchFolderServiceTest, AnUnusableNameHoldsBackNoOtherFile)
{
    rule(QStringLiteral("In"), QStringLiteral("out"));
    const QString bad = media.write(QStringLiteral("In/bad\x01.mov"), "a");
    media.write(QStringLiteral("In/good.mov"), "b");
    for (int poll = 0; poll < 4; ++poll)
        pollAfter(10);
    EXPECT_EQ(queued(), QStringList{media.file(QStringLiteral("out/In/good_proxy.mov"))});
    const QString message = QStringLiteral("Watch folder: This file's name cannot be part of a file name in the project: ")
                            + QString(bad).replace(QChar(1), QStringLiteral("\\x01"));
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

// The service's own timer and clock at a twentieth of the real scale (polls 0.5 s apart, 1 s of
// quiet): the only test here that waits for time to pass.
TEST(WatchFolderRealTime, TheTimerQueuesAFileOnceItHasStoppedGrowing)
{
    WorkspaceHarness harness;
    TempDir media;
    Workspace &ws = harness.open();
    ws.queue().pause();
    WatchFolderService *watcher = ws.watcher();
    watcher->setTiming(500, 1.0);
    watcher->setEnabled(watcher->addRule(media.makeDir("In"), media.makeDir("Out"), ws.preset()), true);
    watcher->start();
    QFile file(media.write(QStringLiteral("In/shot.mov"), "a"));
    ASSERT_TRUE(file.open(QIODevice::Append | QIODevice::Unbuffered));
    // It grows after each of the first five polls, then stays; the sixth poll first sees it whole.
    int polls = 0, queuedAt = 0;
    QObject::connect(watcher, &WatchFolderService::pollFinished, [&] {
        ++polls;
        if (queuedAt == 0 && !ws.queue().state().jobs.empty())
            queuedAt = polls;
        if (polls <= 5)
            file.write("more");
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return queuedAt != 0 || polls > 20; }, 30000)) << polls << " polls";
    EXPECT_GT(queuedAt, 6) << "queued while it grew, or when first seen whole";
    ASSERT_EQ(ws.queue().state().jobs.size(), 1u);
    EXPECT_EQ(ws.queue().state().jobs.back().bytes, file.size());
}
