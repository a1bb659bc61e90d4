#pragma once

#include "jobs/MediaJob.h"

#include <QJsonObject>
#include <QMap>
#include <QUuid>
#include <optional>
#include <vector>

namespace vantor {

// A flat summary of one job for export (delivery notes, audits, checksum records); never read
// back by the application. `destination` and `destinationHash` are kept as they always were
// (the shown result and the copy's digest); the copy's and the output's own paths and the copy's
// digest have their own keys, so a copy + transcode job says which file each value is about.
struct JobReport {
    QUuid id;
    QString filename; // the source's file name
    QString source; // full path
    QString destination; // the output, else the copy, else the source
    QString operation;
    std::optional<QString> preset; // the preset's name
    QString status;
    double elapsed = 0;
    std::optional<QString> checksum;
    std::optional<QString> sourceHash;
    std::optional<QString> destinationHash;
    std::optional<QString> error;
    std::optional<QString> copyPath; // where the job copies the source
    std::optional<QString> copyHash; // the copy's digest, when verified
    std::optional<QString> outputPath; // where the job writes its transcode
    qint64 bytes = 0; // the source's size
    std::optional<QString> started; // ISO 8601, UTC, to the second
    std::optional<QString> finished;
    std::optional<QString> cardReceipt; // its card's ASC MHL root hash ("xxh64 8d02…"), once sealed

    JobReport() = default;
    explicit JobReport(const MediaJob &job);

    QJsonObject toJson() const;
    static JobReport fromJson(const QJsonValue &value);
    bool operator==(const JobReport &) const = default;

    // The proposed file name of an export.
    static constexpr char suggestedFileName[] = "Vantor-queue-report.json";
    // One report per job in queue order, as a pretty JSON array with sorted keys; `receipts`
    // gives each sealed card's root hash by its sourceRoot.
    static QByteArray encodeQueue(const std::vector<MediaJob> &jobs, const QMap<QString, QString> &receipts = {});
    // Whether the job writes anything (its copy or its output) inside `folder`.
    static bool writesUnder(const MediaJob &job, const QString &folder);
    // Writes encodeQueue(jobs) to `path` atomically (temporary file, then rename).
    static void exportQueue(const std::vector<MediaJob> &jobs, const QString &path,
                            const QMap<QString, QString> &receipts = {});
};

} // namespace vantor
