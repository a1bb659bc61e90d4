#include "cards/CardVerdict.h"

#include "base/VantorError.h"
#include "ingest/MediaIngestService.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

namespace vantor {

namespace {

const QString arrow = QStringLiteral(" \u2192 ");

// Each file's deciding job: the last one queued for it.
QHash<QString, const MediaJob *> lastJobs(const std::vector<MediaJob> &jobs)
{
    QHash<QString, const MediaJob *> last;
    for (const MediaJob &job : jobs)
        last.insert(job.source, &job);
    return last;
}

// Why the owed copy is not proven, from the job's record; nothing when it is.
std::optional<QString> copyProblem(const MediaJob &job, const RequiredCopy &copy)
{
    const QString pair = job.source + arrow + copy.path;
    if (copy.verified)
        return std::nullopt;
    if (job.status == JobStatus::failed)
        return QStringLiteral("The copy failed: %1. %2").arg(pair, copy.error.value_or(job.error.value_or(QString()))).trimmed();
    if (job.status == JobStatus::cancelled)
        return QStringLiteral("The copy was cancelled: ") + pair;
    if (!job.status.final() || !copy.committed)
        return QStringLiteral("The copy has not finished: ") + pair;
    if (!job.checksum || !job.sourceHash || !job.destinationHash)
        return QStringLiteral("The copy was not verified with a checksum: ") + pair;
    return QStringLiteral("The copy's digest differs from the source's: ") + pair;
}

} // namespace

std::vector<RequiredCopy> requiredCopies(const MediaJob &job)
{
    if (!job.operation.copies() || !job.copyDestination)
        return {};
    const auto proven = [&](bool committed, const std::optional<QString> &copyHash) {
        return committed && job.checksum && job.sourceHash && copyHash && *job.sourceHash == *copyHash;
    };
    std::vector<RequiredCopy> copies{RequiredCopy{job.destinationRoot, *job.copyDestination,
                                                  proven(job.copyCommitted, job.destinationHash), job.copyCommitted, {}}};
    for (const BackupCopy &backup : job.backups) {
        if (!backup.deferred)
            copies.push_back(RequiredCopy{backup.root, backup.path, proven(backup.committed, backup.hash),
                                          backup.committed, backup.error});
    }
    return copies;
}

QString CardVerdict::label() const
{
    return safe ? QStringLiteral("Safe to format") : QStringLiteral("Not safe to format");
}

QString CardVerdict::text() const
{
    QStringList lines{label()};
    for (const CardReason &reason : reasons)
        lines << reason.text;
    for (const CardReceipt &receipt : receipts)
        lines << QStringLiteral("Receipt %1: %2").arg(receipt.rootHash, receipt.destination);
    return lines.join(QLatin1Char('\n'));
}

QJsonObject CardVerdict::toJson() const
{
    QJsonArray reasonList, receiptList;
    for (const CardReason &reason : reasons) {
        QJsonObject entry{{QStringLiteral("file"), reason.file}, {QStringLiteral("text"), reason.text}};
        if (reason.destination)
            entry.insert(QStringLiteral("destination"), *reason.destination);
        reasonList.append(entry);
    }
    for (const CardReceipt &receipt : receipts)
        receiptList.append(QJsonObject{{QStringLiteral("destination"), receipt.destination},
                                       {QStringLiteral("rootHash"), receipt.rootHash}});
    return QJsonObject{{QStringLiteral("sourceRoot"), sourceRoot}, {QStringLiteral("card"), cardLabel(sourceRoot)},
                       {QStringLiteral("safe"), safe}, {QStringLiteral("verdict"), label()},
                       {QStringLiteral("reasons"), reasonList}, {QStringLiteral("receipts"), receiptList}};
}

QString cardLabel(const QString &sourceRoot)
{
    const QString name = QFileInfo(QDir::cleanPath(sourceRoot)).fileName();
    return name.isEmpty() ? sourceRoot : name;
}

QStringList cardRoots(const std::vector<MediaJob> &jobs)
{
    QStringList roots;
    QSet<QString> seen;
    for (const MediaJob &job : jobs) {
        if (job.sourceRoot && !seen.contains(*job.sourceRoot)) {
            seen.insert(*job.sourceRoot);
            roots << *job.sourceRoot;
        }
    }
    return roots;
}

std::vector<MediaJob> cardJobs(const std::vector<MediaJob> &jobs, const QString &sourceRoot)
{
    std::vector<MediaJob> found;
    for (const MediaJob &job : jobs) {
        if (job.sourceRoot == sourceRoot)
            found.push_back(job);
    }
    return found;
}

CardSnapshot snapshotCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs)
{
    CardSnapshot snapshot;
    try {
        if (!QFileInfo(sourceRoot).isDir())
            throw VantorError(QStringLiteral("The card or folder is no longer there: ") + sourceRoot);
        QStringList links; // left out of the offload as well
        snapshot.files = MediaIngestService::scan({sourceRoot}, &links);
    } catch (const std::exception &failure) {
        snapshot.scanFailure = errorText(failure);
    }
    for (const MediaJob &job : jobs) {
        for (const RequiredCopy &copy : requiredCopies(job)) {
            const QFileInfo info(copy.path);
            if (info.isFile())
                snapshot.copySizes.insert(copy.path, info.size());
        }
    }
    return snapshot;
}

CardVerdict judgeCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardSnapshot &snapshot)
{
    CardVerdict verdict;
    verdict.sourceRoot = sourceRoot;
    const auto add = [&](const QString &file, const std::optional<QString> &destination, const QString &text) {
        verdict.reasons.push_back(CardReason{file, destination, text});
    };
    const QHash<QString, const MediaJob *> last = lastJobs(jobs);
    for (const MediaJob &job : jobs) {
        if (last.value(job.source) != &job)
            continue;
        const std::vector<RequiredCopy> copies = requiredCopies(job);
        if (copies.empty())
            add(job.source, std::nullopt, QStringLiteral("The file is not copied anywhere: ") + job.source);
        for (const RequiredCopy &copy : copies) {
            if (const std::optional<QString> problem = copyProblem(job, copy))
                add(job.source, copy.path, *problem);
            else if (!snapshot.copySizes.contains(copy.path))
                add(job.source, copy.path, QStringLiteral("The copy is no longer there: ") + job.source + arrow + copy.path);
            else if (snapshot.copySizes.value(copy.path) != job.bytes)
                add(job.source, copy.path,
                    QStringLiteral("The copy's size differs from the source's: ") + job.source + arrow + copy.path);
        }
    }
    if (snapshot.scanFailure) {
        add(sourceRoot, std::nullopt, QStringLiteral("The card could not be scanned again. ") + *snapshot.scanFailure);
    } else {
        for (const SourceFile &file : snapshot.files) {
            const MediaJob *job = last.value(file.url);
            if (!job)
                add(file.url, std::nullopt, QStringLiteral("A file on the card was not offloaded: ") + file.url);
            else if (file.size != job->bytes || file.modified != job->modified)
                add(file.url, std::nullopt, QStringLiteral("A file on the card changed after it was read: ") + file.url);
        }
    }
    verdict.safe = verdict.reasons.empty();
    return verdict;
}

} // namespace vantor
