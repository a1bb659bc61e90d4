#include "TempDir.h"
#include "model/StateStore.h"
#include "model/VantorError.h"
#include "queue/OperationLog.h"
#include "queue/QueueService.h"

#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// Phases that do no file work: each job behaves as its source name says.
//   "fail..."  throws a VantorError; "wait..." checkpoints until released or cancelled;
//   anything else reports progress, commits its copy and returns digests.
struct FakePhases {
    std::atomic<bool> release{false};
    std::mutex mutex;
    std::vector<QString> ran;

    JobPhases phases()
    {
        return [this](const MediaJob &job, JobControl &control, const QString &, const JobPhaseCallbacks &callbacks) {
            {
                std::lock_guard lock(mutex);
                ran.push_back(job.source.section(u'/', -1));
            }
            const QString name = job.source.section(u'/', -1);
            if (name.startsWith(QStringLiteral("fail")))
                throw VantorError(QStringLiteral("The source changed after it was queued."));
            if (name.startsWith(QStringLiteral("wait"))) {
                while (!release) {
                    control.checkpoint();
                    callbacks.progress(JobStatus::copying, 0.5);
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            }
            callbacks.progress(JobStatus::copying, 1.0);
            callbacks.copyCommitted({QStringLiteral("aaaa"), QStringLiteral("aaaa")});
            return JobPhaseResult{QStringLiteral("aaaa"), QStringLiteral("aaaa")};
        };
    }
    std::vector<QString> ranSnapshot()
    {
        std::lock_guard lock(mutex);
        return ran;
    }
};

MediaJob copyJob(const TempDir &dir, const QString &name, const QString &destination = {})
{
    const QString root = dir.file(QStringLiteral("project"));
    return MediaJob::make(dir.file(QStringLiteral("card/") + name), FileGrant(dir.file(QStringLiteral("card"))), root,
                          FileGrant(root), root + QLatin1Char('/') + (destination.isEmpty() ? name : destination),
                          std::nullopt, JobOperation::copy, std::nullopt, ChecksumAlgorithm(), 1, Timestamp{});
}

QString collisionOf(QueueService &queue, const std::vector<MediaJob> &jobs)
{
    try {
        queue.enqueue(jobs);
    } catch (const VantorError &error) {
        return error.message();
    }
    return {};
}

bool runToIdle(QueueService &queue)
{
    QSignalSpy idle(&queue, &QueueService::idle);
    queue.start();
    return idle.count() > 0 || idle.wait(20000);
}

JobStatus statusOf(const QueueService &queue, const QUuid &id)
{
    for (const MediaJob &job : queue.state().jobs) {
        if (job.id == id)
            return job.status;
    }
    return JobStatus::waiting;
}

QStringList logMessages(const QString &directory)
{
    QStringList messages;
    for (const QString &line : QString::fromUtf8(vantor::test::readFile(OperationLog::path(directory))).split(u'\n', Qt::SkipEmptyParts))
        messages << line.section(QStringLiteral("  "), 1);
    return messages;
}

} // namespace

TEST(QueueServiceTest, CollisionsRejectTheWholeBatch)
{
    TempDir dir;
    FakePhases fake;
    QueueService queue(dir.file(QStringLiteral("support")), fake.phases());
    const std::size_t before = queue.state().jobs.size();

    EXPECT_EQ(collisionOf(queue, {copyJob(dir, QStringLiteral("a.mov")), copyJob(dir, QStringLiteral("b.mov"), QStringLiteral("A.MOV"))}),
              QStringLiteral("Destination collision: ") + dir.file(QStringLiteral("project/A.MOV"))
                  + QStringLiteral(". Change the output pattern or folder."));
    EXPECT_EQ(queue.state().jobs.size(), before);

    dir.write(QStringLiteral("project/taken.mov"), "x");
    EXPECT_FALSE(collisionOf(queue, {copyJob(dir, QStringLiteral("taken.mov"))}).isEmpty());

    MediaJob first = copyJob(dir, QStringLiteral("c.mov"));
    EXPECT_TRUE(collisionOf(queue, {first}).isEmpty());
    EXPECT_FALSE(collisionOf(queue, {copyJob(dir, QStringLiteral("C.mov"))}).isEmpty()) << "a waiting job claims it";
    queue.cancel(first.id);
    EXPECT_TRUE(collisionOf(queue, {copyJob(dir, QStringLiteral("C.mov"))}).isEmpty()) << "a cancelled job frees it";
}

TEST(QueueServiceTest, RunsJobsInOrderAndRecordsOutcomes)
{
    TempDir dir;
    FakePhases fake;
    const QString support = dir.file(QStringLiteral("support"));
    QueueService queue(support, fake.phases());
    const MediaJob good = copyJob(dir, QStringLiteral("good.mov"));
    const MediaJob bad = copyJob(dir, QStringLiteral("fail.mov"));
    const MediaJob later = copyJob(dir, QStringLiteral("later.mov"));
    queue.enqueue({good, bad, later});
    ASSERT_TRUE(runToIdle(queue));

    EXPECT_EQ(fake.ranSnapshot(), std::vector<QString>({"good.mov", "fail.mov", "later.mov"}));
    EXPECT_EQ(statusOf(queue, good.id), JobStatus::complete);
    EXPECT_EQ(statusOf(queue, bad.id), JobStatus::failed);
    EXPECT_EQ(statusOf(queue, later.id), JobStatus::complete);
    EXPECT_FALSE(queue.running());
    const MediaJob &done = queue.state().jobs[std::size_t(queue.state().jobs.size() - 3)];
    EXPECT_EQ(done.sourceHash, QStringLiteral("aaaa"));
    EXPECT_TRUE(done.copyCommitted);
    EXPECT_EQ(done.progress, 1.0);

    queue.flush();
    const QStringList messages = logMessages(support);
    ASSERT_EQ(messages.size(), 7);
    EXPECT_EQ(messages[0], QStringLiteral("QUEUED 3 files"));
    EXPECT_EQ(messages[1], QStringLiteral("START ") + good.id.toString(QUuid::WithoutBraces).toUpper() + u' '
                               + good.source + QStringLiteral(" → ") + *good.copyDestination);
    EXPECT_TRUE(messages[2].endsWith(QStringLiteral(" checksum=aaaa")));
    EXPECT_EQ(messages[4], QStringLiteral("FAILED ") + bad.id.toString(QUuid::WithoutBraces).toUpper()
                               + QStringLiteral(" The source changed after it was queued."));
    // What is on disk is what is in memory.
    EXPECT_EQ(StateStore::encode(StateStore::load(support)), StateStore::encode(queue.state()));
}

TEST(QueueServiceTest, PauseHoldsTheWorkerAndCancelEndsTheJob)
{
    TempDir dir;
    FakePhases fake;
    QueueService queue(dir.file(QStringLiteral("support")), fake.phases());
    const MediaJob slow = copyJob(dir, QStringLiteral("wait.mov"));
    const MediaJob next = copyJob(dir, QStringLiteral("next.mov"));
    queue.enqueue({slow, next});
    QSignalSpy idle(&queue, &QueueService::idle);
    queue.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return statusOf(queue, slow.id) == JobStatus::copying; }));
    queue.pause();
    EXPECT_EQ(statusOf(queue, slow.id), JobStatus::paused);
    EXPECT_TRUE(queue.paused());

    // A progress report arriving after the cancel never revives the job.
    queue.cancel(slow.id);
    ASSERT_TRUE(QTest::qWaitFor([&] { return statusOf(queue, slow.id) == JobStatus::cancelled; }));
    EXPECT_EQ(queue.state().jobs.back().status, JobStatus::waiting) << "paused queue does not move on";
    QTest::qWait(50);
    EXPECT_EQ(statusOf(queue, slow.id), JobStatus::cancelled);

    queue.resume();
    ASSERT_TRUE(idle.wait(20000));
    EXPECT_EQ(statusOf(queue, next.id), JobStatus::complete);
    const auto &cancelled = queue.state().jobs[queue.state().jobs.size() - 2];
    EXPECT_EQ(cancelled.error, QStringLiteral("Cancelled. Original media was preserved."));
}

TEST(QueueServiceTest, RetryMoveAndRemoveFollowTheirRules)
{
    TempDir dir;
    FakePhases fake;
    QueueService queue(dir.file(QStringLiteral("support")), fake.phases());
    const MediaJob failing = copyJob(dir, QStringLiteral("fail.mov"));
    queue.enqueue({failing});
    ASSERT_TRUE(runToIdle(queue));
    const MediaJob a = copyJob(dir, QStringLiteral("a.mov")), b = copyJob(dir, QStringLiteral("b.mov")),
                   c = copyJob(dir, QStringLiteral("c.mov"));
    queue.enqueue({a, b, c});
    queue.cancel(c.id);

    queue.retryFailed();
    EXPECT_EQ(statusOf(queue, failing.id), JobStatus::waiting);
    EXPECT_EQ(statusOf(queue, c.id), JobStatus::cancelled) << "retry failed leaves cancelled jobs alone";
    queue.retry(c.id);
    EXPECT_EQ(statusOf(queue, c.id), JobStatus::waiting);
    queue.retry(a.id); // waiting: untouched

    const auto order = [&] {
        QStringList names;
        for (const MediaJob &job : queue.state().jobs)
            names << job.source.section(u'/', -1);
        return names;
    };
    const QStringList initial = order();
    queue.moveWaiting(failing.id, -1);
    queue.moveWaiting(c.id, +1);
    EXPECT_EQ(order(), initial) << "first by -1 and last by +1 change nothing";
    queue.moveWaiting(c.id, -3);
    EXPECT_EQ(order(), QStringList({"c.mov", "a.mov", "b.mov", "fail.mov"}));

    queue.remove(b.id);
    EXPECT_EQ(order(), QStringList({"c.mov", "a.mov", "fail.mov"}));
    ASSERT_TRUE(runToIdle(queue));
    queue.removeCompleted();
    EXPECT_TRUE(queue.state().jobs.empty());
}

TEST(QueueServiceTest, LaunchTurnsRunningJobsIntoInterruptedFailures)
{
    TempDir dir;
    const QString support = dir.file(QStringLiteral("support"));
    AppState state = AppState::fresh();
    for (JobStatus status : {JobStatus::paused, JobStatus::verifying, JobStatus::transcoding, JobStatus::waiting}) {
        MediaJob job = copyJob(dir, status.rawValue() + QStringLiteral(".mov"));
        job.status = status;
        job.copyCommitted = status == JobStatus::transcoding;
        state.jobs.push_back(job);
    }
    StateStore::save(state, support);

    FakePhases fake;
    QueueService queue(support, fake.phases());
    const auto &jobs = queue.state().jobs;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(jobs[std::size_t(i)].status, JobStatus::failed);
        EXPECT_EQ(jobs[std::size_t(i)].error, QStringLiteral("Interrupted by application shutdown. Retry to restart "
                                                             "the unfinished phase. Original media is preserved."));
    }
    EXPECT_TRUE(jobs[2].copyCommitted);
    EXPECT_EQ(jobs[3].status, JobStatus::waiting);
    EXPECT_FALSE(queue.running());
    queue.flush();
    EXPECT_EQ(StateStore::load(support).jobs[0].status, JobStatus::failed) << "restored statuses saved at once";
}

TEST(QueueServiceTest, UnreadableStateIsNeverWrittenOver)
{
    TempDir dir;
    const QString support = dir.file(QStringLiteral("support"));
    const QByteArray broken = "{\"version\": 1, \"jobs\": [";
    dir.write(QStringLiteral("support/state.json"), broken);
    FakePhases fake;
    {
        QueueService queue(support, fake.phases());
        EXPECT_TRUE(queue.storageBlocked());
        EXPECT_TRUE(queue.persistenceError()->startsWith(
            QStringLiteral("Saved state could not be read. The original state.json has been preserved. ")));
        EXPECT_EQ(collisionOf(queue, {copyJob(dir, QStringLiteral("a.mov"))}),
                  QStringLiteral("Resolve the saved-state error before adding jobs."));
        queue.save();
        queue.start();
        EXPECT_FALSE(queue.running());
        queue.prepareToQuit();
    }
    EXPECT_EQ(vantor::test::readFile(support + QStringLiteral("/state.json")), broken);
}

TEST(QueueServiceTest, SleepPausesARunningQueueAndWakeNeverResumes)
{
    TempDir dir;
    FakePhases fake;
    const QString support = dir.file(QStringLiteral("support"));
    QueueService queue(support, fake.phases());

    queue.handleSystemSleep(); // idle: nothing happens
    queue.handleSystemWake();

    const MediaJob slow = copyJob(dir, QStringLiteral("wait.mov"));
    queue.enqueue({slow});
    queue.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return statusOf(queue, slow.id) == JobStatus::copying; }));
    queue.handleSystemSleep();
    EXPECT_TRUE(queue.paused());
    EXPECT_EQ(statusOf(queue, slow.id), JobStatus::paused);
    queue.handleSystemWake();
    EXPECT_TRUE(queue.paused()) << "wake leaves the queue paused";
    queue.handleSystemSleep(); // already paused: no second sleep record
    queue.handleSystemWake();

    fake.release = true;
    queue.resume();
    QSignalSpy idle(&queue, &QueueService::idle);
    ASSERT_TRUE(idle.wait(20000));
    queue.flush();
    const QStringList messages = logMessages(support);
    EXPECT_EQ(messages.count(QStringLiteral("PAUSED for system sleep")), 1);
    EXPECT_EQ(messages.count(QStringLiteral("System awake; queue remains paused until resumed")), 1);
}

TEST(QueueServiceTest, ProgressSavesAtMostOncePerSecondButChangesAtOnce)
{
    TempDir dir;
    FakePhases fake;
    double now = 100.0;
    QueueService queue(dir.file(QStringLiteral("support")), fake.phases());
    queue.setClock([&now] { return now; });
    const MediaJob slow = copyJob(dir, QStringLiteral("wait.mov"));
    queue.enqueue({slow});
    queue.start();
    ASSERT_TRUE(QTest::qWaitFor([&] { return statusOf(queue, slow.id) == JobStatus::copying; }));

    // The clock stands still: progress keeps arriving, but no further save is queued.
    const std::size_t saves = queue.savesRequested();
    QTest::qWait(100);
    EXPECT_EQ(queue.savesRequested(), saves);
    now += 0.4;
    QTest::qWait(50);
    EXPECT_EQ(queue.savesRequested(), saves);
    queue.pause(); // a status change is saved at once
    EXPECT_EQ(queue.savesRequested(), saves + 1);
    now += 1.5;
    queue.resume();
    ASSERT_TRUE(QTest::qWaitFor([&] { return queue.savesRequested() == saves + 2; }));
    fake.release = true;
    QSignalSpy idle(&queue, &QueueService::idle);
    ASSERT_TRUE(idle.wait(20000));
}
