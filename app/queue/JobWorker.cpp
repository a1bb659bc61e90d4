#include "queue/JobWorker.h"

#include <pthread.h>

namespace vantor {

JobWorker::JobWorker()
{
    m_thread = std::thread([this] {
        pthread_setname_np(pthread_self(), "job worker");
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return m_stopping || m_task; });
            if (!m_task)
                return;
            std::function<void()> task = std::move(m_task);
            m_task = nullptr;
            lock.unlock();
            task();
            lock.lock();
            m_busy = false;
            m_changed.notify_all();
        }
    });
}

JobWorker::~JobWorker()
{
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_busy; });
        m_stopping = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void JobWorker::run(std::function<void()> task)
{
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_busy; });
        m_task = std::move(task);
        m_busy = true;
    }
    m_changed.notify_all();
}

void JobWorker::waitUntilIdle()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_busy; });
}

} // namespace vantor
