#include "DestinationOutcomes.h"

#include <QJsonObject>

namespace vantor::cli {

namespace {

QString state(const MediaJob &job, bool committed, bool hashed, bool failed)
{
    if (committed)
        return job.checksum && hashed ? QStringLiteral("verified") : QStringLiteral("copied");
    return failed ? QStringLiteral("failed") : QStringLiteral("waiting");
}

QJsonObject entry(const QString &role, const QString &path, const QString &state, const std::optional<QString> &hash,
                  const std::optional<QString> &error)
{
    QJsonObject object{{QStringLiteral("role"), role}, {QStringLiteral("path"), path}, {QStringLiteral("state"), state}};
    if (hash)
        object.insert(QStringLiteral("hash"), *hash);
    if (error)
        object.insert(QStringLiteral("error"), *error);
    return object;
}

} // namespace

QString copyState(const MediaJob &job)
{
    return state(job, job.copyCommitted, job.destinationHash.has_value(), job.status == JobStatus::failed);
}

QString destinationState(const MediaJob &job, std::size_t backup)
{
    const BackupCopy &copy = job.backups.at(backup);
    if (copy.deferred && !copy.committed)
        return QStringLiteral("deferred");
    return state(job, copy.committed, copy.hash.has_value(), copy.error.has_value());
}

QStringList destinationLines(const MediaJob &job)
{
    QStringList lines;
    for (std::size_t index = 0; index < job.backups.size(); ++index) {
        const BackupCopy &copy = job.backups[index];
        QString line = QStringLiteral("    backup %1: %2").arg(copy.path, destinationState(job, index));
        if (!copy.committed && copy.error)
            line += QStringLiteral(". ") + *copy.error;
        lines << line;
    }
    return lines;
}

QJsonArray destinationsJson(const MediaJob &job)
{
    QJsonArray destinations;
    if (!job.operation.copies() || !job.copyDestination)
        return destinations;
    destinations.append(entry(QStringLiteral("project"), *job.copyDestination, copyState(job),
                              job.copyCommitted ? job.destinationHash : std::nullopt, std::nullopt));
    for (std::size_t index = 0; index < job.backups.size(); ++index) {
        const BackupCopy &copy = job.backups[index];
        destinations.append(entry(QStringLiteral("backup"), copy.path, destinationState(job, index),
                                  copy.committed ? copy.hash : std::nullopt, copy.committed ? std::nullopt : copy.error));
    }
    return destinations;
}

} // namespace vantor::cli
