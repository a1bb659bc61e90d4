#include "ingest/StagingCopy.h"

#include "base/Timestamp.h"
#include "base/VantorError.h"
#include "ingest/StagingFiles.h"

#include <QFileInfo>
#include <cerrno>
#include <sys/file.h>
#include <system_error>

namespace vantor {

struct stat StagingCopy::unchangedSource(const MediaJob &job, const QString &source)
{
    struct stat info;
    try {
        info = FileIo::fstatAt(AT_FDCWD, FileIo::encodeName(source));
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), source);
    }
    const bool unchanged = !S_ISLNK(info.st_mode) && qint64(info.st_size) == job.bytes
                           && Timestamp::fromTimespec(info.st_mtim) == job.modified;
    if (!unchanged)
        throw VantorError(QStringLiteral("The source changed after it was queued. Add it again: ")
                          + QFileInfo(source).fileName());
    return info;
}

SafeFiles::ParentFolder StagingCopy::prepare(const QString &target, const QString &root, const FileGrant &grant)
{
    SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, SafeFiles::grantedRoot(target, root, grant));
    StagingFiles::holdFolder(parent.folder.get());
    return parent;
}

bool StagingCopy::hasRoom(const SafeFiles::ParentFolder &parent, qint64 bytes)
{
    const struct statvfs volume = FileIo::fstatvfs(parent.folder.get());
    return qint64(volume.f_bavail) * qint64(volume.f_frsize) >= bytes;
}

StagingCopy::StagingCopy(const SafeFiles::ParentFolder &parent, const MediaJob &job)
    : m_parent(parent), m_name(FileIo::encodeName(StagingFiles::copyName(job.id)))
{
    const int folder = parent.folder.get();
    // Named after the job alone, so a retry finds and replaces what a crashed attempt left.
    if (FileIo::existsAt(folder, m_name)) {
        // A staging file whose writer still holds it is another process's copy to this very
        // target (`vantor copy` names its job after the target), not a leftover.
        const FileIo::UniqueFd existing = FileIo::openAt(folder, m_name, O_RDONLY | O_NOFOLLOW);
        if (::flock(existing.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            throw VantorError(QStringLiteral("Another copy to this target is running: ") + parent.targetPath());
        FileIo::unlinkAt(folder, m_name);
    }
    try {
        m_output = FileIo::openAt(folder, m_name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644);
    } catch (const std::system_error &) {
        throw VantorError(QStringLiteral("Could not create a staging file. Check drive access."));
    }
    m_present = true;
    ::flock(m_output.get(), LOCK_EX | LOCK_NB); // advisory: marks the file as being written
}

StagingCopy::~StagingCopy()
{
    discard();
}

FileIo::UniqueFd StagingCopy::openForReading() const
{
    return FileIo::openAt(folder(), m_name, O_RDONLY | O_NOFOLLOW);
}

void StagingCopy::settle(const timespec &modified)
{
    const timespec times[2] = {{0, UTIME_OMIT}, modified};
    FileIo::futimens(m_output.get(), times);
    FileIo::fsync(m_output.get());
    FileIo::closeChecked(m_output);
}

void StagingCopy::publish()
{
    SafeFiles::publish(m_parent, m_name);
    m_present = false;
}

void StagingCopy::discard()
{
    m_output = FileIo::UniqueFd();
    if (!m_present)
        return;
    m_present = false;
    try {
        FileIo::unlinkAt(folder(), m_name);
    } catch (const std::system_error &) {
        // Nothing more can be done; the name is hidden and the next attempt reuses it.
    }
}

} // namespace vantor
