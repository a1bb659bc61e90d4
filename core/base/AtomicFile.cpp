#include "base/AtomicFile.h"

#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>
#include <cerrno>
#include <unistd.h>

namespace vantor::AtomicFile {

void replace(const QString &path, const QByteArray &data)
{
    replace(path, std::vector<QByteArray> { data });
}

void replace(const QString &path, const std::vector<QByteArray> &pieces)
{
    const QFileInfo info(path);
    FileIo::UniqueFd folder = FileIo::open(info.absolutePath(), O_RDONLY | O_DIRECTORY);
    const QByteArray target = FileIo::encodeName(info.fileName());
    const QByteArray temporary = FileIo::encodeName(QStringLiteral(".vantor-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".partial"));

    FileIo::UniqueFd file = FileIo::openAt(folder.get(), temporary, O_WRONLY | O_CREAT | O_EXCL, 0666);
    try {
        for (const QByteArray &piece : pieces)
            FileIo::writeAll(file.get(), piece.constData(), std::size_t(piece.size()));
        FileIo::fsync(file.get());
        FileIo::closeChecked(file);
        FileIo::renameAt(folder.get(), temporary, folder.get(), target);
    } catch (...) {
        file = FileIo::UniqueFd();
        ::unlinkat(folder.get(), temporary.constData(), 0);
        throw;
    }
    // The new name counts only once the folder's entry is on disk.
    FileIo::fsync(folder.get());
}

void makeFolders(const QString &path)
{
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    QString parent = QStringLiteral("/");
    for (const QString &component : absolute.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        const QString current
            = (parent == QLatin1String("/") ? parent : parent + QLatin1Char('/')) + component;
        // Existing folders are followed even through links: the support folder may live behind one.
        bool exists = true;
        struct stat info { };
        try {
            info = FileIo::fstatAt(AT_FDCWD, FileIo::encodeName(current), 0);
        } catch (const std::system_error &error) {
            if (error.code().value() != ENOENT)
                throw;
            exists = false;
        }
        if (!exists) {
            try {
                FileIo::mkdirAt(AT_FDCWD, FileIo::encodeName(current));
                FileIo::UniqueFd folder = FileIo::open(parent, O_RDONLY | O_DIRECTORY);
                FileIo::fsync(folder.get());
            } catch (const std::system_error &error) {
                if (error.code().value() != EEXIST)
                    throw;
            }
        } else if (!S_ISDIR(info.st_mode)) {
            throwSystemError(ENOTDIR);
        }
        parent = current;
    }
}

} // namespace vantor::AtomicFile
