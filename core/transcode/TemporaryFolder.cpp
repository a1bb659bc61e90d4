#include "transcode/TemporaryFolder.h"

#include "base/AtomicFile.h"
#include "base/FileIo.h"

#include <QDir>
#include <QUuid>
#include <dirent.h>
#include <system_error>

namespace vantor::TemporaryFolder {

QString make(const QString &prefix)
{
    const QString path = QDir::tempPath() + QLatin1Char('/') + prefix
                         + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    AtomicFile::makeFolders(path);
    return path;
}

void remove(const QString &path)
{
    try {
        const QDir location(path);
        const FileIo::UniqueFd parent =
            FileIo::open(location.absolutePath().section(QLatin1Char('/'), 0, -2) + QLatin1Char('/'),
                         O_RDONLY | O_DIRECTORY);
        const QByteArray name = FileIo::encodeName(location.dirName());
        FileIo::UniqueFd folder = FileIo::openAt(parent.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        QList<QByteArray> entries;
        if (DIR *listing = ::fdopendir(::dup(folder.get()))) {
            while (const dirent *entry = ::readdir(listing)) {
                const QByteArray entryName(entry->d_name);
                if (entryName != "." && entryName != "..")
                    entries << entryName;
            }
            ::closedir(listing);
        }
        for (const QByteArray &entry : entries) {
            try {
                FileIo::unlinkAt(folder.get(), entry);
            } catch (const std::system_error &) {
                // A folder someone put there keeps the whole folder; nothing else to do.
            }
        }
        FileIo::unlinkAt(parent.get(), name, AT_REMOVEDIR);
    } catch (const std::system_error &) {
    }
}

} // namespace vantor::TemporaryFolder
