#pragma once

#include "base/ChecksumAlgorithm.h"

#include <QJsonObject>
#include <QString>

namespace vantor {

// What a job was about to publish under a final name, saved before the publish: a file found
// there later is the job's own only when it still has this size and digest.
struct PublishRecord {
    qint64 bytes = 0;
    ChecksumAlgorithm algorithm;
    QString digest;

    QJsonObject toJson() const;
    static PublishRecord fromJson(const QJsonValue &value); // throws DecodingError
    bool operator==(const PublishRecord &) const = default;
};

} // namespace vantor
