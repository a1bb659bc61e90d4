#pragma once

#include "base/ProcessHandle.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace vantor {

// Shared between whoever drives a job (the queue, a preview, a command) and the worker doing
// its file or engine work. Every method is safe from any thread.
class JobControl {
public:
    void pause();
    void resume();
    void cancel();
    // Records the running engine process (or none); a pause or cancel that came first is
    // applied to it at once, closing the launch-to-attach race.
    void attach(std::shared_ptr<ProcessHandle> process);
    // Blocks while paused; throws CancellationError once cancelled.
    void checkpoint();
    // Blocks while paused and not cancelled, without throwing.
    void waitWhilePaused();

    bool isPaused() const;
    bool isCancelled() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_paused = false;
    bool m_cancelled = false;
    std::shared_ptr<ProcessHandle> m_process;
};

} // namespace vantor
