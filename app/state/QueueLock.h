#pragma once

#include <QString>

namespace vantor {

// Only one process at a time may change a support folder's queue. The lock is an flock on the
// folder itself and on "queue.lock" in it, which also names the owner's pid: the kernel
// releases both when their owner ends, however it ends. Deleting or replacing queue.lock does
// not let a second owner in while the folder is locked; file systems that refuse to lock a
// folder fall back to the lock file alone.
class QueueLock {
public:
    QueueLock() = default;
    ~QueueLock();
    QueueLock(QueueLock &&other) noexcept;
    QueueLock &operator=(QueueLock &&other) noexcept;
    QueueLock(const QueueLock &) = delete;
    QueueLock &operator=(const QueueLock &) = delete;

    // Takes the lock or throws a VantorError naming the process that holds it. A queue.lock
    // that is a link or not a plain file of this user is refused and left alone.
    static QueueLock acquire(const QString &directory);
    bool held() const { return m_fd >= 0; }
    // Whether some process holds the lock now. Read-only: takes nothing over and creates nothing
    // (a shared lock tried for an instant). Jobs left running in a free queue were interrupted.
    static bool heldByAnyone(const QString &directory);

    // Call before each write of the queue's state, from one thread at a time. Re-creates a
    // lock file that was deleted or replaced when that is safe; throws a VantorError when this
    // process can no longer be sure it alone owns the folder (then it must not write).
    void confirm();

private:
    void close();

    QString m_directory;
    int m_folder = -1;    // the support folder, flock'd when m_folderLocked
    bool m_folderLocked = false;
    int m_fd = -1;        // queue.lock, flock'd
};

} // namespace vantor
