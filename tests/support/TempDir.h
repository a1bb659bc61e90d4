#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <sys/stat.h>
#include <time.h>

namespace vantor::test {

// A fresh folder removed with everything in it when the test ends (read-only folders made by
// the test included).
class TempDir {
public:
    TempDir();
    // A folder under `base` (e.g. memoryFolder() for tests whose cost is fsync, not logic).
    explicit TempDir(const QString &base);
    ~TempDir();
    QString path() const { return m_dir.path(); }
    QString file(const QString &relative) const { return m_dir.filePath(relative); }
    // Writes a file (making its folders) and returns its path.
    QString write(const QString &relative, const QByteArray &content) const;
    QString makeDir(const QString &relative) const;

private:
    QTemporaryDir m_dir;
};

QByteArray readFile(const QString &path);
// A memory-backed folder (/dev/shm) where there is one, else the system's temporary folder.
QString memoryFolder();
QByteArray randomBytes(qsizetype size, quint32 seed);
inline constexpr qsizetype mebibyte = 1 << 20;
// Whether path lies on tmpfs or ramfs, where the page cache is the storage.
bool isMemoryFileSystem(const QString &path);
// How many pages of the file are in the page cache now (mincore); -1 if it cannot be told.
long cachedPages(const QString &path);
// Every path below root, relative and sorted, folders with a trailing "/".
QStringList listTree(const QString &root);
// The entry itself (a link is not followed); zeros when it is not there.
struct stat statOf(const QString &path);
// Sets the entry's modification time, nanoseconds included.
void setModified(const QString &path, timespec time);

} // namespace vantor::test
