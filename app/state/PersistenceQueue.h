#pragma once

#include <QString>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace vantor {

// One serial background thread that carries every state save and log append in the order they
// were requested. Nothing is coalesced or dropped; flush() waits for everything queued before it.
class PersistenceQueue {
public:
    explicit PersistenceQueue(const QString &label);
    ~PersistenceQueue(); // runs what is queued, then stops and joins the thread
    PersistenceQueue(const PersistenceQueue &) = delete;
    PersistenceQueue &operator=(const PersistenceQueue &) = delete;

    void post(std::function<void()> task);
    void flush();

    QString label() const { return m_label; }
    std::size_t deepestBacklog() const; // the most tasks ever waiting at once
    std::size_t pending() const;        // tasks queued and not yet finished

private:
    void run();

    QString m_label;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::function<void()>> m_tasks;
    bool m_busy = false;
    bool m_stopping = false;
    std::size_t m_deepestBacklog = 0;
    std::thread m_thread;
};

} // namespace vantor
