#pragma once

#include "base/JobControl.h"
#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QString>

namespace vantor {

// Lets the user judge a preset before queueing it: one processed frame, a short test clip,
// and an estimate of the output size.
namespace PreviewService {

// Renders into a new "vantor-preview-<UUID>" folder in the temporary directory and returns the
// file: "Processed Frame.png" (clip false) or "Test Clip.<container>" (clip true). The folder
// lives until remove(); a failure removes it. `at` is the position in seconds.
QString render(const QString &source, const TranscodePreset &preset, double at, bool clip, const QString &custom,
               JobControl &control);

// Deletes a preview folder; a path whose name does not begin with "vantor-preview-" is left alone.
void remove(const QString &folder);

// "About 1.2 GB", "Variable · Encode A Test Clip" or "Unknown".
QString estimatedSize(const TranscodePreset &preset, const MediaInfo &info);

// Where a preview starts: `at` kept inside the source, at least 0.1 s before its end.
double startTime(double at, double duration);
// How long a test clip from `start` runs: at most 5 s, at least 0.1 s.
double clipLength(double start, double duration);

} // namespace PreviewService

} // namespace vantor
