#include "base/JobControl.h"

#include "base/VantorError.h"

#include <csignal>

namespace vantor {

void JobControl::pause()
{
    std::lock_guard lock(m_mutex);
    m_paused = true;
    if (m_process)
        m_process->signal(SIGSTOP);
}

void JobControl::resume()
{
    std::lock_guard lock(m_mutex);
    m_paused = false;
    if (m_process)
        m_process->signal(SIGCONT);
    m_condition.notify_all();
}

void JobControl::cancel()
{
    std::lock_guard lock(m_mutex);
    m_cancelled = true;
    m_paused = false;
    if (m_process) {
        // A stopped process cannot act on SIGTERM until it is continued.
        m_process->signal(SIGCONT);
        m_process->signal(SIGTERM);
    }
    m_condition.notify_all();
}

void JobControl::attach(std::shared_ptr<ProcessHandle> process)
{
    std::lock_guard lock(m_mutex);
    m_process = std::move(process);
    if (!m_process)
        return;
    if (m_cancelled)
        m_process->signal(SIGTERM);
    else if (m_paused)
        m_process->signal(SIGSTOP);
}

void JobControl::checkpoint()
{
    std::unique_lock lock(m_mutex);
    m_condition.wait(lock, [this] { return !m_paused || m_cancelled; });
    if (m_cancelled)
        throw CancellationError();
}

void JobControl::waitWhilePaused()
{
    std::unique_lock lock(m_mutex);
    m_condition.wait(lock, [this] { return !m_paused || m_cancelled; });
}

bool JobControl::isPaused() const
{
    std::lock_guard lock(m_mutex);
    return m_paused;
}

bool JobControl::isCancelled() const
{
    std::lock_guard lock(m_mutex);
    return m_cancelled;
}

} // namespace vantor
