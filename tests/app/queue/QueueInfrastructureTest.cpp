#include "TempDir.h"
#include "model/VantorError.h"
#include "queue/OperationLog.h"
#include "queue/PersistenceQueue.h"
#include "queue/PowerPolicy.h"
#include "queue/QueueLock.h"

#include <QSignalSpy>
#include <QTimeZone>
#include <atomic>
#include <numeric>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantor;
using vantor::test::TempDir;

TEST(PersistenceQueueTest, RunsEveryTaskInOrderAndFlushAndDestructionWaitForAll)
{
    std::vector<int> done;
    std::atomic<bool> release{false};
    {
        PersistenceQueue queue(QStringLiteral("test.persistence"));
        // Hold the writer so the tasks pile up behind it, as they do behind a slow disk.
        queue.post([&] {
            while (!release)
                std::this_thread::yield();
        });
        for (int i = 0; i < 110; ++i)
            queue.post([&done, i] { done.push_back(i); });
        release = true;
        queue.flush();
        EXPECT_GE(queue.deepestBacklog(), 110u);
        EXPECT_EQ(done.size(), 110u);
        queue.post([&done] { done.push_back(110); });
    }
    std::vector<int> expected(111);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(done, expected);
}

TEST(OperationLogTest, AppendsUtcLinesToTheSecond)
{
    TempDir dir;
    const QString support = dir.file(QStringLiteral("support/nested"));
    const QDateTime time(QDate(2025, 3, 1), QTime(15, 5, 9, 700), QTimeZone(3600));
    OperationLog::append(support, OperationLog::line(QStringLiteral("START A → B"), time));
    OperationLog::append(support, "two\n");
    EXPECT_EQ(test::readFile(OperationLog::path(support)), QStringLiteral("2025-03-01T14:05:09Z  START A → B\ntwo\n").toUtf8());
}

TEST(QueueLockTest, ASecondOwnerIsRefusedUntilTheFirstEndsOrDies)
{
    TempDir dir;
    {
        const QueueLock first = QueueLock::acquire(dir.path());
        EXPECT_THROW(QueueLock::acquire(dir.path()), VantorError);
    }
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

TEST(PowerPolicyTest, PrepareForSleepBecomesSleepingAndWoke)
{
    PowerPolicy policy;
    QSignalSpy sleeping(&policy, &PowerPolicy::sleeping), woke(&policy, &PowerPolicy::woke);
    policy.handlePrepareForSleep(true);
    EXPECT_EQ(QList<qsizetype>({sleeping.count(), woke.count()}), QList<qsizetype>({1, 0}));
    policy.handlePrepareForSleep(false);
    EXPECT_EQ(QList<qsizetype>({sleeping.count(), woke.count()}), QList<qsizetype>({1, 1}));
}
