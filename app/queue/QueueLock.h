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
    // Whether some process holds the lock now. Read-only: takes nothing over and creates nothing
    // (a shared lock tried for an instant). Jobs left running in a free queue were interrupted.
    static bool heldByAnyone(const QString &directory);

private:
    explicit QueueLock(int fd) : m_fd(fd) {}
    int m_fd = -1;
};

} // namespace vantor
