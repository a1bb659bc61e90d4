#pragma once

#include "model/AppState.h"

namespace vantor::test {

// A preset with a fresh id; `finishing` and `encoding` present or absent as asked.
TranscodePreset samplePreset(
    const QString &name = QStringLiteral("Proxy"), bool withFinishing = true, bool withEncoding = true);
// A job of the given kind and status with every optional member its kind can carry filled in
// (hashes, error, preset, checksum), at paths below /media and /projects.
MediaJob sampleJob(JobOperation operation, JobStatus status, int index = 0);
// A state holding every kind of record: jobs of all operations and statuses, presets with and
// without their optional groups, templates, a project and its grant, watch rules with seen
// entries and a transcode destination.
AppState fullState();
// `jobCount` jobs, each carrying a preset, for size and speed tests.
AppState stateWithJobs(int jobCount);

} // namespace vantor::test
