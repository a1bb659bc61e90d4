#pragma once

#include "state/AppState.h"

namespace vantor::test {

// A preset with a fresh id and its optional groups present or absent as asked.
TranscodePreset samplePreset(const QString &name = QStringLiteral("Proxy"), bool withFinishing = true,
                             bool withEncoding = true);
// A job of the given kind and status with every optional member its kind can carry filled in.
MediaJob sampleJob(JobOperation operation, JobStatus status, int index = 0);
// Every kind of record: jobs of all operations and statuses (operation-major), presets with and
// without their optional groups, templates, a project and grant, watch rules with seen entries.
AppState fullState();
// fullState() with `jobCount` finished copy + transcode jobs instead.
AppState stateWithJobs(int jobCount);

} // namespace vantor::test
