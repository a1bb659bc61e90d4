#pragma once

#include "base/ChecksumAlgorithm.h"
#include "files/FileGrant.h"
#include "ingest/NamingService.h"
#include "jobs/MediaJob.h"
#include "jobs/SourceFile.h"
#include "presets/TranscodePreset.h"
#include "projects/ProjectContext.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace vantor {

// What a batch of jobs is to do, whoever asks for it: the Import and Transcode pages, a watch
// rule, `vantor queue add`, `vantor ingest` and `vantor transcode`.
struct JobPlan {
    JobOperation operation = JobOperation::copyAndTranscode;
    QString root;         // the absolute destination folder every target lies under
    FileGrant grant;      // the grant that covers `root`
    QString copyFolder;   // under `root`, may hold {PROJECT} {CLIENT} {DATE}; empty: `root` itself
    QString outputFolder; // as `copyFolder`, for transcodes
    bool hierarchy = true; // keep each source's sub-folders below the folder it was scanned from
    std::optional<ChecksumAlgorithm> checksum; // none: copies are not verified
    bool mhl = true; // each card's copies and proxies get an ASC MHL history
    std::optional<QString> pattern;            // renaming; none keeps each source's own name
    NamingValues values; // PROJECT, CLIENT, DATE, CAMERA, ROLL, SCENE, SHOT, TAKE
    TranscodePreset preset;
    QMap<QString, TranscodePreset> sourcePresets; // by source path, in place of `preset`
    // Backup folders on other drives: each copy goes to each of them too, into a folder named
    // after the project folder, at the place it has below `root`.
    QStringList backups;
    bool cascade = false; // backups are copied from the verified project copy after the card's verdict
};

// The one place that turns sources and a plan into jobs: their operations, destinations, output
// names and temporary names.
namespace JobPlanner {

// A plan into `project`'s folder, its naming values filled from the project.
JobPlan forProject(const ProjectContext &project, const FileGrant &grant);

// What a source becomes: the plan's operation, a copy for a non-video file in a batch that
// copies and transcodes, nothing for one in a batch that only transcodes.
std::optional<JobOperation> operationFor(const JobPlan &plan, const SourceFile &source);
// Every token's value for the source at `index`, ORIGINAL and COUNTER included.
NamingValues values(const JobPlan &plan, const SourceFile &source, int index);
// The new name without extension; throws UnusableNameError for a source whose own name cannot
// be used, VantorError for a pattern that makes no safe name.
QString stem(const JobPlan &plan, const SourceFile &source, int index);
// The name the source's result gets: its transcode's when it is transcoded, else its copy's.
// Throws as stem() does.
QString outputName(const JobPlan &plan, const SourceFile &source, int index);

// The card or folder that was added and holds the source: "/media/A001" for the relative path
// "A001/CLIP/C0001.MXF" of "/media/A001/CLIP/C0001.MXF"; none for a file added on its own.
std::optional<QString> sourceRoot(const SourceFile &source);

// Where a copy planned under `root` goes in the backup folder `backup`.
QString backupPath(const QString &root, const QString &backup, const QString &copy);

// One job per source that the operation takes, in order. Throws VantorError: an invalid
// preset, folder or name, a target that is its own source, or a backup folder that is not
// absolute, is repeated, or lies inside the project folder or holds it.
std::vector<MediaJob> plan(const JobPlan &plan, const std::vector<SourceFile> &sources);

// The hidden files a job writes before publishing: beside its copy and beside its output.
std::optional<QString> copyTemporary(const MediaJob &job);
std::optional<QString> outputTemporary(const MediaJob &job);

} // namespace JobPlanner

} // namespace vantor
