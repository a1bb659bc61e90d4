#include "TempDir.h"
#include "model/VantorError.h"
#include "queue/OperationLog.h"
#include "queue/PersistenceQueue.h"
#include "queue/PowerPolicy.h"
#include "queue/QueueLock.h"

#include <QSignalSpy>
#include <QTimeZone>
#include <atomic>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantor;
using vantor::test::TempDir;

TEST(PersistenceQueueTest, RunsEveryTaskInRequestOrderAndFlushWaitsForAll)
{
    std::vector<int> done;
    std::atomic<bool> release{false};
    PersistenceQueue queue(QStringLiteral("test.persistence"));
    // Hold the writer so the tasks pile up behind it, as they do behind a slow disk.
    queue.post([&] {
        while (!release)
            std::this_thread::yield();
    });
    for (int i = 0; i < 100; ++i)
        queue.post([&done, i] { done.push_back(i); });
    release = true;
    queue.flush();
    ASSERT_EQ(done.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(done[std::size_t(i)], i);
    EXPECT_GE(queue.deepestBacklog(), 100u);
}

TEST(PersistenceQueueTest, DestructionFinishesWhatWasQueued)
{
    int count = 0;
    {
        PersistenceQueue queue(QStringLiteral("test.persistence"));
        for (int i = 0; i < 10; ++i)
            queue.post([&count] { ++count; });
    }
    EXPECT_EQ(count, 10);
}

TEST(OperationLogTest, LinesAreUtcToTheSecondThenTwoSpaces)
{
    const QDateTime time(QDate(2025, 3, 1), QTime(15, 5, 9, 700), QTimeZone(3600));
    EXPECT_EQ(OperationLog::line(QStringLiteral("START A → B"), time),
              QStringLiteral("2025-03-01T14:05:09Z  START A → B\n").toUtf8());
}

TEST(OperationLogTest, AppendsMakingTheFolderAndNeverTruncates)
{
    TempDir dir;
    const QString support = dir.file(QStringLiteral("support/nested"));
    OperationLog::append(support, "one\n");
    OperationLog::append(support, "two\n");
    EXPECT_EQ(vantor::test::readFile(OperationLog::path(support)), QByteArray("one\ntwo\n"));
}

TEST(QueueLockTest, ASecondOwnerIsRefusedUntilTheFirstEndsEvenByDying)
{
    TempDir dir;
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t owner = ::fork();
    if (owner == 0) {
        QueueLock lock = QueueLock::acquire(dir.path());
        [[maybe_unused]] ssize_t written = ::write(ready[1], "x", 1);
        ::pause();
        ::_exit(0);
    }
    char byte;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    try {
        QueueLock::acquire(dir.path());
        ADD_FAILURE() << "second owner was let in";
    } catch (const VantorError &error) {
        EXPECT_TRUE(error.message().contains(QStringLiteral("(pid %1)").arg(owner))) << error.message().toStdString();
    }
    ::kill(owner, SIGKILL);
    ::waitpid(owner, nullptr, 0);
    EXPECT_TRUE(QueueLock::acquire(dir.path()).held());
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST(QueueLockTest, ReleasedWhenTheOwnerGoesOutOfScope)
{
    TempDir dir;
    {
        QueueLock first = QueueLock::acquire(dir.path());
        EXPECT_THROW(QueueLock::acquire(dir.path()), VantorError);
    }
    EXPECT_NO_THROW(QueueLock::acquire(dir.path()));
}

TEST(PowerPolicyTest, PrepareForSleepBecomesSleepingAndWoke)
{
    PowerPolicy policy;
    QSignalSpy sleeping(&policy, &PowerPolicy::sleeping);
    QSignalSpy woke(&policy, &PowerPolicy::woke);
    policy.handlePrepareForSleep(true);
    policy.handlePrepareForSleep(false);
    EXPECT_EQ(sleeping.count(), 1);
    EXPECT_EQ(woke.count(), 1);
}
