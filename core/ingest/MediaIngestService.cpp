#include "ingest/MediaIngestService.h"

#include "ingest/ChecksumService.h"
#include "ingest/CopyPhases.h"
#include "files/FileGrant.h"
#include "ingest/FolderListing.h"
#include "files/SafeFiles.h"
#include "ingest/StagingCopy.h"
#include "ingest/StagingFiles.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <tuple>
#include <unistd.h>

namespace vantor::MediaIngestService {

namespace {

QString fileName(const QString &path)
{
    return QFileInfo(path).fileName();
}

// The entry itself, not what a link points to; a failure names the path.
struct stat statOf(const QString &path)
{
    try {
        return FileIo::fstatAt(AT_FDCWD, FileIo::encodeName(path));
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), path);
    }
}

} // namespace

bool isVideo(const QString &path)
{
    static const std::array<QLatin1String, 15> extensions{
        QLatin1String("mov"), QLatin1String("mp4"), QLatin1String("mxf"), QLatin1String("mkv"),
        QLatin1String("avi"), QLatin1String("m4v"), QLatin1String("mts"), QLatin1String("m2ts"),
        QLatin1String("webm"), QLatin1String("mpg"), QLatin1String("mpeg"), QLatin1String("r3d"),
        QLatin1String("braw"), QLatin1String("crm"), QLatin1String("ari")};
    const QString name = fileName(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return false;
    const QString extension = name.mid(dot + 1).toLower();
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

std::vector<SourceFile> scan(const QStringList &paths, QStringList *skipped)
{
    std::vector<SourceFile> result;
    // Only a later selection can repeat a path, so a single one needs no lookups.
    QSet<QString> listed;
    for (const QString &selected : paths) {
        if (selected.isEmpty())
            throw VantorError(QStringLiteral("An empty path was given as a source."));
        const QString selectedPath = QDir::cleanPath(QFileInfo(selected).absoluteFilePath());
        const FileGrant grant(selectedPath);
        const QByteArray encoded = FileIo::encodeName(selectedPath);
        const struct stat info = statOf(selectedPath);
        if (S_ISLNK(info.st_mode))
            throw VantorError(QStringLiteral("Symbolic links are not ingested: ") + selectedPath);

        const bool isFolder = S_ISDIR(info.st_mode);
        std::vector<FolderListing::Entry> candidates;
        if (!isFolder) {
            candidates.push_back({encoded, info.st_mode & S_IFMT, qint64(info.st_size), info.st_mtim});
        } else {
            FileIo::UniqueFd folder;
            try {
                folder = FileIo::openAt(AT_FDCWD, encoded, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
            } catch (const std::system_error &) {
                throw VantorError(QStringLiteral("Cannot read ") + selectedPath + QStringLiteral("."));
            }
            // Byte order of UTF-8 is code-point order: plain, case-sensitive, no natural numbers.
            candidates = FolderListing::list(folder.get(), encoded == "/" ? QByteArray() : encoded);
        }

        const bool checkListed = !listed.isEmpty();
        const std::size_t firstNew = result.size();
        const QString relativePrefix = fileName(selectedPath) + QLatin1Char('/');
        const qsizetype selectedLength = selectedPath.size() + 1;
        result.reserve(result.size() + candidates.size());
        for (const FolderListing::Entry &candidate : candidates) {
            const QString path = QFile::decodeName(candidate.path);
            if (S_ISLNK(candidate.type) && skipped) {
                skipped->append(path);
                continue;
            }
            if (S_ISLNK(candidate.type))
                throw VantorError(QStringLiteral("A symbolic link was found in the source. Remove it from the selection: ") + path);
            if (!S_ISREG(candidate.type))
                continue;
            if (checkListed && listed.contains(path)) // listed already: the first occurrence wins
                continue;
            SourceFile file;
            file.url = path;
            if (isFolder) {
                file.relative.reserve(relativePrefix.size() + path.size() - selectedLength);
                file.relative.append(relativePrefix).append(QStringView(path).mid(selectedLength));
            } else {
                file.relative = fileName(path);
            }
            file.grant = grant;
            file.size = candidate.size;
            file.modified = Timestamp::fromTimespec(candidate.modified);
            result.push_back(std::move(file));
        }
        if (paths.size() > 1) {
            for (std::size_t index = firstNew; index < result.size(); ++index)
                listed.insert(result[index].url);
        }
    }
    return result;
}

void assertUnchanged(const MediaJob &job)
{
    StagingCopy::unchangedSource(job, job.source);
}

QString stagingName(const MediaJob &job)
{
    return StagingFiles::copyName(job.id);
}

CopyResult copy(const MediaJob &job, JobControl &control, const Update &update, const BeforePublish &beforePublish,
                const CopyPhases::Tuning &tuning)
{
    const auto report = [&](JobStatus phase, double fraction) {
        if (update)
            update(phase, fraction);
    };
    if (!job.copyDestination)
        throw VantorError(QStringLiteral("Copy destination is missing."));
    StagingCopy::unchangedSource(job, job.source);
    const SafeFiles::ParentFolder parent = StagingCopy::prepare(*job.copyDestination, job.destinationRoot, job.destinationGrant);
    if (!StagingCopy::hasRoom(parent, job.bytes))
        throw VantorError(QStringLiteral("Not enough free space for ") + fileName(job.source) + QStringLiteral("."));
    StagingCopy staging(parent, job);

    const FileIo::UniqueFd input = ChecksumService::openForReading(job.source, O_NOFOLLOW);
    // Reading, writing and (when verifying) the reads back overlap on their own threads; the
    // staging file is on the device and out of the page cache when the copy phase returns.
    const qint64 copied = CopyPhases::write(input.get(), staging.fd(), job.bytes, control,
                                            [&](double f) { report(JobStatus::copying, f); }, tuning);
    StagingCopy::unchangedSource(job, job.source);
    if (copied != job.bytes)
        throw VantorError(QStringLiteral("Source size changed during copy. Nothing was committed."));

    CopyResult result;
    if (job.checksum) {
        report(JobStatus::verifying, 0.0);
        const FileIo::UniqueFd original = ChecksumService::openForReading(job.source, O_NOFOLLOW);
        const FileIo::UniqueFd written = staging.openForReading();
        std::tie(result.sourceHash, result.destinationHash) = CopyPhases::verify(
            original.get(), written.get(), *job.checksum, control, [&](double f) { report(JobStatus::verifying, f); }, tuning);
        if (result.sourceHash != result.destinationHash)
            throw VantorError(QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched."));
    }
    // The last look at the source also supplies its exact time, nanoseconds included.
    const struct stat source = StagingCopy::unchangedSource(job, job.source);

    control.checkpoint(); // a cancel here still discards the verified copy
    staging.settle(source.st_mtim);
    if (beforePublish) {
        PublishRecord record;
        if (job.checksum) {
            record = {job.bytes, *job.checksum, *result.destinationHash};
        } else {
            const FileIo::UniqueFd written = staging.openForReading();
            record = StagingFiles::record(written.get(), ChecksumAlgorithm::xxHash, control);
        }
        beforePublish(record);
        control.checkpoint();
    }
    staging.publish();
    return result;
}

} // namespace vantor::MediaIngestService
