#pragma once

#include "files/FileGrant.h"
#include "jobs/BackupCopy.h"
#include "base/ChecksumAlgorithm.h"
#include "jobs/JobStatus.h"
#include "jobs/PublishRecord.h"
#include "base/Timestamp.h"
#include "presets/TranscodePreset.h"

#include <QJsonObject>
#include <QUuid>
#include <optional>
#include <vector>

namespace vantor {

// One queued unit of work. Paths are absolute; they become file URLs in JSON.
// Identified by `id`; deliberately not comparable as a whole.
struct MediaJob {
    QUuid id;
    QString source;
    FileGrant sourceGrant;
    FileGrant destinationGrant;
    QString destinationRoot;
    std::optional<QString> copyDestination;
    std::optional<QString> outputDestination;
    JobOperation operation;
    std::optional<TranscodePreset> preset;
    std::optional<ChecksumAlgorithm> checksum;
    JobStatus status;
    double progress = 0;
    double phaseProgress = 0;
    double elapsed = 0;
    std::optional<QString> error;
    std::optional<QString> sourceHash;
    std::optional<QString> destinationHash;
    bool copyCommitted = false;
    Timestamp created;
    qint64 bytes = 0;
    Timestamp modified; // with `bytes`, the fingerprint a source must still match
    // Saved just before the copy or the output is published; absent in older state files.
    std::optional<PublishRecord> copyPublish;
    std::optional<PublishRecord> outputPublish;
    std::optional<Timestamp> started; // when the job last started; absent before
    std::optional<Timestamp> finished; // when it last ended; absent while it waits or runs
    // The card or dropped folder the source was found in, so its files are judged and sealed
    // together; absent for a lone file and in older state files.
    std::optional<QString> sourceRoot;
    // False when its card gets no ASC MHL history ("import.mhl" off, `--no-mhl`); absent is on.
    std::optional<bool> mhl;
    // Further destinations of the copy, each with its own outcome; none in older state files.
    std::vector<BackupCopy> backups;

    // A new waiting job with a fresh id, made now.
    static MediaJob make(const QString &source, const FileGrant &sourceGrant, const QString &destinationRoot,
                         const FileGrant &destinationGrant, std::optional<QString> copyDestination,
                         std::optional<QString> outputDestination, JobOperation operation,
                         std::optional<TranscodePreset> preset, std::optional<ChecksumAlgorithm> checksum,
                         qint64 bytes, Timestamp modified);

    // Where the result is shown: the output, else the copy, else the source.
    QString destination() const;
    // The phases this job runs, in order.
    std::vector<JobStatus> phases() const;
    // Records a phase's own fraction and the overall progress it implies.
    void reportPhaseProgress(JobStatus phase, double value);

    static constexpr char typeName[] = "MediaJob";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.uuid("id", self.id);
        v.fileUrl("source", self.source);
        v.record("sourceGrant", self.sourceGrant);
        v.record("destinationGrant", self.destinationGrant);
        v.folderUrl("destinationRoot", self.destinationRoot);
        v.fileUrl("copyDestination", self.copyDestination);
        v.fileUrl("outputDestination", self.outputDestination);
        v.enumeration("operation", self.operation);
        v.record("preset", self.preset);
        v.enumeration("checksum", self.checksum);
        v.enumeration("status", self.status);
        v.number("progress", self.progress);
        v.number("phaseProgress", self.phaseProgress);
        v.number("elapsed", self.elapsed);
        v.string("error", self.error);
        v.string("sourceHash", self.sourceHash);
        v.string("destinationHash", self.destinationHash);
        v.boolean("copyCommitted", self.copyCommitted);
        v.date("created", self.created);
        v.integer("bytes", self.bytes);
        v.date("modified", self.modified);
        v.record("copyPublish", self.copyPublish);
        v.record("outputPublish", self.outputPublish);
        v.date("started", self.started);
        v.date("finished", self.finished);
        v.folderUrl("sourceRoot", self.sourceRoot);
        v.boolean("mhl", self.mhl);
        v.extraRecords("backups", self.backups);
    }
    QJsonObject toJson() const; // as written to the state file
    static MediaJob fromJson(const QJsonValue &value); // strict; throws DecodingError
};

} // namespace vantor
