#include "queue/QueueLock.h"

#include "model/VantorError.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vantor {

QueueLock::~QueueLock()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

QueueLock::QueueLock(QueueLock &&other) noexcept : m_fd(other.m_fd)
{
    other.m_fd = -1;
}

QueueLock &QueueLock::operator=(QueueLock &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = other.m_fd;
        other.m_fd = -1;
    }
    return *this;
}

QueueLock QueueLock::acquire(const QString &directory)
{
    if (!QDir().mkpath(directory))
        throw VantorError(QStringLiteral("The support folder could not be created: ") + directory);
    const QByteArray path = QFile::encodeName(QDir(directory).filePath(QStringLiteral("queue.lock")));
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        throwSystemError(errno);
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        char owner[32] = {};
        [[maybe_unused]] ssize_t got = ::pread(fd, owner, sizeof owner - 1, 0);
        ::close(fd);
        if (error != EWOULDBLOCK)
            throwSystemError(error);
        const QString pid = QString::fromLatin1(owner).trimmed();
        throw VantorError(QStringLiteral("Another Vantor process%1 is using the queue in %2. "
                                         "Quit it or wait until it ends, then try again.")
                              .arg(pid.isEmpty() ? QString() : QStringLiteral(" (pid %1)").arg(pid), directory));
    }
    // Who holds it, for the message another process shows; the lock itself is the flock.
    const QByteArray pid = QByteArray::number(::getpid()) + '\n';
    if (::ftruncate(fd, 0) == 0)
        [[maybe_unused]] ssize_t written = ::pwrite(fd, pid.constData(), std::size_t(pid.size()), 0);
    return QueueLock(fd);
}

bool QueueLock::heldByAnyone(const QString &directory)
{
    const QByteArray path = QFile::encodeName(QDir(directory).filePath(QStringLiteral("queue.lock")));
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0)
        return false; // no lock file: no process has ever held this queue
    const bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(fd); // releases the shared lock, if it was taken
    return held;
}

} // namespace vantor
