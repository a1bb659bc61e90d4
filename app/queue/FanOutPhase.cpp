#include "queue/FanOutPhase.h"

#include "base/VantorError.h"
#include "ingest/ChecksumService.h"
#include "ingest/FanOutCopy.h"
#include "ingest/MediaIngestService.h"
#include "ingest/StagingFiles.h"

#include <QFileInfo>
#include <QStringList>
#include <system_error>

namespace vantor::FanOutPhase {

namespace {

bool due(const BackupCopy &backup)
{
    return !backup.committed && !backup.deferred;
}

bool sourceUnchanged(const MediaJob &job)
{
    try {
        MediaIngestService::assertUnchanged(job);
        return true;
    } catch (const VantorError &) {
        return false;
    } catch (const std::system_error &) {
        return false; // gone or unreadable
    }
}

QString failure(const QString &path, const std::optional<QString> &message)
{
    QString text = message.value_or(QStringLiteral("The copy failed."));
    if (!text.endsWith(QLatin1Char('.')))
        text += QLatin1Char('.');
    return QStringLiteral("Not copied to ") + path + QStringLiteral(": ") + text;
}

// A backup published by a run killed before its commit was saved: its own only when it still
// matches the record saved just before that publish.
std::optional<QString> adoptable(const MediaJob &job, const BackupCopy &backup, JobControl &control)
{
    if (!backup.publish || !StagingFiles::matches(backup.path, *backup.publish, control))
        return std::nullopt;
    if (!job.checksum || backup.publish->algorithm == *job.checksum)
        return backup.publish->digest;
    const QString digest = ChecksumService::digest(backup.path, *job.checksum, control);
    if (job.sourceHash && digest != *job.sourceHash)
        return std::nullopt;
    return digest;
}

} // namespace

bool applies(const MediaJob &job)
{
    if (!job.operation.copies())
        return false;
    for (const BackupCopy &backup : job.backups) {
        if (due(backup))
            return true;
    }
    return false;
}

QStringList readFrom(const MediaJob &job)
{
    const bool hashed = job.checksum && job.sourceHash;
    const bool projectVerified = hashed && job.copyCommitted && job.copyDestination && job.destinationHash == job.sourceHash;
    QStringList candidates;
    if (projectVerified)
        candidates << *job.copyDestination;
    if (sourceUnchanged(job))
        candidates << job.source;
    for (const BackupCopy &backup : job.backups) {
        if (hashed && backup.committed && backup.hash == job.sourceHash)
            candidates << backup.path;
    }
    QStringList readable;
    for (const QString &path : candidates) {
        const QFileInfo info(path);
        if (path == job.source || (info.isFile() && !info.isSymLink()))
            readable << path;
    }
    return readable;
}

Outcome run(const MediaJob &job, JobControl &control, const JobPhaseCallbacks &callbacks)
{
    Outcome done;
    JobPhaseResult &result = done.digests;
    result = {job.sourceHash, job.destinationHash};
    bool &copyDone = done.copyCommitted;
    copyDone = job.copyCommitted;

    std::vector<FanOutCopy::Target> targets;
    std::vector<int> owners; // -1 the project copy, otherwise the backup's index
    if (!copyDone) {
        targets.push_back({*job.copyDestination, job.destinationRoot, job.destinationGrant});
        owners.push_back(-1);
    }
    for (std::size_t index = 0; index < job.backups.size(); ++index) {
        const BackupCopy &backup = job.backups[index];
        if (!due(backup))
            continue;
        if (const std::optional<QString> digest = adoptable(job, backup, control)) {
            BackupCopy adopted = backup;
            adopted.committed = true;
            adopted.hash = job.checksum ? digest : std::nullopt;
            adopted.error.reset();
            callbacks.backupChanged(index, adopted);
            continue;
        }
        targets.push_back({backup.path, backup.root, backup.grant});
        owners.push_back(int(index));
    }
    if (targets.empty())
        return done;

    const QStringList sources = readFrom(job);
    if (sources.isEmpty())
        throw VantorError(QStringLiteral("The source is missing or changed, and no destination holds a verified copy "
                                         "of it: ") + job.source);
    // Every destination must get the bytes the first ones got: the recorded digest is the proof.
    const std::optional<QString> expected = job.checksum ? job.sourceHash : std::nullopt;
    FanOutCopy::Result copied;
    for (qsizetype attempt = 0; attempt < sources.size(); ++attempt) {
        try {
            copied = FanOutCopy::copy(
                job, sources[attempt], targets, control,
                [&](JobStatus phase, double fraction) { callbacks.progress(phase, fraction); },
                [&](std::size_t target, const PublishRecord &record) {
                    if (owners[target] < 0) {
                        if (callbacks.beforePublish)
                            callbacks.beforePublish(record, false);
                    } else if (callbacks.beforeBackupPublish) {
                        callbacks.beforeBackupPublish(std::size_t(owners[target]), record);
                    }
                },
                expected);
            break;
        } catch (const VantorError &) {
            // Nothing was published from this one; a further verified copy may still serve.
            if (attempt + 1 == sources.size())
                throw;
        }
    }

    for (std::size_t target = 0; target < targets.size() && target < copied.outcomes.size(); ++target) {
        const FanOutCopy::Outcome &outcome = copied.outcomes[target];
        if (owners[target] < 0) {
            if (outcome.published) {
                result = {copied.sourceHash, outcome.hash};
                callbacks.copyCommitted(result);
                copyDone = true;
            } else {
                done.failures << failure(targets[target].path, outcome.error);
            }
            continue;
        }
        BackupCopy changed = job.backups[std::size_t(owners[target])];
        changed.committed = outcome.published;
        changed.hash = outcome.published ? outcome.hash : std::nullopt;
        changed.error = outcome.published ? std::nullopt : outcome.error;
        callbacks.backupChanged(std::size_t(owners[target]), changed);
        if (!outcome.published)
            done.failures << failure(targets[target].path, outcome.error);
    }
    if (!result.sourceHash)
        result.sourceHash = copied.sourceHash;
    return done;
}

} // namespace vantor::FanOutPhase
