#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace vantor::cli {

// Turns SIGINT and SIGTERM into a call of `onInterrupt` on a thread of its own, so Ctrl-C
// cancels through the job's control instead of killing the process mid-write. Construct it on
// the main thread before any worker starts: the signals are blocked there and inherited.
// The destructor stops and joins the thread and restores the signal mask.
class InterruptWatcher {
public:
    explicit InterruptWatcher(std::function<void()> onInterrupt);
    ~InterruptWatcher();
    InterruptWatcher(const InterruptWatcher &) = delete;
    InterruptWatcher &operator=(const InterruptWatcher &) = delete;

    bool interrupted() const { return m_interrupted.load(); }

private:
    std::function<void()> m_onInterrupt;
    std::atomic<bool> m_interrupted{false};
    int m_signalFd = -1;
    int m_stopFd = -1;
    std::thread m_thread;
};

} // namespace vantor::cli
