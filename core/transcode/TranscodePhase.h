#pragma once

#include "base/JobControl.h"
#include "jobs/MediaJob.h"
#include "jobs/PublishRecord.h"
#include "transcode/MediaInfo.h"

#include <QString>
#include <functional>
#include <optional>

namespace vantor {

// The transcode phase of a job: probe, burn-ins, engine run with progress, validation of the
// result and its exclusive publish. Part of the TranscodeService namespace of functions.
namespace TranscodeService {

// Encodes the job's input (its verified copy when there is one, else its source) into a hidden
// ".vantor-<UUID>-encode.partial" beside the output, validates it and publishes it under the
// output's name. `progress` gets fractions up to 0.99 while the engine runs and 1.0 only once
// the output is published. Any failure or cancel leaves nothing at the output's name and no
// temporary file. `beforePublish`, when given, gets the validated file's size and digest just
// before the publish. Throws VantorError, the system's errors or CancellationError.
void transcode(const MediaJob &job, const QString &custom, JobControl &control,
               const std::function<void(double)> &progress,
               const std::function<void(const PublishRecord &)> &beforePublish = {});

// A path to `name` inside the folder open as `folder` in this process, through the process's
// descriptor table: a child opening it reaches that very folder even when the folder's own path
// has been swapped for a link since it was opened.
QString pinnedPath(int folder, const QString &name);

// The fraction an engine progress line ("out_time_us=…") stands for, in [0, 0.99]; nothing for
// any other line, a value that does not parse, or an unknown source duration.
std::optional<double> progressFraction(const QString &line, double sourceDuration);

// Refuses an output without picture, without duration, or whose duration is further from the
// source's than max(1 s, 2 %) (skipped when the source's duration is unknown).
void validateOutput(const MediaInfo &output, double sourceDuration);

} // namespace TranscodeService

} // namespace vantor
