#pragma once

#include "model/MediaJob.h"

#include <QJsonObject>
#include <QUuid>
#include <optional>
#include <vector>

namespace vantor {

// A flat summary of one job for export (delivery notes, audits, checksum records). It carries
// no dates and is never read back by the application.
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

    JobReport() = default;
    explicit JobReport(const MediaJob &job);

    QJsonObject toJson() const;
    static JobReport fromJson(const QJsonValue &value);
    bool operator==(const JobReport &) const = default;

    // The proposed file name of an export.
    static constexpr char suggestedFileName[] = "Vantor-queue-report.json";
    // One report per job in queue order, as a pretty JSON array with sorted keys.
    static QByteArray encodeQueue(const std::vector<MediaJob> &jobs);
    // Writes encodeQueue(jobs) to `path` atomically (temporary file, then rename).
    static void exportQueue(const std::vector<MediaJob> &jobs, const QString &path);
};

} // namespace vantor
