#include "files/SafeFiles.h"

#include "base/VantorError.h"

#include <QFile>
#include <QUuid>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace vantor::SafeFiles {

namespace {

QString lexicalPath(const QStringList &components)
{
    return QLatin1Char('/') + components.join(QLatin1Char('/'));
}

QString componentRefusal(const QString &path)
{
    return QStringLiteral("A destination component is a link or file: ") + path;
}

// Opens one folder below `parent` without following a link; empty when nothing is there.
FileIo::UniqueFd openFolderAt(int parent, const QString &name, const QString &pathForMessage)
{
    try {
        return FileIo::openAt(parent, FileIo::encodeName(name), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    } catch (const std::system_error &error) {
        const int code = error.code().value();
        if (code == ENOENT)
            return {};
        if (code == ELOOP || code == ENOTDIR)
            throw VantorError(componentRefusal(pathForMessage));
        throw;
    }
}

} // namespace

QString ParentFolder::targetPath() const
{
    return path + QLatin1Char('/') + QFile::decodeName(targetName);
}

QStringList lexicalComponents(const QString &path)
{
    QStringList kept;
    for (const QString &piece : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (piece == QLatin1String("."))
            continue;
        if (piece == QLatin1String("..")) {
            if (!kept.isEmpty())
                kept.removeLast();
            continue;
        }
        kept << piece;
    }
    return kept;
}

bool descendant(const QString &child, const QString &root)
{
    const QStringList childComponents = lexicalComponents(child);
    const QStringList rootComponents = lexicalComponents(root);
    if (rootComponents.size() >= childComponents.size())
        return false;
    for (qsizetype i = 0; i < rootComponents.size(); ++i) {
        if (childComponents[i] != rootComponents[i])
            return false;
    }
    return true;
}

void existingDirectory(const QString &path)
{
    const struct stat info = [&] {
        try {
            return FileIo::fstatAt(AT_FDCWD, FileIo::encodeName(path));
        } catch (const std::system_error &error) {
            throwSystemError(error.code().value(), path);
        }
    }();
    if (!S_ISDIR(info.st_mode))
        throw VantorError(QStringLiteral("Select an available, real destination folder: ") + path);
    // A folder with every write bit cleared is treated as read-only even for root: whoever
    // locked it meant it. A read-only mount counts too.
    struct statvfs volume {};
    const bool readOnlyMount = ::statvfs(FileIo::encodeName(path).constData(), &volume) == 0
                               && (volume.f_flag & ST_RDONLY);
    if (readOnlyMount || (info.st_mode & 0222) == 0
        || ::access(FileIo::encodeName(path).constData(), W_OK) != 0)
        throw VantorError(QStringLiteral("The destination is read-only: ") + path);
}

void refuseReadOnlyFolder(int folder, const QString &path)
{
    struct stat info {};
    struct statvfs volume {};
    if ((::fstat(folder, &info) == 0 && (info.st_mode & 0222) == 0)
        || (::fstatvfs(folder, &volume) == 0 && (volume.f_flag & ST_RDONLY)))
        throw VantorError(QStringLiteral("The destination is read-only: ") + path);
}

ParentFolder prepareParent(const QString &target, const QString &root)
{
    existingDirectory(root);
    if (!descendant(target, root))
        throw VantorError(QStringLiteral("Output would escape the selected destination."));

    const QStringList rootComponents = lexicalComponents(root);
    QStringList chain = lexicalComponents(target);
    const QString targetName = chain.takeLast();
    chain = chain.mid(rootComponents.size());

    // The root was just checked to be a real folder; O_NOFOLLOW refuses it if it is swapped now.
    QString currentPath = lexicalPath(rootComponents);
    FileIo::UniqueFd current = [&] {
        try {
            return FileIo::open(currentPath, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        } catch (const std::system_error &error) {
            if (error.code().value() == ELOOP || error.code().value() == ENOTDIR)
                throw VantorError(QStringLiteral("Select an available, real destination folder: ") + root);
            throw;
        }
    }();

    for (const QString &component : chain) {
        currentPath += QLatin1Char('/') + component;
        FileIo::UniqueFd next = openFolderAt(current.get(), component, currentPath);
        if (!next.valid()) {
            try {
                FileIo::mkdirAt(current.get(), FileIo::encodeName(component));
            } catch (const std::system_error &error) {
                // Another writer made it first; whatever it made is checked below like any folder.
                if (error.code().value() != EEXIST)
                    throw;
            }
            next = openFolderAt(current.get(), component, currentPath);
            if (!next.valid())
                throwSystemError(ENOENT);
            // The new entry must survive a crash before anything is written beneath it.
            FileIo::fsync(current.get());
        }
        // A folder locked below the root locks what lies beneath it, as the root's lock does.
        refuseReadOnlyFolder(next.get(), currentPath);
        current = std::move(next);
    }

    const QByteArray encodedName = FileIo::encodeName(targetName);
    if (FileIo::existsAt(current.get(), encodedName))
        throw VantorError(QStringLiteral("File already exists. Choose a different name or destination: ")
                          + targetName);
    return ParentFolder{std::move(current), currentPath, encodedName};
}

QByteArray stageBytes(int folder, const QByteArray &bytes, const QString &suffix, mode_t mode)
{
    const QByteArray name = stagingName(suffix);
    try {
        FileIo::UniqueFd file = FileIo::openAt(folder, name, O_WRONLY | O_CREAT | O_EXCL, mode);
        FileIo::writeAll(file.get(), bytes.constData(), std::size_t(bytes.size()));
        FileIo::fsync(file.get());
        FileIo::closeChecked(file);
    } catch (...) {
        ::unlinkat(folder, name.constData(), 0);
        throw;
    }
    return name;
}

void publish(const ParentFolder &parent, const QByteArray &stagingName, bool isDirectory)
{
    const int folder = parent.folder.get();
    const auto refuse = [&](int code) {
        throw VantorError(QStringLiteral("Could not commit ") + QFile::decodeName(parent.targetName)
                          + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(code))
                          + QStringLiteral(". The existing destination was not replaced."));
    };
    try {
        FileIo::renameNoReplaceAt(folder, stagingName, folder, parent.targetName);
    } catch (const std::system_error &renameError) {
        // File systems without RENAME_NOREPLACE (NFS, FUSE) answer EINVAL. A hard link also never
        // replaces, so a regular file can still be published exclusively; a plain rename never.
        if (renameError.code().value() != EINVAL || isDirectory)
            refuse(renameError.code().value());
        try {
            FileIo::linkAt(folder, stagingName, folder, parent.targetName);
        } catch (const std::system_error &linkError) {
            refuse(linkError.code().value());
        }
        try {
            FileIo::unlinkAt(folder, stagingName);
        } catch (const std::system_error &) {
            // Leave one name, the staging one, so a failure never shows at the final name.
            ::unlinkat(folder, parent.targetName.constData(), 0);
            throw;
        }
    }
    try {
        FileIo::fsync(folder);
    } catch (const std::system_error &) {
        // Not durable means not done: take the entry back to its staging name.
        ::renameat2(folder, parent.targetName.constData(), folder, stagingName.constData(), RENAME_NOREPLACE);
        throw;
    }
}

QString grantedRoot(const QString &target, const QString &root, const FileGrant &grant)
{
    const QString granted = grant.resolve();
    if (!descendant(target, granted))
        throw VantorError(QStringLiteral("The destination lies outside the folder granted to this job (")
                          + lexicalPath(lexicalComponents(granted)) + QStringLiteral("): ") + target);
    // Both contain the target, so one contains the other; the deeper one bounds the walk.
    return lexicalComponents(granted).size() > lexicalComponents(root).size() ? granted : root;
}

QByteArray stagingName(const QString &suffix)
{
    return FileIo::encodeName(QStringLiteral(".vantor-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()
                              + suffix);
}

} // namespace vantor::SafeFiles
