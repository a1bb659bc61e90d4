#include "state/PersistenceQueue.h"

#include <pthread.h>

namespace vantor {

PersistenceQueue::PersistenceQueue(const QString &label) : m_label(label)
{
    m_thread = std::thread([this] { run(); });
}

PersistenceQueue::~PersistenceQueue()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void PersistenceQueue::post(std::function<void()> task)
{
    {
        std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
        m_deepestBacklog = std::max(m_deepestBacklog, m_tasks.size());
    }
    m_wake.notify_one();
}

void PersistenceQueue::flush()
{
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_tasks.empty() && !m_busy; });
}

std::size_t PersistenceQueue::deepestBacklog() const
{
    std::lock_guard lock(m_mutex);
    return m_deepestBacklog;
}

std::size_t PersistenceQueue::pending() const
{
    std::lock_guard lock(m_mutex);
    return m_tasks.size() + (m_busy ? 1 : 0);
}

void PersistenceQueue::run()
{
    // Thread names are limited to 15 characters; the tail of the label is the telling part.
    pthread_setname_np(pthread_self(), "persistence");
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_tasks.empty(); });
        if (m_tasks.empty()) {
            if (m_stopping)
                return;
            continue;
        }
        std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        m_busy = true;
        lock.unlock();
        task();
        lock.lock();
        m_busy = false;
        if (m_tasks.empty())
            m_idle.notify_all();
    }
}

} // namespace vantor
