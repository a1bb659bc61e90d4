#include "transcode/SourceAccessTimes.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantor {

namespace {

int openWithoutTouching(const QByteArray &path)
{
    // Held open so the time goes back on the very file the engine read, even if it is renamed.
    int fd = ::open(path.constData(), O_RDONLY | O_NOATIME | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0 && errno == EPERM)
        fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    return fd;
}

} // namespace

SourceAccessTimes::SourceAccessTimes(const QStringList &engineArguments)
{
    for (qsizetype i = 0; i + 1 < engineArguments.size(); ++i) {
        if (engineArguments[i] != QLatin1String("-i"))
            continue;
        // Generated inputs ("testsrc=…") and missing files have no time to keep.
        struct stat info {};
        const QByteArray path = QFile::encodeName(engineArguments[i + 1]);
        if (::stat(path.constData(), &info) != 0 || !S_ISREG(info.st_mode))
            continue;
        const int fd = openWithoutTouching(path);
        if (fd < 0)
            continue;
        if (::fstat(fd, &info) != 0) {
            ::close(fd);
            continue;
        }
        m_kept.push_back({ fd, info.st_atim });
    }
}

SourceAccessTimes::~SourceAccessTimes()
{
    for (const Kept &kept : m_kept) {
        struct stat info {};
        const bool changed = ::fstat(kept.fd, &info) == 0
            && (info.st_atim.tv_sec != kept.accessed.tv_sec || info.st_atim.tv_nsec != kept.accessed.tv_nsec);
        if (changed) {
            const timespec times[2] = { kept.accessed, { 0, UTIME_OMIT } };
            // Best effort: a file that is neither ours nor writable keeps what the system did.
            ::futimens(kept.fd, times);
        }
        ::close(kept.fd);
    }
}

} // namespace vantor
