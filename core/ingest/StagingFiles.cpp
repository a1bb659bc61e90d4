#include "ingest/StagingFiles.h"

#include "ingest/ChecksumService.h"
#include "files/SafeFiles.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QRegularExpression>
#include <algorithm>
#include <dirent.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace vantor::StagingFiles {

namespace {

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// The target's existing parent folder, opened from the granted root without following a link
// or making anything; invalid when any part of it is missing, a link or not a folder.
struct ExistingParent {
    FileIo::UniqueFd folder;
    QString path;
};

// A place the job writes to, with the root it must lie inside: its project copy and output
// below its destination root, each backup below its own folder.
struct Target {
    QString path;
    QString root;
    FileGrant grant;
    QString staging;
};

ExistingParent openExistingParent(const Target &target)
{
    try {
        const QString root = SafeFiles::grantedRoot(target.path, target.root, target.grant);
        if (!SafeFiles::descendant(target.path, root))
            return {};
        const QStringList rootComponents = SafeFiles::lexicalComponents(root);
        QStringList chain = SafeFiles::lexicalComponents(target.path);
        chain.removeLast();
        const QString folderPath = QLatin1Char('/') + chain.join(QLatin1Char('/'));
        FileIo::UniqueFd rootFd = FileIo::open(QLatin1Char('/') + rootComponents.join(QLatin1Char('/')),
                                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
        const QStringList below = chain.mid(rootComponents.size());
        if (below.isEmpty())
            return {std::move(rootFd), folderPath};
        return {FileIo::openBeneath(rootFd.get(), FileIo::encodeName(below.join(QLatin1Char('/'))),
                                    O_RDONLY | O_DIRECTORY),
                folderPath};
    } catch (const std::system_error &) {
        return {};
    } catch (const VantorError &) {
        return {};
    }
}

bool isRegularFileAt(int folder, const QByteArray &name)
{
    try {
        return S_ISREG(FileIo::fstatAt(folder, name).st_mode);
    } catch (const std::system_error &) {
        return false;
    }
}

// The folder held exclusively for as long as the result stays open, so no writer starts in it
// meanwhile; invalid when a writer holds its mark there now.
FileIo::UniqueFd claimFolder(int folder)
{
    FileIo::UniqueFd claim = FileIo::openAt(folder, ".", O_RDONLY | O_DIRECTORY);
    if (::flock(claim.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return {};
    return claim;
}

QList<QByteArray> stagingEntries(int folder)
{
    QList<QByteArray> names;
    DIR *listing = ::fdopendir(::dup(folder));
    if (!listing)
        return names;
    while (const dirent *entry = ::readdir(listing)) {
        const QByteArray name(entry->d_name);
        if (isStagingName(name) && isRegularFileAt(folder, name))
            names << name;
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<Target> targetsOf(const MediaJob &job)
{
    std::vector<Target> targets;
    if (job.copyDestination)
        targets.push_back({*job.copyDestination, job.destinationRoot, job.destinationGrant, copyName(job.id)});
    if (job.outputDestination)
        targets.push_back({*job.outputDestination, job.destinationRoot, job.destinationGrant, encodeName(job.id)});
    for (const BackupCopy &backup : job.backups)
        targets.push_back({backup.path, backup.root, backup.grant, copyName(job.id)});
    return targets;
}

} // namespace

QString copyName(const QUuid &job)
{
    return QStringLiteral(".vantor-") + idText(job) + QStringLiteral(".partial");
}

QString encodeName(const QUuid &job)
{
    return QStringLiteral(".vantor-") + idText(job) + QStringLiteral("-encode.partial");
}

bool isStagingName(const QByteArray &name)
{
    static const QRegularExpression form(QStringLiteral(
        "^\\.vantor-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}(-encode)?\\.partial$"));
    return form.match(QString::fromLatin1(name)).hasMatch();
}

void holdFolder(int folder)
{
    // Advisory and best effort: a file system without locks simply shows no mark. A clean-up
    // holds a folder only while it lists and removes, so waiting a little is enough.
    for (int attempt = 0; attempt < 400; ++attempt) {
        if (::flock(folder, LOCK_SH | LOCK_NB) == 0 || errno != EWOULDBLOCK)
            return;
        ::usleep(5000);
    }
}

PublishRecord record(int fd, ChecksumAlgorithm algorithm, JobControl &control)
{
    FileIo::seek(fd, 0);
    PublishRecord made;
    made.bytes = qint64(FileIo::fstat(fd).st_size);
    made.algorithm = algorithm;
    made.digest = ChecksumService::digest(fd, algorithm, control);
    return made;
}

bool matches(const QString &path, const PublishRecord &expected, JobControl &control)
{
    FileIo::UniqueFd file;
    try {
        file = ChecksumService::openForReading(path, O_NOFOLLOW);
    } catch (const std::system_error &) {
        return false;
    }
    const struct stat info = FileIo::fstat(file.get());
    if (!S_ISREG(info.st_mode) || qint64(info.st_size) != expected.bytes)
        return false;
    return ChecksumService::digest(file.get(), expected.algorithm, control) == expected.digest;
}

QStringList removeForJob(const MediaJob &job)
{
    QStringList removed;
    for (const Target &target : targetsOf(job)) {
        const ExistingParent parent = openExistingParent(target);
        const QByteArray encoded = FileIo::encodeName(target.staging);
        if (!parent.folder.valid() || !isRegularFileAt(parent.folder.get(), encoded))
            continue;
        try {
            FileIo::unlinkAt(parent.folder.get(), encoded);
            removed << parent.path + QLatin1Char('/') + target.staging;
        } catch (const std::system_error &) {
            // Left for `vantor queue clean`; ending the job must not fail over a hidden file.
        }
    }
    return removed;
}

QStringList orphans(const std::vector<MediaJob> &jobs, bool remove)
{
    QStringList found;
    QSet<QString> visited;
    for (const MediaJob &job : jobs) {
        for (const Target &target : targetsOf(job)) {
            const ExistingParent parent = openExistingParent(target);
            if (!parent.folder.valid() || visited.contains(parent.path))
                continue;
            visited.insert(parent.path);
            const FileIo::UniqueFd claim = claimFolder(parent.folder.get());
            if (!claim.valid())
                continue;
            for (const QByteArray &name : stagingEntries(parent.folder.get())) {
                if (remove) {
                    try {
                        FileIo::unlinkAt(parent.folder.get(), name);
                    } catch (const std::system_error &) {
                        continue;
                    }
                }
                found << parent.path + QLatin1Char('/') + QFile::decodeName(name);
            }
        }
    }
    return found;
}

} // namespace vantor::StagingFiles
