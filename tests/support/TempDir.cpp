#include "TempDir.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <vector>

namespace vantor::test {

TempDir::TempDir()
{
    if (!m_dir.isValid())
        ADD_FAILURE() << "could not make a temporary folder";
}

TempDir::TempDir(const QString &base) : m_dir(base + QStringLiteral("/vantor-test-XXXXXX"))
{
    if (!m_dir.isValid())
        ADD_FAILURE() << "could not make a temporary folder in " << base.toStdString();
}

QString memoryFolder()
{
    const QFileInfo shm(QStringLiteral("/dev/shm"));
    return shm.isDir() && shm.isWritable() ? shm.filePath() : QDir::tempPath();
}

bool isMemoryFileSystem(const QString &path)
{
    struct statfs info {};
    return ::statfs(QFile::encodeName(path).constData(), &info) == 0
           && (info.f_type == TMPFS_MAGIC || info.f_type == RAMFS_MAGIC);
}

long cachedPages(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0 || info.st_size == 0) {
        if (fd >= 0)
            ::close(fd);
        return fd < 0 ? -1 : 0;
    }
    // Mapping reads nothing: only touching a page would bring it in.
    void *map = ::mmap(nullptr, std::size_t(info.st_size), PROT_READ, MAP_SHARED, fd, 0);
    ::close(fd);
    if (map == MAP_FAILED)
        return -1;
    const long page = ::sysconf(_SC_PAGESIZE);
    std::vector<unsigned char> resident(std::size_t((info.st_size + page - 1) / page));
    long count = -1;
    if (::mincore(map, std::size_t(info.st_size), resident.data()) == 0) {
        count = 0;
        for (const unsigned char flag : resident)
            count += flag & 1;
    }
    ::munmap(map, std::size_t(info.st_size));
    return count;
}

TempDir::~TempDir()
{
    // Tests make read-only folders; give write access back so the tree can be removed.
    QDirIterator it(m_dir.path(), QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString dir = it.next();
        if (!QFileInfo(dir).isSymLink())
            QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QString TempDir::write(const QString &relative, const QByteArray &content) const
{
    const QString path = file(relative);
    QDir().mkpath(QFileInfo(path).path());
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
        ADD_FAILURE() << "could not write " << path.toStdString();
    return path;
}

QString TempDir::makeDir(const QString &relative) const
{
    const QString path = file(relative);
    QDir().mkpath(path);
    return path;
}

QByteArray readFile(const QString &path)
{
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly))
        return {};
    return in.readAll();
}

QByteArray randomBytes(qsizetype size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = char(generator.generate() & 0xff);
    return bytes;
}

QStringList listTree(const QString &root)
{
    QStringList entries;
    QDirIterator it(root, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                    QDirIterator::Subdirectories);
    const QDir base(root);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info(path);
        QString relative = base.relativeFilePath(path);
        if (info.isDir() && !info.isSymLink())
            relative += QLatin1Char('/');
        entries << relative;
    }
    entries.sort();
    return entries;
}

struct stat statOf(const QString &path)
{
    struct stat info {};
    ::lstat(QFile::encodeName(path).constData(), &info);
    return info;
}

void setModified(const QString &path, timespec time)
{
    const timespec times[2] = {{0, UTIME_OMIT}, time};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}

} // namespace vantor::test
