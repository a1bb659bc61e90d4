// The probe half of TranscodeService: asks ffprobe what a file holds and reduces its answer.
#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "transcode/TranscodeService.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <cmath>

namespace vantor::TranscodeService {

namespace {

std::optional<QString> stringTag(const QJsonObject &tags, const char *key)
{
    const QJsonValue value = tags.value(QLatin1String(key));
    if (value.isString())
        return value.toString();
    return std::nullopt;
}

// ffprobe writes some numbers as strings ("duration", "sample_rate") and others as numbers.
QString text(const QJsonValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', 17);
    return {};
}

std::optional<double> number(const QJsonValue &value)
{
    if (value.isDouble())
        return value.toDouble();
    bool ok = false;
    const double parsed = value.toString().toDouble(&ok);
    if (value.isString() && ok && std::isfinite(parsed))
        return parsed;
    return std::nullopt;
}

std::optional<qint64> integer(const QJsonValue &value)
{
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (number != std::trunc(number) || std::fabs(number) > 9.0e15)
        return std::nullopt;
    return qint64(number);
}

// The engine's diagnostics share the pipe with its answer ("Referenced QT chapter track not
// found" comes before the JSON). ffprobe's JSON writer starts every line of its answer with
// "{", "}" or indentation, so any other line is a diagnostic and is left out.
QByteArray jsonPart(const QByteArray &output)
{
    QByteArray json;
    for (const QByteArray &line : output.split('\n')) {
        if (line.startsWith('{') || line.startsWith('}') || line.startsWith(' ') || line.startsWith('\t'))
            json += line + '\n';
    }
    return json;
}

} // namespace

MediaInfo mediaInfo(const QByteArray &probeOutput, const QString &fileName)
{
    const QJsonValue document = JsonCodec::parse(jsonPart(probeOutput));
    if (!document.isObject())
        throw DecodingError(QStringLiteral("The engine's probe answer is not a JSON object."));
    const QJsonObject root = document.toObject();
    const QJsonArray streams = root.value(QLatin1String("streams")).toArray();

    QJsonObject video;
    bool found = false;
    for (const QJsonValue &stream : streams) {
        if (stream.toObject().value(QLatin1String("codec_type")).toString() == QLatin1String("video")) {
            video = stream.toObject();
            found = true;
            break;
        }
    }
    if (!found)
        throw VantorError(QStringLiteral("No supported video stream in ") + fileName
            + QStringLiteral(". Use Copy & organize for audio and sidecars."));

    const QJsonObject format = root.value(QLatin1String("format")).toObject();
    const QJsonObject formatTags = format.value(QLatin1String("tags")).toObject();
    const QJsonObject streamTags = video.value(QLatin1String("tags")).toObject();

    MediaInfo info;
    info.timecode = stringTag(streamTags, "timecode");
    if (!info.timecode)
        info.timecode = stringTag(formatTags, "timecode");
    // A separate timecode track (a tmcd data stream) carries it on its own tags.
    for (qsizetype i = 0; !info.timecode && i < streams.size(); ++i)
        info.timecode = stringTag(streams[i].toObject().value(QLatin1String("tags")).toObject(), "timecode");

    info.duration = number(format.value(QLatin1String("duration")))
                        .value_or(number(video.value(QLatin1String("duration"))).value_or(0));
    info.width = integer(video.value(QLatin1String("width"))).value_or(0);
    info.height = integer(video.value(QLatin1String("height"))).value_or(0);
    info.codec = video.value(QLatin1String("codec_name")).toString();
    info.reel = stringTag(formatTags, "reel_name");
    if (!info.reel)
        info.reel = stringTag(streamTags, "reel_name");

    for (const QJsonValue &entry : video.value(QLatin1String("side_data_list")).toArray()) {
        if (const std::optional<qint64> rotation
            = integer(entry.toObject().value(QLatin1String("rotation")))) {
            info.sourceRotation = *rotation;
            break;
        }
    }
    if (std::abs(info.sourceRotation) % 180 == 90)
        std::swap(info.width, info.height);

    info.frameRate = video.value(QLatin1String("avg_frame_rate")).toString();

    qint64 audioIndex = 0;
    for (const QJsonValue &value : streams) {
        const QJsonObject stream = value.toObject();
        const QString type = stream.value(QLatin1String("codec_type")).toString();
        if (type == QLatin1String("audio")) {
            const qint64 channels = integer(stream.value(QLatin1String("channels"))).value_or(0);
            const QString codec = stream.value(QLatin1String("codec_name")).toString(QStringLiteral("Audio"));
            info.audioTracks << QStringLiteral("Track %1 · %2 · %3 ch")
                                    .arg(QString::number(++audioIndex), codec, QString::number(channels));
            info.audioChannels << channels;
            info.audioLayouts << stream.value(QLatin1String("channel_layout"))
                                     .toString(QStringLiteral("Unspecified Layout"));
            const QString rate = text(stream.value(QLatin1String("sample_rate")));
            info.audioSampleRates << (rate.isEmpty() ? QStringLiteral("Unknown") : rate);
        } else if (type == QLatin1String("subtitle")) {
            info.subtitleTracks << stream.value(QLatin1String("codec_name")).toString();
        }
    }
    info.chapterCount = root.value(QLatin1String("chapters")).toArray().size();
    return info;
}

MediaInfo probe(const QString &path, const QString &custom, JobControl &control)
{
    const QString output = run(executable(custom, true),
        { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_format"),
            QStringLiteral("-show_streams"), QStringLiteral("-show_chapters"), QStringLiteral("-of"),
            QStringLiteral("json"), QStringLiteral("-i"), path },
        control, [](const QString &) {});
    return mediaInfo(output.toUtf8(), QFileInfo(path).fileName());
}

} // namespace vantor::TranscodeService
