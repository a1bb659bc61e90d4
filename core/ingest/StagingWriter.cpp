#include "ingest/StagingWriter.h"

#include "base/FileIo.h"

#include <cerrno>
#include <system_error>

namespace vantor {

namespace {

// How far write-behind lets the device lag before waiting for it: enough to keep it busy,
// little enough that dirty pages never pile up.
constexpr qint64 writeBehindLag = qint64(16) << 20;

} // namespace

StagingWriter::Mode StagingWriter::modeFor(int fd)
{
    return FileIo::isMemoryBacked(fd) ? Mode::writeBehind : Mode::direct;
}

QString StagingWriter::modeName(Mode mode)
{
    return mode == Mode::direct ? QStringLiteral("direct") : QStringLiteral("write-behind");
}

StagingWriter::StagingWriter(int fd, Mode mode) : m_fd(fd), m_direct(mode == Mode::direct && FileIo::tryDirect(fd)) {}

void StagingWriter::consume(const char *data, std::size_t length)
{
    if (m_direct && length % FileIo::directAlignment != 0) { // the tail, or a short read
        FileIo::endDirect(m_fd);
        m_direct = false;
    }
    try {
        FileIo::writeAll(m_fd, data, length);
    } catch (const std::system_error &error) {
        // Some file systems take O_DIRECT and then refuse the write: write the block again,
        // from its start, through the cache.
        if (!m_direct || error.code().value() != EINVAL)
            throw;
        FileIo::endDirect(m_fd);
        m_direct = false;
        FileIo::seek(m_fd, off_t(m_written));
        FileIo::writeAll(m_fd, data, length);
    }
    const qint64 start = m_written;
    m_written += qint64(length);
    if (m_direct)
        return;
    FileIo::startWriteback(m_fd, off_t(start), off_t(length));
    if (m_written - m_settled > writeBehindLag) {
        const qint64 end = m_written - writeBehindLag;
        FileIo::waitWriteback(m_fd, off_t(m_settled), off_t(end - m_settled));
        FileIo::dropFromPageCache(m_fd, off_t(m_settled), off_t(end - m_settled));
        m_settled = end;
    }
}

void StagingWriter::finish()
{
    FileIo::fsync(m_fd);
    // After the fsync every page is clean, so this leaves none behind.
    FileIo::dropFromPageCache(m_fd);
}

} // namespace vantor
