#include "queue/JobPhases.h"

#include "ingest/ChecksumService.h"
#include "ingest/MediaIngestService.h"
#include "ingest/SafeFiles.h"
#include "model/VantorError.h"
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

bool existsNoFollow(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

// A run killed after publishing a copy but before its commit was saved leaves the copy at its
// final name. It is adopted only when it is a regular file identical to the source; anything
// else is left alone and the copy fails as it would for any existing file.
std::optional<JobPhaseResult> adoptPublishedCopy(const MediaJob &job, JobControl &control,
                                                 const JobPhaseCallbacks &callbacks)
{
    const QString copy = job.copyDestination.value_or(QString());
    const QFileInfo info(copy);
    if (copy.isEmpty() || !info.exists() || info.isSymLink() || !info.isFile() || info.size() != job.bytes)
        return std::nullopt;
    const ChecksumAlgorithm algorithm = job.checksum.value_or(ChecksumAlgorithm(ChecksumAlgorithm::sha256));
    const QString sourceDigest = ChecksumService::digest(job.source, algorithm, control);
    const QString copyDigest = ChecksumService::digest(copy, algorithm, control);
    if (sourceDigest != copyDigest)
        return std::nullopt;
    JobPhaseResult result;
    if (job.checksum)
        result = {sourceDigest, copyDigest};
    callbacks.copyCommitted(result);
    return result;
}

// Likewise for an output published just before a kill: adopted when it validates against the
// input exactly as a fresh encode would.
bool adoptPublishedOutput(const MediaJob &job, const QString &engine, JobControl &control)
{
    const QString output = job.outputDestination.value_or(QString());
    const QFileInfo info(output);
    if (output.isEmpty() || !info.exists() || info.isSymLink() || !info.isFile())
        return false;
    try {
        const QString input = job.copyDestination.value_or(job.source);
        const MediaInfo source = TranscodeService::probe(input, engine, control);
        TranscodeService::validateOutput(TranscodeService::probe(output, engine, control), source.duration);
        return true;
    } catch (const VantorError &) {
        return false;
    }
}

} // namespace

JobPhaseResult runJobPhases(const MediaJob &job, JobControl &control, const QString &engine,
                            const JobPhaseCallbacks &callbacks)
{
    // Grants are plain paths on Linux; resolving them cannot fail or expire.
    SafeFiles::existingDirectory(job.destinationRoot);
    MediaIngestService::assertUnchanged(job);

    JobPhaseResult result{job.sourceHash, job.destinationHash};
    if (job.operation.copies()) {
        if (!job.copyCommitted && existsNoFollow(*job.copyDestination)) {
            if (const auto adopted = adoptPublishedCopy(job, control, callbacks))
                result = *adopted;
            else
                MediaIngestService::copy(job, control); // refuses the existing file with its message
        } else if (!job.copyCommitted) {
            const MediaIngestService::CopyResult copied =
                MediaIngestService::copy(job, control, [&](JobStatus phase, double fraction) {
                    callbacks.progress(phase, fraction);
                });
            result = {copied.sourceHash, copied.destinationHash};
            callbacks.copyCommitted(result);
        } else {
            result = recheckCommittedCopy(job, control, callbacks);
        }
    }
    if (job.operation.transcodes() && !adoptPublishedOutput(job, engine, control)) {
        TranscodeService::transcode(job, engine, control, [&](double fraction) {
            callbacks.progress(JobStatus::transcoding, fraction);
        });
    }
    return result;
}

} // namespace vantor
