#include "TempDir.h"
#include "base/VantorError.h"
#include "state/OperationLog.h"
#include "state/PersistenceQueue.h"
#include "queue/PowerPolicy.h"
#include "state/QueueLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTimeZone>
#include <atomic>
#include <numeric>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>
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

// The refusal's message, or empty when the lock was taken (and is then held until `keep` ends).
QString refusalOf(const QString &directory, QueueLock *keep = nullptr)
{
    try {
        QueueLock lock = QueueLock::acquire(directory);
        if (keep)
            *keep = std::move(lock);
    } catch (const VantorError &error) {
        return error.message();
    }
    return {};
}

// A queue.lock that is not a plain file of this user is never opened for writing: the pid
// would otherwise land in whatever it leads to.
TEST(QueueLockTest, ALockFileThatIsNotAPlainFileOfThisUserIsLeftAlone)
{
    TempDir dir;
    const QString lock = dir.file("support/queue.lock"), target = dir.write("notes.txt", "keep me\n");
    const std::vector<std::pair<const char *, std::function<void()>>> cases{
        {"link", [&] { QFile::link(target, lock); }},
        {"dangling link", [&] { QFile::link(dir.file("nowhere"), lock); }},
        {"second name", [&] { ::link(QFile::encodeName(target).constData(), QFile::encodeName(lock).constData()); }},
        {"folder", [&] { dir.makeDir("support/queue.lock"); }},
        {"fifo", [&] { ::mkfifo(QFile::encodeName(lock).constData(), 0600); }},
        {"another user's", [&] {
             dir.write("support/queue.lock", "1\n");
             ASSERT_EQ(::chown(QFile::encodeName(lock).constData(), 65534, 65534), 0);
         }},
    };
    for (const auto &[label, make] : cases) {
        dir.makeDir("support");
        make();
        EXPECT_EQ(refusalOf(dir.file("support")),
                  "The queue lock is not a plain file of this user, so Vantor leaves it alone. Remove it and try again: " + lock)
            << label;
        EXPECT_EQ(test::readFile(target), "keep me\n") << label;
        EXPECT_FALSE(QFileInfo::exists(dir.file("nowhere"))) << label;
        QDir(dir.file("support")).removeRecursively();
    }
}

// Deleting or replacing queue.lock while its owner runs lets no second owner in; the owner
// makes the lock file again before its next write. An owner whose folder was replaced under it
// stops writing, since another process may own the new one.
TEST(QueueLockTest, ASecondOwnerIsRefusedWhateverBecomesOfTheLockFile)
{
    TempDir dir;
    const QString support = dir.file("support"), path = support + "/queue.lock";
    const QString busy = QString("Another Vantor process%1 is using the queue in %2. Quit it or wait until it ends, then try again.");
    const QString owned = QString(" (pid %1)").arg(::getpid());
    QueueLock first;
    ASSERT_EQ(refusalOf(support, &first), QString());
    const auto replace = [&] { ::rename(QFile::encodeName(dir.write("other", "")).constData(), QFile::encodeName(path).constData()); };
    for (const auto &[label, change, whileChanged] :
         {std::tuple{"deleted", std::function<void()>([&] { QFile::remove(path); }), busy.arg(QString(), support)},
          std::tuple{"replaced", std::function<void()>(replace), busy.arg(QString(), support)}}) {
        change();
        EXPECT_EQ(refusalOf(support), whileChanged) << label;
        first.confirm();
        EXPECT_EQ(test::readFile(path), QByteArray::number(::getpid()) + '\n') << label;
        EXPECT_EQ(refusalOf(support), busy.arg(owned, support)) << label;
    }

    ASSERT_EQ(::rename(QFile::encodeName(support).constData(), QFile::encodeName(dir.file("moved")).constData()), 0);
    QueueLock second;
    EXPECT_EQ(refusalOf(support, &second), QString()) << "a new folder is a new queue";
    try {
        first.confirm();
        ADD_FAILURE() << "the first owner would write into the second's folder";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), "The support folder was moved or replaced while this process used it, so this process no "
                                   "longer saves the queue: " + support);
    }
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
