#pragma once

#include "base/ChecksumAlgorithm.h"
#include "base/JobControl.h"
#include "jobs/MediaJob.h"
#include "jobs/PublishRecord.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <vector>

namespace vantor {

// A job's hidden work files beside its targets: their names, the record of what is about to be
// published, and their removal once nobody works on them.
namespace StagingFiles {

QString copyName(const QUuid &job);   // ".vantor-<UUID>.partial"
QString encodeName(const QUuid &job); // ".vantor-<UUID>-encode.partial"
// Whether a name is one of the two staging forms above (any UUID).
bool isStagingName(const QByteArray &name);

// Marks work in progress in an open destination folder for as long as the descriptor stays open,
// so a clean-up in another process leaves that folder's staging files alone.
void holdFolder(int folder);

// The size and digest of an open file, read from its start.
PublishRecord record(int fd, ChecksumAlgorithm algorithm, JobControl &control);
// Whether a regular file (never a link) is at `path` with the recorded size and digest.
bool matches(const QString &path, const PublishRecord &record, JobControl &control);

// Removes the job's own staging files beside its copy, its output and its backups; returns
// their paths. Only regular files with the job's names, inside the granted folders, are touched.
QStringList removeForJob(const MediaJob &job);

// Staging files of any name form above in the destination folders of `jobs`, skipping folders
// where a writer holds its mark. With `remove`, each is removed as it is found. Returns their
// paths in a stable order.
QStringList orphans(const std::vector<MediaJob> &jobs, bool remove);

} // namespace StagingFiles

} // namespace vantor
