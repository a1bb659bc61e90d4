#pragma once

#include "files/FileGrant.h"
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

    QJsonObject toJson() const;
    static MediaJob fromJson(const QJsonValue &value); // strict; throws DecodingError
};

} // namespace vantor
