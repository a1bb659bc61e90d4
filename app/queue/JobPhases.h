#pragma once

#include "base/JobControl.h"
#include "jobs/JobStatus.h"
#include "jobs/MediaJob.h"
#include "jobs/PublishRecord.h"

#include <QString>
#include <cstddef>
#include <functional>
#include <optional>

namespace vantor {

struct JobPhaseResult {
    std::optional<QString> sourceHash;
    std::optional<QString> destinationHash;
};

// What a job's phases report back while they run (called on the worker thread).
struct JobPhaseCallbacks {
    std::function<void(JobStatus phase, double fraction)> progress;
    // The copy is published: recorded and saved at once, so a crash after it never copies again.
    std::function<void(const JobPhaseResult &digests)> copyCommitted;
    // The copy (output false) or the transcode's output (true) is about to be published: the
    // record is saved before this returns, so a later run adopts only what this job published.
    std::function<void(const PublishRecord &record, bool output)> beforePublish;
    // A backup's outcome as it happens (committed with its digest, or failed with why): saved at
    // once, so a retry copies only what is still owed.
    std::function<void(std::size_t backup, const BackupCopy &outcome)> backupChanged;
    // A backup is about to be published; saved before this returns, as for `beforePublish`.
    std::function<void(std::size_t backup, const PublishRecord &record)> beforeBackupPublish;
};

// Runs every phase of one job on the calling (worker) thread; throws VantorError, the system's
// errors or CancellationError.
using JobPhases = std::function<JobPhaseResult(const MediaJob &job, JobControl &control, const QString &engine,
                                               const JobPhaseCallbacks &callbacks)>;

// The real phases: grants and destination checks, the fingerprint check, the verified copy (or
// the re-check of a copy committed by an earlier run), then the transcode. A job owing backups
// copies to every destination not committed yet from one read; the transcode runs once the
// project copy is committed, and the job then fails naming each destination that failed.
JobPhaseResult runJobPhases(const MediaJob &job, JobControl &control, const QString &engine,
                            const JobPhaseCallbacks &callbacks);

} // namespace vantor
