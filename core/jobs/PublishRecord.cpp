#include "jobs/PublishRecord.h"

#include "base/JsonCodec.h"

namespace vantor {

QJsonObject PublishRecord::toJson() const
{
    return {{QStringLiteral("bytes"), bytes},
            {QStringLiteral("algorithm"), algorithm.rawValue()},
            {QStringLiteral("digest"), digest}};
}

PublishRecord PublishRecord::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "PublishRecord");
    PublishRecord record;
    record.bytes = reader.integer("bytes");
    record.algorithm = reader.enumeration<ChecksumAlgorithm>("algorithm");
    record.digest = reader.string("digest");
    return record;
}

} // namespace vantor
