#pragma once

#include "base/JobControl.h"
#include "jobs/MediaJob.h"
#include "queue/JobPhases.h"

#include <QString>
#include <QStringList>
#include <optional>

namespace vantor {

// The copy of a job that owes backups: one read of the source (or of a verified destination,
// checked against the recorded source digest) feeds the project copy and every backup not
// committed yet and not deferred. Each destination's outcome is reported as it happens; a backup
// published by an earlier run is adopted only when it matches its record (the project copy is
// taken back by the caller, as for any copy job).
namespace FanOutPhase {

// Whether the job's copy goes through this phase: it copies and owes a backup due now.
bool applies(const MediaJob &job);

struct Outcome {
    JobPhaseResult digests; // the project copy's, as recorded or as just made
    bool copyCommitted = false;
    QStringList failures;   // one sentence per failed destination, naming it
};

// Runs the copy. Throws only when nothing could be copied (no readable source or verified copy
// giving the recorded digest) or on a cancel; a destination's failure is in the outcome.
Outcome run(const MediaJob &job, JobControl &control, const JobPhaseCallbacks &callbacks);

// Where the copy may read from, in order: a verified project copy that needs no writing (a
// cascade's backups, a retry of a backup), the source when it is unchanged, then every backup
// whose digest matched the source's. A copy is read against the recorded source digest.
QStringList readFrom(const MediaJob &job);

} // namespace FanOutPhase

} // namespace vantor
