#include "workspace/BackupFolders.h"

#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>
#include <QStorageInfo>

namespace vantor::BackupFolders {

namespace {

// Compared through links, so a link into the project counts as the project.
QString resolved(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(path) : canonical;
}

bool within(const QString &path, const QString &folder)
{
    return path == folder || path.startsWith(folder.endsWith(u'/') ? folder : folder + u'/');
}

} // namespace

void assertAvailable(const QString &folder)
{
    const QFileInfo info(folder);
    if (!info.exists())
        throw VantorError(QStringLiteral("The backup folder does not exist: ") + folder);
    if (!info.isDir())
        throw VantorError(QStringLiteral("A backup destination must be a folder: ") + folder);
    // A folder with every write bit cleared counts as read-only even for root: whoever locked it meant it.
    constexpr auto writeBits = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    if (!(info.permissions() & writeBits) || !info.isWritable() || QStorageInfo(folder).isReadOnly())
        throw VantorError(QStringLiteral("The backup folder is not writable: ") + folder);
}

QString checked(const QString &chosen, const QStringList &listed, const std::optional<QString> &project)
{
    const QString folder = QDir::cleanPath(QFileInfo(chosen).absoluteFilePath());
    assertAvailable(folder);
    const QString real = resolved(folder);
    for (const QString &other : listed) {
        const QString otherReal = resolved(other);
        if (real == otherReal)
            throw VantorError(QStringLiteral("The backup folder is already listed: ") + folder);
        if (within(real, otherReal) || within(otherReal, real))
            throw VantorError(QStringLiteral("Backup folders must not lie inside one another: ") + folder);
    }
    if (project) {
        const QString root = resolved(*project);
        if (within(real, root))
            throw VantorError(QStringLiteral("A backup folder must lie outside the project folder: ") + folder);
        if (within(root, real))
            throw VantorError(QStringLiteral("A backup folder must not hold the project folder: ") + folder);
    }
    return folder;
}

} // namespace vantor::BackupFolders
