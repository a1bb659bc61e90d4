#include "presets/FinishingOptions.h"

#include "base/JsonCodec.h"

namespace vantor {

QJsonObject FinishingOptions::toJson() const
{
    return QJsonObject{
        {QStringLiteral("hardware"), hardware},
        {QStringLiteral("hardwareQuality"), hardwareQuality},
        {QStringLiteral("burnFilename"), burnFilename},
        {QStringLiteral("burnTimecode"), burnTimecode},
        {QStringLiteral("burnText"), burnText},
        {QStringLiteral("burnPosition"), burnPosition},
        {QStringLiteral("burnSize"), burnSize},
        {QStringLiteral("channelMap"), channelMap},
    };
}

FinishingOptions FinishingOptions::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "FinishingOptions");
    FinishingOptions options;
    options.hardware = reader.boolean("hardware");
    options.hardwareQuality = reader.integer("hardwareQuality");
    options.burnFilename = reader.boolean("burnFilename");
    options.burnTimecode = reader.boolean("burnTimecode");
    options.burnText = reader.string("burnText");
    options.burnPosition = reader.string("burnPosition");
    options.burnSize = reader.integer("burnSize");
    options.channelMap = reader.string("channelMap");
    return options;
}

} // namespace vantor
