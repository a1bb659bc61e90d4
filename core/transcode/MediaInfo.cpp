#include "transcode/MediaInfo.h"

#include <QJsonArray>

namespace vantor {

double MediaInfo::fps() const
{
    const QStringList parts = frameRate.split(QLatin1Char('/'));
    if (frameRate.isEmpty() || parts.size() > 2)
        return 0;
    const double numerator = parts[0].toDouble();
    if (parts.size() == 1)
        return numerator;
    const double denominator = parts[1].toDouble();
    return denominator == 0 ? 0 : numerator / denominator;
}

QJsonObject MediaInfo::toJson() const
{
    QJsonArray channels;
    for (const qint64 count : audioChannels)
        channels.append(count);
    QJsonObject object {
        { QStringLiteral("duration"), duration },
        { QStringLiteral("width"), width },
        { QStringLiteral("height"), height },
        { QStringLiteral("codec"), codec },
        { QStringLiteral("frameRate"), frameRate },
        { QStringLiteral("audioTracks"), QJsonArray::fromStringList(audioTracks) },
        { QStringLiteral("subtitleTracks"), QJsonArray::fromStringList(subtitleTracks) },
        { QStringLiteral("chapterCount"), chapterCount },
        { QStringLiteral("audioChannels"), channels },
        { QStringLiteral("audioLayouts"), QJsonArray::fromStringList(audioLayouts) },
        { QStringLiteral("audioSampleRates"), QJsonArray::fromStringList(audioSampleRates) },
        { QStringLiteral("sourceRotation"), sourceRotation },
    };
    if (timecode)
        object.insert(QStringLiteral("timecode"), *timecode);
    if (reel)
        object.insert(QStringLiteral("reel"), *reel);
    return object;
}

} // namespace vantor
