#pragma once

#include "base/ChecksumAlgorithm.h"

#include <QString>

namespace vantor {

// What a job was about to publish under a final name, saved before the publish: a file found
// there later is the job's own only when it still has this size and digest.
struct PublishRecord {
    qint64 bytes = 0;
    ChecksumAlgorithm algorithm;
    QString digest;

    static constexpr char typeName[] = "PublishRecord";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.integer("bytes", self.bytes);
        v.enumeration("algorithm", self.algorithm);
        v.string("digest", self.digest);
    }
    bool operator==(const PublishRecord &) const = default;
};

} // namespace vantor
