#include "queue/JobPhases.h"

#include "ingest/ChecksumService.h"
#include "queue/FanOutPhase.h"
#include "ingest/MediaIngestService.h"
#include "files/SafeFiles.h"
#include "ingest/StagingFiles.h"
#include "base/VantorError.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QFileInfo>

namespace vantor {

namespace {

// A copy committed by an earlier run is trusted only after it is hashed again against its
// source: the card or the copy may have changed while the job waited.
JobPhaseResult recheckCommittedCopy(const MediaJob &job, JobControl &control, const JobPhaseCallbacks &callbacks)
{
    const QString copy = job.copyDestination.value_or(QString());
    const QFileInfo copyInfo(copy);
    if (!copyInfo.exists() && !copyInfo.isSymLink())
        throw VantorError(QStringLiteral("The completed copy is missing. Restore it or add the source as a new job."));
    const ChecksumAlgorithm algorithm = job.checksum.value_or(ChecksumAlgorithm(ChecksumAlgorithm::sha256));
    const JobStatus phase = job.checksum ? JobStatus::verifying : JobStatus::copying;
    const QString sourceDigest = ChecksumService::digest(job.source, algorithm, control, [&](double fraction) {
        callbacks.progress(phase, fraction / 2);
    });
    const QString copyDigest = ChecksumService::digest(copy, algorithm, control, [&](double fraction) {
        callbacks.progress(phase, 0.5 + fraction / 2);
    });
    if (sourceDigest != copyDigest)
        throw VantorError(QStringLiteral("The previously completed copy no longer matches its source."));
    return {sourceDigest, copyDigest};
}

// A run killed after a publish but before its commit was saved leaves the result at its final
// name. It is the job's own only when it still matches what the job recorded just before that
// publish; any other file there, even one identical to the source, belongs to someone else and
// the phase fails on it as on any existing file.
bool publishedByJob(const std::optional<QString> &path, const std::optional<PublishRecord> &record,
                    JobControl &control)
{
    return path && record && StagingFiles::matches(*path, *record, control);
}

JobPhaseResult adoptCopy(const MediaJob &job, JobControl &control)
{
    if (!job.checksum)
        return {};
    if (job.copyPublish->algorithm == *job.checksum)
        return {job.copyPublish->digest, job.copyPublish->digest};
    // A record made with another algorithm than the job names now: both files are hashed again.
    const QString sourceDigest = ChecksumService::digest(job.source, *job.checksum, control);
    const QString copyDigest = ChecksumService::digest(*job.copyDestination, *job.checksum, control);
    if (sourceDigest != copyDigest)
        throw VantorError(QStringLiteral("The previously completed copy no longer matches its source."));
    return {sourceDigest, copyDigest};
}

} // namespace

JobPhaseResult runJobPhases(const MediaJob &job, JobControl &control, const QString &engine,
                            const JobPhaseCallbacks &callbacks)
{
    // Grants are plain paths on Linux; resolving them cannot fail or expire.
    SafeFiles::existingDirectory(job.destinationRoot);
    const bool fanOut = FanOutPhase::applies(job);
    if (!fanOut)
        MediaIngestService::assertUnchanged(job);

    JobPhaseResult result{job.sourceHash, job.destinationHash};
    QStringList failures;
    const auto beforePublish = [&](bool output) {
        return [&callbacks, output](const PublishRecord &record) {
            if (callbacks.beforePublish)
                callbacks.beforePublish(record, output);
        };
    };
    // A project copy this job published before a kill is taken back the same way whatever else
    // the job still owes.
    MediaJob current = job;
    if (job.operation.copies() && !job.copyCommitted && publishedByJob(job.copyDestination, job.copyPublish, control)) {
        result = adoptCopy(job, control);
        callbacks.copyCommitted(result);
        current.copyCommitted = true;
        current.sourceHash = result.sourceHash;
        current.destinationHash = result.destinationHash;
    }
    if (fanOut) {
        FanOutPhase::Outcome copied = FanOutPhase::run(current, control, callbacks);
        result = copied.digests;
        failures = copied.failures;
        if (!copied.copyCommitted)
            throw VantorError(failures.join(QLatin1Char(' ')));
    } else if (job.operation.copies() && !current.copyCommitted) {
        const MediaIngestService::CopyResult copied = MediaIngestService::copy(
            job, control,
            [&](JobStatus phase, double fraction) { callbacks.progress(phase, fraction); },
            beforePublish(false));
        result = {copied.sourceHash, copied.destinationHash};
        callbacks.copyCommitted(result);
    } else if (job.operation.copies() && job.copyCommitted) {
        result = recheckCommittedCopy(job, control, callbacks);
    }
    if (job.operation.transcodes() && !publishedByJob(job.outputDestination, job.outputPublish, control)) {
        TranscodeService::transcode(
            job, engine, control,
            [&](double fraction) { callbacks.progress(JobStatus::transcoding, fraction); },
            beforePublish(true));
    }
    if (!failures.isEmpty())
        throw VantorError(failures.join(QLatin1Char(' ')));
    return result;
}

} // namespace vantor
