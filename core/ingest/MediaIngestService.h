#pragma once

#include "base/JobControl.h"
#include "ingest/CopyPhases.h"
#include "jobs/JobStatus.h"
#include "jobs/MediaJob.h"
#include "jobs/PublishRecord.h"
#include "jobs/SourceFile.h"

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>
#include <vector>

namespace vantor {

// Turns a selection into source files, and copies one source so that the copy is either
// complete, verified and committed under its final name, or absent.
namespace MediaIngestService {

// Called with the running phase (copying or verifying) and that phase's fraction.
using Update = std::function<void(JobStatus phase, double fraction)>;
// Called with what is about to be published, before the publish; the job record keeps it so a
// later run adopts only its own result. A throw (a cancel included) publishes nothing.
using BeforePublish = std::function<void(const PublishRecord &record)>;

struct CopyResult {
    std::optional<QString> sourceHash;      // both absent when the job names no algorithm
    std::optional<QString> destinationHash;
};

// Whether the extension names a video container; no file access.
bool isVideo(const QString &path);

// Expands selected files and folders into regular files: hidden entries inside folders skipped,
// links refused, each folder's files in path order, each file listed once. With `skipped`, a link
// inside a folder is added there and left out instead of refusing the whole selection.
std::vector<SourceFile> scan(const QStringList &paths, QStringList *skipped = nullptr);

// Refuses a source whose size or modification time differs from the job's record, or that is
// now a link.
void assertUnchanged(const MediaJob &job);

// Copies job.source to job.copyDestination through a hidden staging file beside it, verifies it
// when the job names an algorithm, carries the modification time over and publishes it without
// replacing anything. Any failure or cancel removes the staging file and leaves the source as
// it was. The target must lie inside the job's grant as well as its root. `tuning` is for
// benchmarks; left empty, every choice follows the file systems.
CopyResult copy(const MediaJob &job, JobControl &control, const Update &update = {},
                const BeforePublish &beforePublish = {}, const CopyPhases::Tuning &tuning = {});

// The staging file's name for a job: ".vantor-" + the job's UUID + ".partial".
QString stagingName(const MediaJob &job);

} // namespace MediaIngestService

} // namespace vantor
