#include "ScriptedPhases.h"
#include "TempDir.h"
#include "base/FileIo.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "state/OperationLog.h"
#include "queue/QueueService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// A queue whose phases do no file work: each job behaves as its source name says. "fail..."
// throws; "wait..." reports progress and checkpoints until released; anything else completes.
class QueueServiceTest : public ::testing::Test {
protected:
    TempDir dir;
    const QString support = dir.file(QStringLiteral("support"));
    std::atomic<bool> release{false};

    JobPhases phases() { return test::scriptedPhases(release, std::chrono::milliseconds(5)); }
    MediaJob job(const QString &name, const QString &destination = {})
    {
        const QString root = dir.file(QStringLiteral("project"));
        return MediaJob::make(dir.file(QStringLiteral("card/") + name), FileGrant(dir.file(QStringLiteral("card"))), root,
                              FileGrant(root), root + u'/' + (destination.isEmpty() ? name : destination), std::nullopt,
                              JobOperation::copy, std::nullopt, ChecksumAlgorithm(), 1, Timestamp{});
    }
    // The refusal's message, or empty when the batch was queued.
    static QString refusalOf(QueueService &queue, const std::vector<MediaJob> &jobs)
    {
        try {
            queue.enqueue(jobs);
        } catch (const VantorError &error) {
            return error.message();
        }
        return {};
    }
    static bool idleAfter(QueueService &queue, bool start = true)
    {
        QSignalSpy idle(&queue, &QueueService::idle);
        if (start)
            queue.start();
        return idle.count() > 0 || idle.wait(20000);
    }
    static bool firstReaches(const QueueService &queue, JobStatus status)
    {
        return QTest::qWaitFor([&] { return queue.state().jobs.front().status == status; });
    }
    static QStringList names(const QueueService &queue)
    {
        QStringList names;
        for (const MediaJob &job : queue.state().jobs)
            names << job.source.section(u'/', -1) + u' ' + job.status.rawValue();
        return names;
    }
    QStringList logMessages()
    {
        QStringList messages;
        for (const QString &line : QString::fromUtf8(test::readFile(OperationLog::path(support))).split(u'\n', Qt::SkipEmptyParts))
            messages << line.section(QStringLiteral("  "), 1);
        return messages;
    }
};

} // namespace

TEST_F(QueueServiceTest, CollisionsRejectTheWholeBatch)
{
    QueueService queue(support, phases());
    EXPECT_EQ(refusalOf(queue, {job(QStringLiteral("a.mov")), job(QStringLiteral("b.mov"), QStringLiteral("A.MOV"))}),
              QStringLiteral("Destination collision: %1. Change the output pattern or folder.").arg(dir.file(QStringLiteral("project/A.MOV"))));
    EXPECT_TRUE(queue.state().jobs.empty());
    dir.write(QStringLiteral("project/taken.mov"), "x");
    EXPECT_FALSE(refusalOf(queue, {job(QStringLiteral("taken.mov"))}).isEmpty());

    const MediaJob first = job(QStringLiteral("c.mov"));
    EXPECT_TRUE(refusalOf(queue, {first}).isEmpty());
    EXPECT_FALSE(refusalOf(queue, {job(QStringLiteral("C.mov"))}).isEmpty()) << "a waiting job claims it";
    queue.cancel(first.id);
    EXPECT_TRUE(refusalOf(queue, {job(QStringLiteral("C.mov"))}).isEmpty()) << "a cancelled job frees it";
}

TEST_F(QueueServiceTest, RunsJobsInOrderAndRecordsOutcomes)
{
    QueueService queue(support, phases());
    const std::vector<MediaJob> jobs{job(QStringLiteral("good.mov")), job(QStringLiteral("fail.mov")), job(QStringLiteral("later.mov"))};
    queue.enqueue(jobs);
    ASSERT_TRUE(idleAfter(queue));
    EXPECT_EQ(names(queue), QStringList({"good.mov COMPLETE", "fail.mov FAILED", "later.mov COMPLETE"}));
    const MediaJob &done = queue.state().jobs.front();
    EXPECT_TRUE(done.sourceHash == QStringLiteral("aaaa") && done.copyCommitted && done.progress == 1.0);

    queue.flush();
    QStringList expected{QStringLiteral("QUEUED 3 files")};
    for (const MediaJob &job : jobs) {
        const QString id = job.id.toString(QUuid::WithoutBraces).toUpper();
        expected << QStringLiteral("START %1 %2 → %3").arg(id, job.source, *job.copyDestination)
                 << (&job == &jobs[1] ? QStringLiteral("FAILED %1 The source changed after it was queued.")
                                      : QStringLiteral("COMPLETE %1 checksum=aaaa")).arg(id);
    }
    EXPECT_EQ(logMessages(), expected);
    EXPECT_EQ(StateStore::encode(StateStore::load(support)), StateStore::encode(queue.state())) << "disk matches memory";
}

TEST_F(QueueServiceTest, RetryMoveAndRemoveFollowTheirRules)
{
    QueueService queue(support, phases());
    const MediaJob failing = job(QStringLiteral("fail.mov")), a = job(QStringLiteral("a.mov")), b = job(QStringLiteral("b.mov")),
                   c = job(QStringLiteral("c.mov"));
    queue.enqueue({failing});
    ASSERT_TRUE(idleAfter(queue));
    queue.enqueue({a, b, c});
    queue.cancel(c.id);
    queue.retryFailed();
    EXPECT_EQ(names(queue), QStringList({"fail.mov WAITING", "a.mov WAITING", "b.mov WAITING", "c.mov CANCELLED"}));
    queue.retry(c.id);
    queue.retry(a.id); // waiting: untouched
    const QStringList initial = names(queue);
    queue.moveWaiting(failing.id, -1);
    queue.moveWaiting(c.id, +1);
    EXPECT_EQ(names(queue), initial) << "first by -1 and last by +1 change nothing";
    queue.moveWaiting(c.id, -3);
    queue.remove(b.id);
    EXPECT_EQ(names(queue), QStringList({"c.mov WAITING", "a.mov WAITING", "fail.mov WAITING"}));
    ASSERT_TRUE(idleAfter(queue));
    queue.removeCompleted();
    EXPECT_TRUE(queue.state().jobs.empty());
}

TEST_F(QueueServiceTest, LaunchTurnsRunningJobsIntoInterruptedFailures)
{
    AppState state = AppState::fresh();
    for (JobStatus status : {JobStatus::paused, JobStatus::verifying, JobStatus::transcoding, JobStatus::waiting}) {
        state.jobs.push_back(job(status.rawValue() + QStringLiteral(".mov")));
        state.jobs.back().status = status;
        state.jobs.back().copyCommitted = status == JobStatus::transcoding;
    }
    StateStore::save(state, support);

    QueueService queue(support, phases());
    EXPECT_EQ(names(queue), QStringList({"PAUSED.mov FAILED", "VERIFYING.mov FAILED", "TRANSCODING.mov FAILED",
                                         "WAITING.mov WAITING"}));
    EXPECT_EQ(queue.state().jobs[0].error, QStringLiteral("Interrupted by application shutdown. Retry to restart the "
                                                          "unfinished phase. Original media is preserved."));
    EXPECT_TRUE(queue.state().jobs[2].copyCommitted);
    EXPECT_FALSE(queue.running());
    queue.flush();
    EXPECT_EQ(StateStore::encode(StateStore::load(support)), StateStore::encode(queue.state())) << "saved at once";
}

// Whatever state.json is unreadable for, the queue reports why, runs nothing and leaves it as it was.
TEST_F(QueueServiceTest, UnreadableStateIsNeverWrittenOver)
{
    const QString path = support + QStringLiteral("/state.json");
    AppState twins = AppState::fresh();
    twins.jobs = {job(QStringLiteral("a.mov")), job(QStringLiteral("b.mov"))};
    twins.jobs[1].id = twins.jobs[0].id;
    QJsonObject newer = AppState::fresh().toJson();
    newer.insert(QStringLiteral("version"), 2);
    const QString elsewhere = dir.write(QStringLiteral("elsewhere.json"), StateStore::encode(AppState::fresh()));
    const std::vector<std::tuple<const char *, std::function<void()>, QString>> cases{
        {"broken", [&] { dir.write(QStringLiteral("support/state.json"), "{\"version\": 1, \"jobs\": ["); },
         QStringLiteral("The data is not valid JSON")},
        {"twins", [&] { dir.write(QStringLiteral("support/state.json"), StateStore::encode(twins)); },
         QStringLiteral("More than one job has the id ") + twins.jobs[0].id.toString(QUuid::WithoutBraces).toUpper()},
        {"newer", [&] { dir.write(QStringLiteral("support/state.json"), JsonCodec::pretty(newer)); },
         QStringLiteral("The state file was written by a newer version of Vantor")},
        {"link", [&] { QFile::link(elsewhere, path); }, QStringLiteral("The state file is a symbolic link")},
        {"dangling link", [&] { QFile::link(dir.file(QStringLiteral("missing.json")), path); },
         QStringLiteral("The state file is a symbolic link")},
    };
    for (const auto &[label, make, reason] : cases) {
        QDir(support).removeRecursively();
        QDir().mkpath(support);
        make();
        const QFileInfo before(path);
        const QByteArray bytes = before.isSymLink() ? before.symLinkTarget().toUtf8() : test::readFile(path);
        {
            QueueService queue(support, phases());
            EXPECT_TRUE(queue.persistenceError()->startsWith(
                QStringLiteral("Saved state could not be read. The original state.json has been preserved. ") + reason))
                << label << ": " << queue.persistenceError()->toStdString();
            EXPECT_EQ(refusalOf(queue, {job(QStringLiteral("a.mov"))}),
                      QStringLiteral("Resolve the saved-state error before adding jobs."));
            queue.save();
            queue.start();
            EXPECT_FALSE(queue.running()) << label;
            queue.prepareToQuit();
        }
        const QFileInfo after(path);
        EXPECT_EQ(after.isSymLink() ? after.symLinkTarget().toUtf8() : test::readFile(path), bytes) << label;
        EXPECT_EQ(after.isSymLink(), before.isSymLink()) << label;
        EXPECT_FALSE(QFileInfo::exists(dir.file(QStringLiteral("missing.json")))) << label;
    }
}

// A failed save reaches the caller that waits for it and the window's signal, once; a queue
// whose folder was replaced under it no longer writes, as another process may own the new one.
TEST_F(QueueServiceTest, FailedSavesAreReportedAndNeverWriteOverAnotherOwner)
{
    const auto failureOf = [](QueueService &queue) {
        try {
            queue.flushSaves();
        } catch (const VantorError &error) {
            return error.message();
        }
        return QString();
    };
    QueueService queue(support, phases());
    EXPECT_EQ(failureOf(queue), QString());
    QSignalSpy errors(&queue, &QueueService::persistenceErrorChanged);
    FileIo::Faults::set({.failAt = 2, .error = ENOSPC}); // the save's first write
    queue.enqueue({job(QStringLiteral("a.mov"))});
    const QString full = failureOf(queue);
    FileIo::Faults::clear();
    EXPECT_EQ(full, QStringLiteral("Queue could not be saved: No space left on device"));
    EXPECT_EQ(queue.persistenceError(), full);
    QCoreApplication::processEvents();
    EXPECT_EQ(errors.count(), 1);
    EXPECT_TRUE(StateStore::load(support).jobs.empty());

    QDir().rename(support, dir.file(QStringLiteral("moved")));
    AppState other = AppState::fresh();
    other.ffmpeg = QStringLiteral("/opt/other/ffmpeg");
    StateStore::save(other, support);
    queue.enqueue({job(QStringLiteral("b.mov"))});
    EXPECT_EQ(failureOf(queue), full) << "the first failure is the one reported";
    EXPECT_EQ(queue.persistenceError(),
              QStringLiteral("Queue could not be saved: The support folder was moved or replaced while this process used "
                             "it, so this process no longer saves the queue: ") + support);
    EXPECT_EQ(test::readFile(support + QStringLiteral("/state.json")), StateStore::encode(other));
}

TEST_F(QueueServiceTest, SleepPausesARunningQueueWakeNeverResumesAndCancelEndsTheJob)
{
    QueueService queue(support, phases());
    queue.handleSystemSleep(); // idle: nothing happens
    queue.handleSystemWake();
    const MediaJob slow = job(QStringLiteral("wait.mov"));
    queue.enqueue({slow, job(QStringLiteral("next.mov"))});
    queue.start();
    ASSERT_TRUE(firstReaches(queue, JobStatus::copying));
    queue.handleSystemSleep();
    EXPECT_EQ(queue.state().jobs.front().status, JobStatus::paused);
    queue.handleSystemWake();
    EXPECT_TRUE(queue.paused()) << "wake leaves the queue paused";
    queue.handleSystemSleep(); // already paused: no second record
    queue.handleSystemWake();

    // A progress report arriving after the cancel never revives the job; a paused queue does not move on.
    queue.cancel(slow.id);
    ASSERT_TRUE(firstReaches(queue, JobStatus::cancelled));
    QTest::qWait(50);
    EXPECT_EQ(names(queue), QStringList({"wait.mov CANCELLED", "next.mov WAITING"}));
    queue.resume();
    ASSERT_TRUE(idleAfter(queue, false));
    EXPECT_EQ(names(queue), QStringList({"wait.mov CANCELLED", "next.mov COMPLETE"}));
    EXPECT_EQ(queue.state().jobs.front().error, QStringLiteral("Cancelled. Original media was preserved."));
    queue.flush();
    const QStringList messages = logMessages();
    EXPECT_EQ(messages.count(QStringLiteral("PAUSED for system sleep")), 1);
    EXPECT_EQ(messages.count(QStringLiteral("System awake; queue remains paused until resumed")), 1);
}

TEST_F(QueueServiceTest, ProgressSavesAtMostOncePerSecondButChangesAtOnce)
{
    double now = 100.0;
    QueueService queue(support, phases());
    queue.setClock([&now] { return now; });
    queue.enqueue({job(QStringLiteral("wait.mov"))});
    queue.start();
    ASSERT_TRUE(firstReaches(queue, JobStatus::copying));
    // Progress keeps arriving while the clock moves less than a second: no further save.
    const std::size_t saves = queue.savesRequested();
    now += 0.9;
    QTest::qWait(100);
    EXPECT_EQ(queue.savesRequested(), saves);
    queue.pause(); // a status change is saved at once
    EXPECT_EQ(queue.savesRequested(), saves + 1);
    now += 1.5;
    queue.resume();
    ASSERT_TRUE(QTest::qWaitFor([&] { return queue.savesRequested() == saves + 2; }));
    release = true;
    ASSERT_TRUE(idleAfter(queue, false));
}
