#include "state/QueueLock.h"

#include "base/VantorError.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantor {

namespace {

constexpr char lockName[] = "queue.lock";

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

QString lockPath(const QString &directory)
{
    return QDir(directory).filePath(QLatin1String(lockName));
}

[[noreturn]] void refuseLockFile(const QString &directory)
{
    throw VantorError(QStringLiteral("The queue lock is not a plain file of this user, so Vantor leaves it alone. "
                                     "Remove it and try again: ")
                      + lockPath(directory));
}

// The refusal another owner causes, naming its pid when the lock file tells it.
[[noreturn]] void refuseBusy(int folder, const QString &directory)
{
    char owner[32] = {};
    const int fd = ::openat(folder, lockName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
        struct stat info { };
        if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode))
            [[maybe_unused]] ssize_t got = ::pread(fd, owner, sizeof owner - 1, 0);
        ::close(fd);
    }
    const QString pid = QString::fromLatin1(owner).trimmed();
    throw VantorError(QStringLiteral("Another Vantor process%1 is using the queue in %2. "
                                     "Quit it or wait until it ends, then try again.")
                          .arg(pid.isEmpty() ? QString() : QStringLiteral(" (pid %1)").arg(pid), directory));
}

// Opens queue.lock in `folder` without following a link and takes its flock. Returns -1 when
// another process holds it, or when `create` is set and the file already exists.
int lockFile(int folder, const QString &directory, bool create)
{
    // A file swapped in between the open and the flock is not the one at the name: take again.
    for (int attempt = 0; attempt < 16; ++attempt) {
        const int fd = ::openat(folder, lockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC
                                                      | (create ? O_EXCL : 0), 0644);
        if (fd < 0) {
            const int error = errno;
            if (error == EEXIST && create)
                return -1;
            if (error == ELOOP || error == EISDIR || error == ENXIO)
                refuseLockFile(directory);
            throwSystemError(error, lockPath(directory));
        }
        struct stat opened { };
        // More than one name would let the pid overwrite a file somewhere else.
        if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) || opened.st_uid != ::geteuid()
            || opened.st_nlink > 1) {
            ::close(fd);
            refuseLockFile(directory);
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int error = errno;
            ::close(fd);
            if (error == EWOULDBLOCK)
                return -1;
            throwSystemError(error, lockPath(directory));
        }
        struct stat named { };
        if (::fstatat(folder, lockName, &named, AT_SYMLINK_NOFOLLOW) == 0 && sameFile(opened, named)) {
            // Who holds it, for the message another process shows.
            const QByteArray pid = QByteArray::number(::getpid()) + '\n';
            if (::ftruncate(fd, 0) == 0)
                [[maybe_unused]] ssize_t written = ::pwrite(fd, pid.constData(), std::size_t(pid.size()), 0);
            return fd;
        }
        ::close(fd); // with `create`, the next open finds the other file and gives up
    }
    throw VantorError(QStringLiteral("The queue lock kept changing while Vantor took it. Try again: ")
                      + lockPath(directory));
}

} // namespace

QueueLock::~QueueLock()
{
    close();
}

void QueueLock::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    if (m_folder >= 0)
        ::close(m_folder);
    m_fd = m_folder = -1;
}

QueueLock::QueueLock(QueueLock &&other) noexcept
    : m_directory(other.m_directory), m_folder(other.m_folder), m_folderLocked(other.m_folderLocked), m_fd(other.m_fd)
{
    other.m_fd = other.m_folder = -1;
}

QueueLock &QueueLock::operator=(QueueLock &&other) noexcept
{
    if (this != &other) {
        close();
        m_directory = other.m_directory;
        m_folder = other.m_folder;
        m_folderLocked = other.m_folderLocked;
        m_fd = other.m_fd;
        other.m_fd = other.m_folder = -1;
    }
    return *this;
}

QueueLock QueueLock::acquire(const QString &directory)
{
    if (!QDir().mkpath(directory))
        throw VantorError(QStringLiteral("The support folder could not be created: ") + directory);
    QueueLock lock;
    lock.m_directory = directory;
    lock.m_folder = ::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock.m_folder < 0)
        throwSystemError(errno, directory);
    if (::flock(lock.m_folder, LOCK_EX | LOCK_NB) == 0)
        lock.m_folderLocked = true;
    else if (errno == EWOULDBLOCK)
        refuseBusy(lock.m_folder, directory);
    lock.m_fd = lockFile(lock.m_folder, directory, false);
    if (lock.m_fd < 0)
        refuseBusy(lock.m_folder, directory);
    return lock;
}

void QueueLock::confirm()
{
    struct stat held { }, named { };
    if (::fstat(m_folder, &held) != 0 || ::stat(QFile::encodeName(m_directory).constData(), &named) != 0
        || !sameFile(held, named))
        throw VantorError(QStringLiteral("The support folder was moved or replaced while this process used it, so "
                                         "this process no longer saves the queue: ")
                          + m_directory);
    if (::fstat(m_fd, &held) == 0 && ::fstatat(m_folder, lockName, &named, AT_SYMLINK_NOFOLLOW) == 0
        && sameFile(held, named))
        return;
    // Deleted or replaced. With the folder locked no other process can have written the state,
    // so the lock file is simply made again; without it, only a missing one is.
    const int fd = lockFile(m_folder, m_directory, !m_folderLocked);
    if (fd < 0)
        throw VantorError(QStringLiteral("Another process took the queue lock while this one used the queue, so "
                                         "this one no longer saves it: ")
                          + lockPath(m_directory));
    ::close(m_fd);
    m_fd = fd;
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
