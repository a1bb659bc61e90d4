#pragma once

#include <QString>

namespace vantor {

// Only one process at a time may change a support folder's queue. The lock is an flock on
// "queue.lock" in that folder: the kernel releases it when its owner ends, however it ends.
class QueueLock {
public:
    QueueLock() = default;
    ~QueueLock();
    QueueLock(QueueLock &&other) noexcept;
    QueueLock &operator=(QueueLock &&other) noexcept;
    QueueLock(const QueueLock &) = delete;
    QueueLock &operator=(const QueueLock &) = delete;

    // Takes the lock or throws a VantorError naming the process that holds it.
    static QueueLock acquire(const QString &directory);
    bool held() const { return m_fd >= 0; }

private:
    explicit QueueLock(int fd) : m_fd(fd) {}
    int m_fd = -1;
};

} // namespace vantor
