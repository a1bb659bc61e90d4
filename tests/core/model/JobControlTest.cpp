#include "model/JobControl.h"
#include "model/VantorError.h"

#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantor;

namespace {

static_assert(!std::is_base_of_v<VantorError, CancellationError>, "a cancel is not reported as a failure");

// A real `sleep 30` child for a JobControl; killed and reaped at the end unless a test reaped it.
class JobControlProcess : public testing::Test {
protected:
    void SetUp() override
    {
        m_pid = ::fork();
        if (m_pid == 0) {
            ::execlp("sleep", "sleep", "30", static_cast<char *>(nullptr));
            ::_exit(127);
        }
        handle = std::make_shared<ProcessHandle>(m_pid);
    }
    void TearDown() override
    {
        if (!m_reaped) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }
    // Waits for the child's next stop, continue (as asked) or end: the signal behind it, 0 if the
    // child ran to its end unsignalled.
    int next(int event)
    {
        siginfo_t info{};
        ::waitid(P_PID, id_t(m_pid), &info, event | WEXITED);
        m_reaped = info.si_code != CLD_STOPPED && info.si_code != CLD_CONTINUED;
        return info.si_code == CLD_EXITED ? 0 : info.si_status;
    }

    JobControl control;
    std::shared_ptr<ProcessHandle> handle;
    pid_t m_pid = -1;
    bool m_reaped = false;
};

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

TEST(JobControlTest, ResumeReleasesAPausedWorkerButNeverUndoesACancel)
{
    JobControl control;
    control.pause();
    auto worker = std::async(std::launch::async, [&] { control.checkpoint(); });
    control.resume();
    EXPECT_NO_THROW(worker.get());
    control.cancel();
    control.resume();
    EXPECT_THROW(control.checkpoint(), CancellationError);
}

TEST_F(JobControlProcess, PauseStopsResumeContinuesCancelTerminates)
{
    control.attach(handle);
    control.pause();
    EXPECT_EQ(next(WSTOPPED), SIGSTOP);
    control.resume();
    EXPECT_EQ(next(WCONTINUED), SIGCONT);
    control.cancel();
    EXPECT_EQ(next(WEXITED), SIGTERM);
}

TEST_F(JobControlProcess, AttachAfterCancelTerminatesAtOnce)
{
    control.cancel();
    control.attach(handle);
    EXPECT_EQ(next(WEXITED), SIGTERM);
}

TEST_F(JobControlProcess, AttachAfterPauseStopsAtOnceAndCancelStillTerminatesTheStoppedProcess)
{
    control.pause();
    control.attach(handle);
    EXPECT_EQ(next(WSTOPPED), SIGSTOP);
    control.cancel(); // a stopped process must be continued to act on SIGTERM
    EXPECT_EQ(next(WEXITED), SIGTERM);
}

TEST_F(JobControlProcess, AReapedProcessIsNeverSignalledAgain)
{
    control.attach(handle);
    ::kill(m_pid, SIGKILL);
    EXPECT_EQ(next(WEXITED), SIGKILL);
    // The pid may now be reused by anyone; the pidfd knows the process is gone.
    EXPECT_FALSE(handle->signal(SIGTERM));
    control.pause();
    control.cancel();
}

} // namespace
