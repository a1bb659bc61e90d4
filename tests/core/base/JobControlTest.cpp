#include "base/JobControl.h"
#include "base/VantorError.h"

#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantor;

namespace {

static_assert(!std::is_base_of_v<VantorError, CancellationError>, "a cancel is not reported as a failure");

TEST(JobControl, PauseBlocksTheWorkerAndCancelWakesItForGood)
{
    JobControl control;
    control.pause();
    std::atomic<bool> entered{false};
    auto blocked = std::async(std::launch::async, [&] {
        entered = true;
        control.checkpoint();
    });
    while (!entered)
        std::this_thread::yield();
    EXPECT_EQ(blocked.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    control.cancel();
    EXPECT_THROW(blocked.get(), CancellationError);
    control.resume(); // never undoes a cancel
    EXPECT_THROW(control.checkpoint(), CancellationError);
}

// Actions on a real `sleep 30` child (attach, pause, resume, cancel, an outside kill), and after
// each the signal the child is then seen to stop, continue or end by; 0 when nothing happens.
struct ProcessCase {
    const char *actions;
    std::vector<int> signals;
};

class JobControlProcess : public testing::TestWithParam<ProcessCase> {};

TEST_P(JobControlProcess, SignalsTheAttachedProcessOnce)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execlp("sleep", "sleep", "30", static_cast<char *>(nullptr));
        ::_exit(127);
    }
    const auto handle = std::make_shared<ProcessHandle>(pid);
    JobControl control;
    bool reaped = false;
    const auto &[actions, signals] = GetParam();
    for (std::size_t i = 0; actions[i]; ++i) {
        switch (actions[i]) {
        case 'a': control.attach(handle); break;
        case 'p': control.pause(); break;
        case 'r': control.resume(); break;
        case 'c': control.cancel(); break;
        case 'k': ::kill(pid, SIGKILL); break;
        }
        if (!signals[i])
            continue;
        siginfo_t info{};
        ::waitid(P_PID, id_t(pid), &info, WSTOPPED | WCONTINUED | WEXITED);
        reaped = info.si_code != CLD_STOPPED && info.si_code != CLD_CONTINUED;
        EXPECT_EQ(info.si_status, signals[i]) << actions << " at " << i;
    }
    EXPECT_TRUE(reaped);
    // The pid may now be anyone's; the pidfd knows the process is gone.
    EXPECT_FALSE(handle->signal(SIGTERM));
    if (!reaped) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

// A pause or cancel before the attach applies at once; a stopped process is continued to act on SIGTERM.
INSTANTIATE_TEST_SUITE_P(Sequences, JobControlProcess,
                         testing::Values(ProcessCase{"aprc", {0, SIGSTOP, SIGCONT, SIGTERM}}, ProcessCase{"ca", {0, SIGTERM}},
                                         ProcessCase{"pac", {0, SIGSTOP, SIGTERM}}, ProcessCase{"akpc", {0, SIGKILL, 0, 0}}));

} // namespace
