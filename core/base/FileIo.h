#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace vantor {

// The one thin layer every file operation of the core goes through. Failures throw
// std::system_error carrying the system's own text. Mutating operations are counted, and
// builds with fault points can fail or crash at the Nth one (see FileIo::Faults).
namespace FileIo {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    ~UniqueFd();
    UniqueFd(UniqueFd &&other) noexcept : m_fd(other.release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept;
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;

    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    int release();

private:
    int m_fd = -1;
};

QByteArray encodeName(const QString &path); // the file system's bytes for a path

// Opening: mutating only when O_CREAT is given.
UniqueFd open(const QString &path, int flags, mode_t mode = 0);
UniqueFd openAt(int dirFd, const QByteArray &name, int flags, mode_t mode = 0);
// Opens a path below dirFd for reading without following any link or leaving dirFd.
UniqueFd openBeneath(int dirFd, const QByteArray &relative, int flags);

std::size_t read(int fd, void *buffer, std::size_t size); // retried on EINTR; 0 at the end
void writeAll(int fd, const void *data, std::size_t size);
void seek(int fd, off_t offset); // from the start of the file
void fsync(int fd);
void truncate(int fd, off_t length);
void closeChecked(UniqueFd &fd); // reports a failed close of a written file

void mkdirAt(int dirFd, const QByteArray &name, mode_t mode = 0777);
void renameNoReplaceAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to);
void renameAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to); // replaces
void linkAt(int fromDirFd, const QByteArray &from, int toDirFd, const QByteArray &to);
void unlinkAt(int dirFd, const QByteArray &name, int flags = 0);
void futimens(int fd, const timespec times[2]);
void utimensAt(int dirFd, const QByteArray &name, const timespec times[2], int flags = 0);

struct stat fstat(int fd);
struct stat fstatAt(int dirFd, const QByteArray &name, int flags = AT_SYMLINK_NOFOLLOW);
bool existsAt(int dirFd, const QByteArray &name); // without following a link
struct statvfs fstatvfs(int fd);
bool isMemoryBacked(int fd); // on tmpfs or ramfs: the page cache is the storage, no device behind it
void dropFromPageCache(int fd, off_t offset = 0, off_t length = 0); // 0: to the end; clean pages only
// Write-behind: starts writing a range of dirty pages to the device, or waits until it is there
// (errors of that writing are thrown). Neither replaces fsync: no metadata, no device flush.
void startWriteback(int fd, off_t offset, off_t length);
void waitWriteback(int fd, off_t offset, off_t length);

// Direct I/O moves data between the device and a buffer without the page cache; it wants
// buffers, offsets and lengths in whole blocks of this size.
constexpr std::size_t directAlignment = 4096;
struct AlignedFree {
    void operator()(char *buffer) const;
};
using AlignedBuffer = std::unique_ptr<char[], AlignedFree>;
AlignedBuffer alignedBuffer(std::size_t size); // a multiple of directAlignment
// The buffer size for reading the file open at `fd` in blocks of at most `limit` bytes: a small
// file gets a small buffer. A large buffer is mapped and unmapped by the allocator on each use,
// and in a process with many threads each unmap interrupts every core; a file that grows after
// this is still read whole, in more reads.
std::size_t bufferSizeFor(int fd, std::size_t limit);
bool tryDirect(int fd); // switches to direct I/O where the file system allows it
void endDirect(int fd);

namespace Faults {

struct Plan {
    long failAt = 0;       // fail the Nth mutating operation from now (1-based), 0 = never
    int error = 0;         // the error number it fails with
    bool shortWrite = false; // a write writes half, then fails with ENOSPC
    long killBefore = 0;   // SIGKILL the process before the Nth mutating operation
    long killAfter = 0;    // SIGKILL the process after the Nth mutating operation
    dev_t readDevice = 0;  // reads of files on this device are counted (see bytesRead)
    bool corruptReads = false; // ...and each comes back with its first byte flipped
    int readError = 0;         // ...or fails with this error number
    // Called before each mutating operation with its name, the layer's lock held, so a test
    // can change the world at an exact point (fill a volume, say) while no other operation runs.
    std::function<void(const char *operation)> onMutation = {};
};

// Declared everywhere, defined only where VANTOR_FAULT_POINTS is on (the test builds): a product
// binary that called them would not link.
void set(const Plan &plan); // also restarts the count
void clear();
long mutatingCount();
long long bytesRead(); // from files on the plan's readDevice since the plan was set
// Reads VANTOR_FAULT_FAIL_AT, VANTOR_FAULT_ERRNO (EIO, ENOSPC, EACCES or "short"),
// VANTOR_FAULT_KILL_BEFORE, VANTOR_FAULT_KILL_AFTER and VANTOR_FAULT_TRACE (a file that gets one
// line per mutating operation), so crash tests can drive a whole vantor process.
void loadFromEnvironment();

} // namespace Faults

} // namespace FileIo

} // namespace vantor
