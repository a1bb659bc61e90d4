#include "projects/ProjectCreationService.h"

#include "ingest/NamingService.h"
#include "files/SafeFiles.h"
#include "base/FileIo.h"
#include "base/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>
#include <cerrno>
#include <dirent.h>
#include <unistd.h>
#include <vector>

namespace vantor::ProjectCreationService {

namespace {

// Removes `name` below `folder` with everything in it, without following links. Best effort:
// it runs on the way out of a failure, whose own error is the one reported.
void removeTree(int folder, const QByteArray &name) noexcept
{
    try {
        FileIo::UniqueFd inner = FileIo::openAt(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        const int listing = ::dup(inner.get());
        if (DIR *entries = listing >= 0 ? ::fdopendir(listing) : nullptr) {
            std::vector<QByteArray> names;
            while (const dirent *entry = ::readdir(entries)) {
                const QByteArray child(entry->d_name);
                if (child != "." && child != "..")
                    names.push_back(child);
            }
            ::closedir(entries);
            for (const QByteArray &child : names) {
                const struct stat info = FileIo::fstatAt(inner.get(), child);
                if (S_ISDIR(info.st_mode))
                    removeTree(inner.get(), child);
                else
                    FileIo::unlinkAt(inner.get(), child);
            }
        } else if (listing >= 0) {
            ::close(listing);
        }
        FileIo::unlinkAt(folder, name, AT_REMOVEDIR);
    } catch (const std::exception &) {
        // Whatever stays is hidden (".vantor-project-…") and never mistaken for a project.
    }
}

// Makes `relative` below the staging folder one component at a time, never following a link,
// and keeps every folder it made open so it can be made durable before the publish.
void makeFolders(int staging, const QString &relative, std::vector<FileIo::UniqueFd> &made)
{
    FileIo::UniqueFd current;
    int at = staging;
    for (const QString &component : relative.split(QLatin1Char('/'))) {
        const QByteArray name = FileIo::encodeName(component);
        bool created = false;
        if (!FileIo::existsAt(at, name)) {
            FileIo::mkdirAt(at, name);
            created = true;
        }
        FileIo::UniqueFd next = FileIo::openAt(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        if (created) {
            // The folder that received the new entry is synced with the others, below.
            made.push_back(FileIo::UniqueFd(::dup(next.get())));
            if (!made.back().valid())
                throwSystemError(errno);
        }
        current = std::move(next);
        at = current.get();
    }
}

void writeMarker(int staging, const QByteArray &data)
{
    // Hidden name first, then an exclusive rename, so the marker is whole or absent.
    const QByteArray partial = SafeFiles::stageBytes(staging, data, QStringLiteral(".partial"), 0666);
    try {
        FileIo::renameNoReplaceAt(staging, partial, staging, QByteArray(markerName));
    } catch (...) {
        ::unlinkat(staging, partial.constData(), 0);
        throw;
    }
}

} // namespace

ProjectContext create(const QString &name, const QString &client, const QString &date, const QString &parent,
    const ProjectTemplate &projectTemplate)
{
    const QString projectName = NamingService::component(name);
    SafeFiles::existingDirectory(parent);
    const NamingValues values {
        { QStringLiteral("PROJECT"), projectName },
        { QStringLiteral("CLIENT"), client },
        { QStringLiteral("DATE"), date },
    };
    const QStringList paths = ProjectTemplateService::validate(projectTemplate, values);

    const QString parentPath = QDir::cleanPath(QFileInfo(parent).absoluteFilePath());
    const QString root = parentPath == QLatin1String("/") ? QLatin1Char('/') + projectName
                                                          : parentPath + QLatin1Char('/') + projectName;

    // Everything below happens relative to this one descriptor: a parent swapped for a link
    // after the check above is refused here, never followed.
    const SafeFiles::ParentFolder target {
        [&] {
            try {
                return FileIo::open(parentPath, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
            } catch (const std::system_error &error) {
                if (error.code().value() == ELOOP || error.code().value() == ENOTDIR)
                    throw VantorError(
                        QStringLiteral("Select an available, real destination folder: ") + parent);
                throw;
            }
        }(),
        parentPath, FileIo::encodeName(projectName)
    };
    const int parentFolder = target.folder.get();
    // The folder actually opened, which may not be the one checked by path above.
    SafeFiles::refuseReadOnlyFolder(parentFolder, parentPath);
    if (FileIo::existsAt(parentFolder, target.targetName))
        throw VantorError(QStringLiteral("A project named \u201C") + projectName
            + QStringLiteral("\u201D already exists. Use Open Project or choose another name."));

    const QByteArray stagingEntry = FileIo::encodeName(
        QStringLiteral(".vantor-project-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    FileIo::mkdirAt(parentFolder, stagingEntry);

    const ProjectContext context { projectName, client, date, root };
    try {
        FileIo::UniqueFd staging
            = FileIo::openAt(parentFolder, stagingEntry, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        std::vector<FileIo::UniqueFd> made;
        for (const QString &path : paths)
            makeFolders(staging.get(), path, made);
        writeMarker(staging.get(), context.markerData());
        // Deepest folders were made last; sync them first, then the staging folder itself.
        for (auto folder = made.rbegin(); folder != made.rend(); ++folder)
            FileIo::fsync(folder->get());
        FileIo::fsync(staging.get());
        // One rename that replaces nothing, then the parent's sync: the project appears whole.
        SafeFiles::publish(target, stagingEntry, true);
    } catch (...) {
        removeTree(parentFolder, stagingEntry);
        throw;
    }
    return context;
}

} // namespace vantor::ProjectCreationService
