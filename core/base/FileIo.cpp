#include "base/FileIo.h"

#include "base/VantorError.h"

#include <QFile>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <mutex>
#include <new>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace vantor::FileIo {

namespace {

enum class Fault { none, fail, shortWrite };

#ifdef VANTOR_FAULT_POINTS
// The fault layer exists in test builds only: the product has neither the plan nor the hooks.
struct FaultState {
    std::mutex mutex;
    Faults::Plan plan;
    long count = 0;
    int traceFd = -1;
    // Read on every read without the lock: the plan's device, and what was read from it.
    std::atomic<dev_t> readDevice = 0;
    std::atomic<bool> corruptReads = false;
    std::atomic<int> readError = 0;
    std::atomic<long long> bytesRead = 0;
};

FaultState &faultState()
{
    static FaultState state;
    return state;
}

// The number of the mutating operation under way on this thread; threads interleave, so the
// kill after an operation is decided by its own number, not by the shared count.
thread_local long currentOperation = 0;

// Called around every mutating operation. Returns what the operation should do instead.
Fault beforeMutation(const char *operation)
{
    FaultState &state = faultState();
    std::lock_guard lock(state.mutex);
    const long number = ++state.count;
    currentOperation = number;
    if (state.traceFd >= 0) {
        char line[96];
        const int length = std::snprintf(line, sizeof line, "%ld %s\n", number, operation);
        [[maybe_unused]] ssize_t written = ::write(state.traceFd, line, size_t(length));
    }
    if (state.plan.killBefore == number)
        ::raise(SIGKILL);
    if (state.plan.onMutation)
        state.plan.onMutation(operation);
    if (state.plan.failAt == number)
        return state.plan.shortWrite ? Fault::shortWrite : Fault::fail;
    return Fault::none;
}

// Counts, and where planned corrupts, what a read returned from a file on the plan's device.
void afterRead(int fd, void *buffer, std::size_t got)
{
    FaultState &state = faultState();
    const dev_t device = state.readDevice.load();
    struct stat info {};
    if (device == 0 || got == 0 || ::fstat(fd, &info) != 0 || info.st_dev != device)
        return;
    state.bytesRead += qint64(got);
    if (state.readError != 0)
        throwSystemError(state.readError);
    if (state.corruptReads)
        static_cast<char *>(buffer)[0] ^= 0x01;
}

void afterMutation()
{
    FaultState &state = faultState();
    std::lock_guard lock(state.mutex);
    if (state.plan.killAfter != 0 && state.plan.killAfter == currentOperation)
        ::raise(SIGKILL);
}

int injectedError()
{
    const int error = faultState().plan.error;
    return error != 0 ? error : EIO;
}
#else
constexpr Fault beforeMutation(const char *) { return Fault::none; }
constexpr void afterMutation() {}
constexpr int injectedError() { return EIO; }
constexpr void afterRead(int, void *, std::size_t) {}
#endif

// A planned short write that lands on an operation other than a write fails it as a full disk.
int errorFor(Fault fault)
{
    return fault == Fault::shortWrite ? ENOSPC : injectedError();
}

// Runs one mutating system call with its fault point.
template <typename Call> void mutate(const char *operation, Call call)
{
    const Fault fault = beforeMutation(operation);
    if (fault != Fault::none)
        throwSystemError(errorFor(fault));
    if (call() != 0)
        throwSystemError(errno);
    afterMutation();
}

} // namespace

UniqueFd::~UniqueFd()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

UniqueFd &UniqueFd::operator=(UniqueFd &&other) noexcept
{
    if (this != &other) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = other.release();
    }
    return *this;
}

int UniqueFd::release()
{
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

QByteArray encodeName(const QString &path)
{
    return QFile::encodeName(path);
}

UniqueFd open(const QString &path, int flags, mode_t mode)
{
    return openAt(AT_FDCWD, encodeName(path), flags, mode);
}

UniqueFd openAt(int dirFd, const QByteArray &name, int flags, mode_t mode)
{
    flags |= O_CLOEXEC;
    if (flags & O_CREAT) {
        const Fault fault = beforeMutation("open");
        if (fault != Fault::none)
            throwSystemError(errorFor(fault));
    }
    int fd;
    do {
        fd = ::openat(dirFd, name.constData(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        throwSystemError(errno);
    if (flags & O_CREAT)
        afterMutation();
    return UniqueFd(fd);
}

std::size_t read(int fd, void *buffer, std::size_t size)
{
    for (;;) {
        const ssize_t got = ::read(fd, buffer, size);
        if (got >= 0) {
            afterRead(fd, buffer, std::size_t(got));
            return std::size_t(got);
        }
        if (errno != EINTR)
            throwSystemError(errno);
    }
}

void writeAll(int fd, const void *data, std::size_t size)
{
    const Fault fault = beforeMutation("write");
    const char *bytes = static_cast<const char *>(data);
    if (fault == Fault::fail)
        throwSystemError(injectedError());
    if (fault == Fault::shortWrite) {
        // A disk that fills up mid-write: part of the block lands, then the write fails.
        [[maybe_unused]] ssize_t partial = ::write(fd, bytes, size / 2);
        throwSystemError(ENOSPC);
    }
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            throwSystemError(errno);
        }
        if (written == 0)
            throwSystemError(ENOSPC);
        bytes += written;
        size -= std::size_t(written);
    }
    afterMutation();
}

void fsync(int fd)
{
    mutate("fsync", [&] { return ::fsync(fd); });
}

void truncate(int fd, off_t length)
{
    mutate("ftruncate", [&] { return ::ftruncate(fd, length); });
}

void closeChecked(UniqueFd &fd)
{
    const int raw = fd.release();
    const Fault fault = beforeMutation("close");
    const int result = ::close(raw);
    if (fault != Fault::none)
        throwSystemError(errorFor(fault));
    if (result != 0 && errno != EINTR)
        throwSystemError(errno);
    afterMutation();
}

void mkdirAt(int dirFd, const QByteArray &name, mode_t mode)
{
    mutate("mkdir", [&] { return ::mkdirat(dirFd, name.constData(), mode); });
}

void renameNoReplaceAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to)
{
    mutate("rename", [&] {
        return ::renameat2(fromDirFd, from.constData(), toDirFd, to.constData(), RENAME_NOREPLACE);
    });
}

void renameAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to)
{
    mutate("rename", [&] { return ::renameat(fromDirFd, from.constData(), toDirFd, to.constData()); });
}

void linkAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to)
{
    mutate("link", [&] { return ::linkat(fromDirFd, from.constData(), toDirFd, to.constData(), 0); });
}

void unlinkAt(int dirFd, const QByteArray &name, int flags)
{
    mutate("unlink", [&] { return ::unlinkat(dirFd, name.constData(), flags); });
}

void futimens(int fd, const timespec times[2])
{
    mutate("futimens", [&] { return ::futimens(fd, times); });
}

void utimensAt(int dirFd, const QByteArray &name, const timespec times[2], int flags)
{
    mutate("utimensat", [&] { return ::utimensat(dirFd, name.constData(), times, flags); });
}

UniqueFd openBeneath(int dirFd, const QByteArray &relative, int flags)
{
    open_how how{};
    how.flags = quint64(flags | O_CLOEXEC | O_NOFOLLOW);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    long fd;
    do {
        fd = ::syscall(SYS_openat2, dirFd, relative.constData(), &how, sizeof how);
    } while (fd < 0 && errno == EINTR);
    if (fd >= 0)
        return UniqueFd(int(fd));
    if (errno != ENOSYS)
        throwSystemError(errno);
    // Kernels or sandboxes without openat2: one component at a time, none of them a link.
    UniqueFd folder;
    int at = dirFd;
    const QList<QByteArray> components = relative.split('/');
    for (qsizetype index = 0; index < components.size(); ++index) {
        const bool last = index + 1 == components.size();
        if (components[index].isEmpty() || components[index] == "." || components[index] == "..")
            throwSystemError(EXDEV);
        folder = openAt(at, components[index], last ? flags | O_NOFOLLOW : O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        at = folder.get();
    }
    return folder;
}

struct stat fstat(int fd)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        throwSystemError(errno);
    return info;
}

struct stat fstatAt(int dirFd, const QByteArray &name, int flags)
{
    struct stat info {};
    if (::fstatat(dirFd, name.constData(), &info, flags) != 0)
        throwSystemError(errno);
    return info;
}

bool existsAt(int dirFd, const QByteArray &name)
{
    struct stat info {};
    if (::fstatat(dirFd, name.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    throwSystemError(errno);
}

struct statvfs fstatvfs(int fd)
{
    struct statvfs info {};
    if (::fstatvfs(fd, &info) != 0)
        throwSystemError(errno);
    return info;
}

bool isMemoryBacked(int fd)
{
    struct statfs info {};
    return ::fstatfs(fd, &info) == 0 && (info.f_type == TMPFS_MAGIC || info.f_type == RAMFS_MAGIC);
}

void dropFromPageCache(int fd, off_t offset, off_t length)
{
    ::posix_fadvise(fd, offset, length, POSIX_FADV_DONTNEED);
}

void startWriteback(int fd, off_t offset, off_t length)
{
    if (::sync_file_range(fd, offset, length, SYNC_FILE_RANGE_WRITE) != 0)
        throwSystemError(errno);
}

void waitWriteback(int fd, off_t offset, off_t length)
{
    constexpr unsigned int all = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    if (::sync_file_range(fd, offset, length, all) != 0)
        throwSystemError(errno);
}

void seek(int fd, off_t offset)
{
    if (::lseek(fd, offset, SEEK_SET) < 0)
        throwSystemError(errno);
}

void AlignedFree::operator()(char *buffer) const
{
    std::free(buffer);
}

AlignedBuffer alignedBuffer(std::size_t size)
{
    AlignedBuffer buffer(static_cast<char *>(std::aligned_alloc(directAlignment, size)));
    if (!buffer)
        throw std::bad_alloc();
    return buffer;
}

std::size_t bufferSizeFor(int fd, std::size_t limit)
{
    constexpr std::size_t smallest = 64 << 10; // well below the allocator's mapping threshold
    const struct stat info = fstat(fd);
    if (!S_ISREG(info.st_mode) || limit <= smallest)
        return limit;
    const auto size = std::size_t(std::max<off_t>(info.st_size, 0));
    const std::size_t rounded = (size + directAlignment - 1) / directAlignment * directAlignment;
    return std::clamp(rounded, smallest, limit);
}

// Set after opening rather than in open(): some file systems create the file and only then
// refuse O_DIRECT, while fcntl refuses it without side effects.
bool tryDirect(int fd)
{
    const int flags = ::fcntl(fd, F_GETFL);
    return flags >= 0 && ::fcntl(fd, F_SETFL, flags | O_DIRECT) == 0;
}

void endDirect(int fd)
{
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_DIRECT) != 0)
        throwSystemError(errno);
}

#ifdef VANTOR_FAULT_POINTS
namespace Faults {

void set(const Plan &plan)
{
    FaultState &state = faultState();
    std::lock_guard lock(state.mutex);
    state.plan = plan;
    state.count = 0;
    state.readDevice = plan.readDevice;
    state.corruptReads = plan.corruptReads;
    state.readError = plan.readError;
    state.bytesRead = 0;
}

void clear()
{
    set(Plan{});
}

long mutatingCount()
{
    FaultState &state = faultState();
    std::lock_guard lock(state.mutex);
    return state.count;
}

long long bytesRead()
{
    return faultState().bytesRead.load();
}

void loadFromEnvironment()
{
    Plan plan;
    const auto number = [](const char *name) -> long {
        const char *text = std::getenv(name);
        return text ? std::strtol(text, nullptr, 10) : 0;
    };
    plan.failAt = number("VANTOR_FAULT_FAIL_AT");
    plan.killBefore = number("VANTOR_FAULT_KILL_BEFORE");
    plan.killAfter = number("VANTOR_FAULT_KILL_AFTER");
    if (const char *error = std::getenv("VANTOR_FAULT_ERRNO")) {
        const QByteArray name(error);
        plan.shortWrite = name == "short";
        plan.error = name == "ENOSPC" ? ENOSPC : name == "EACCES" ? EACCES : EIO;
    }
    set(plan);
    if (const char *trace = std::getenv("VANTOR_FAULT_TRACE")) {
        std::lock_guard lock(faultState().mutex);
        faultState().traceFd = ::open(trace, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }
}

} // namespace Faults
#endif

} // namespace vantor::FileIo
