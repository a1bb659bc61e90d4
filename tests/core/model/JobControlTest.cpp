#include "model/JobControl.h"
#include "model/VantorError.h"

#include <QFile>
#include <atomic>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantor;

namespace {

// A real child that sleeps until signalled; reaped by the destructor.
class SleepingChild {
public:
    SleepingChild()
    {
        m_pid = ::fork();
        if (m_pid == 0) {
            ::execlp("sleep", "sleep", "30", static_cast<char *>(nullptr));
            ::_exit(127);
        }
        handle = std::make_shared<ProcessHandle>(m_pid);
    }
    ~SleepingChild()
    {
        if (!m_reaped) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }

    // The state letter of /proc/PID/stat once it has settled on `wanted`, or the last seen.
    char waitForState(char wanted) const
    {
        char state = '?';
        for (int attempt = 0; attempt < 500 && state != wanted; ++attempt) {
            QFile stat(QStringLiteral("/proc/%1/stat").arg(m_pid));
            if (stat.open(QIODevice::ReadOnly)) {
                const QByteArray text = stat.readAll();
                const qsizetype close = text.lastIndexOf(')');
                state = close >= 0 && close + 2 < text.size() ? text.at(close + 2) : '?';
            }
            if (state != wanted)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return state;
    }

    // The signal that ended the child (blocks until it ends).
    int terminatingSignal()
    {
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_reaped = true;
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

    std::shared_ptr<ProcessHandle> handle;

private:
    pid_t m_pid = -1;
    bool m_reaped = false;
};

} // namespace

TEST(JobControlTest, CheckpointReturnsAtOnceWhenNeitherPausedNorCancelled)
{
    JobControl control;
    EXPECT_NO_THROW(control.checkpoint());
}

TEST(JobControlTest, CancelWakesAWorkerBlockedWhilePaused)
{
    JobControl control;
    control.pause();
    std::atomic<bool> entered{false};
    auto worker = std::async(std::launch::async, [&] {
        entered = true;
        control.checkpoint();
    });
    while (!entered)
        std::this_thread::yield();
    EXPECT_EQ(worker.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    control.cancel();
    EXPECT_THROW(worker.get(), CancellationError);
}

TEST(JobControlTest, ResumeReleasesAPausedWorker)
{
    JobControl control;
    control.pause();
    auto worker = std::async(std::launch::async, [&] { control.checkpoint(); });
    control.resume();
    EXPECT_NO_THROW(worker.get());
}

TEST(JobControlTest, ResumeAfterCancelStillCancels)
{
    JobControl control;
    control.cancel();
    control.resume();
    EXPECT_TRUE(control.isCancelled());
    EXPECT_THROW(control.checkpoint(), CancellationError);
}

TEST(JobControlTest, CancellationIsNotAVantorError)
{
    JobControl control;
    control.cancel();
    try {
        control.checkpoint();
        FAIL() << "no cancellation";
    } catch (const VantorError &) {
        FAIL() << "cancellation must not be a VantorError";
    } catch (const CancellationError &) {
    }
}

TEST(JobControlTest, PauseStopsAndResumeContinuesTheAttachedProcess)
{
    SleepingChild child;
    JobControl control;
    control.attach(child.handle);
    control.pause();
    EXPECT_EQ(child.waitForState('T'), 'T');
    control.resume();
    EXPECT_EQ(child.waitForState('S'), 'S');
    control.cancel();
    EXPECT_EQ(child.terminatingSignal(), SIGTERM);
}

TEST(JobControlTest, CancelOfAStoppedProcessContinuesItSoItCanTerminate)
{
    SleepingChild child;
    JobControl control;
    control.attach(child.handle);
    control.pause();
    ASSERT_EQ(child.waitForState('T'), 'T');
    control.cancel();
    EXPECT_EQ(child.terminatingSignal(), SIGTERM);
}

TEST(JobControlTest, AttachAfterCancelTerminatesAtOnce)
{
    SleepingChild child;
    JobControl control;
    control.cancel();
    control.attach(child.handle);
    EXPECT_EQ(child.terminatingSignal(), SIGTERM);
}

TEST(JobControlTest, AttachAfterPauseStopsAtOnce)
{
    SleepingChild child;
    JobControl control;
    control.pause();
    control.attach(child.handle);
    EXPECT_EQ(child.waitForState('T'), 'T');
}

TEST(JobControlTest, AReapedProcessIsNeverSignalledAgain)
{
    SleepingChild child;
    JobControl control;
    control.attach(child.handle);
    ::kill(child.handle->pid(), SIGKILL);
    EXPECT_EQ(child.terminatingSignal(), SIGKILL);
    // The pid may now be reused by anyone; the pidfd knows the process is gone.
    EXPECT_FALSE(child.handle->signal(SIGTERM));
    control.pause();
    control.cancel();
}
