#pragma once

#include "base/JobControl.h"
#include "files/FileGrant.h"
#include "ingest/CopyPhases.h"
#include "ingest/MediaIngestService.h"
#include "jobs/MediaJob.h"
#include "jobs/PublishRecord.h"

#include <QString>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace vantor {

// Copies one source to several destinations from a single read of it: every block feeds the
// source's digest and one bounded writer per destination, so a slow drive slows the read and
// never grows memory (one ring of tuning.buffers × tuning.blockSize while copying, one per
// destination while the copies are read back). Each destination gets its own hidden staging
// file, fsync, read-back from its device and non-replacing publish. A destination that fails
// (no room, full mid-copy, unwritable, a read-back error or mismatch, a file already at its
// name) fails alone with its message and leaves no staging file; the others finish.
namespace FanOutCopy {

struct Target {
    QString path;    // the final name
    QString root;    // the folder the target must lie inside, as for a job's destination root
    FileGrant grant; // covers `root`
};

struct Outcome {
    bool published = false;
    std::optional<QString> hash;  // the copy's digest as its device returned it, when verified
    std::optional<QString> error; // why this destination failed; absent when published
};

struct Result {
    std::optional<QString> sourceHash; // of the one read; absent when the job names no algorithm
    std::vector<Outcome> outcomes;     // one per target, in the targets' order
};

// Called on the caller's thread just before target `index` is published; a throw (a cancel
// included) publishes nothing more.
using BeforePublish = std::function<void(std::size_t index, const PublishRecord &record)>;

// Copies `source` (the job's source, or a verified copy of it when the card is gone) to every
// target. `source` must still match the job's fingerprint (size and modification time), before
// and after the read; when `expectedHash` is given (the digest the job recorded for its
// source), the read must produce it; it is compared only when the job names an algorithm. The
// job's id names the staging files and its checksum says whether and how copies are verified;
// without one, nothing is read back and the publish record carries an xxHash64 of the staging
// file. Blocking. Throws VantorError when the source cannot be read or changed (every target
// fails, nothing is published) and CancellationError on a cancel; both leave no staging file.
// Per-destination failures are returned, not thrown.
Result copy(const MediaJob &job, const QString &source, const std::vector<Target> &targets, JobControl &control,
            const MediaIngestService::Update &update = {}, const BeforePublish &beforePublish = {},
            const std::optional<QString> &expectedHash = std::nullopt, const CopyPhases::Tuning &tuning = {});

} // namespace FanOutCopy

} // namespace vantor
