#include "ingest/ChecksumService.h"

#include "ingest/Hasher.h"
#include "base/VantorError.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <system_error>

namespace vantor::ChecksumService {

namespace {

constexpr std::size_t chunkSize = 1 << 20;

} // namespace

FileIo::UniqueFd openForReading(const QString &path, int extraFlags)
{
    try {
        return FileIo::open(path, O_RDONLY | O_NOATIME | extraFlags);
    } catch (const std::system_error &error) {
        if (error.code().value() != EPERM)
            throw;
    }
    return FileIo::open(path, O_RDONLY | extraFlags);
}

QString digest(const QString &path, ChecksumAlgorithm algorithm, JobControl &control, const Progress &progress)
{
    FileIo::UniqueFd fd = openForReading(path);
    return digest(fd.get(), algorithm, control, progress); // the descriptor closes on every way out
}

QString digest(int fd, ChecksumAlgorithm algorithm, JobControl &control, const Progress &progress)
{
    const qint64 size = FileIo::fstat(fd).st_size;
    Hasher hasher(algorithm);
    const std::size_t bufferSize = FileIo::bufferSizeFor(fd, chunkSize);
    const FileIo::AlignedBuffer buffer = FileIo::alignedBuffer(bufferSize);
    bool direct = (::fcntl(fd, F_GETFL) & O_DIRECT) != 0;
    constexpr auto block = qint64(FileIo::directAlignment);
    qint64 count = 0;
    for (;;) {
        control.checkpoint();
        std::size_t got;
        try {
            got = FileIo::read(fd, buffer.get(), bufferSize);
        } catch (const std::system_error &error) {
            // Some file systems take O_DIRECT and then refuse the read: read through the cache.
            if (!direct || error.code().value() != EINVAL || count % block != 0)
                throw;
            FileIo::endDirect(fd);
            direct = false;
            continue;
        }
        if (got == 0)
            break;
        hasher.update(buffer.get(), got);
        count += qint64(got);
        if (progress)
            progress(size < 1 ? 1.0 : std::min(double(count) / double(size), 1.0));
        // A direct read ends short only at the end of the file, where the position is no longer
        // aligned for another.
        if (direct && count % block != 0)
            break;
    }
    return hasher.text();
}

} // namespace vantor::ChecksumService
