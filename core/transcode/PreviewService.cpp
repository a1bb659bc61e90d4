#include "transcode/PreviewService.h"

#include "base/FileIo.h"
#include "base/VantorError.h"
#include "transcode/BurnInService.h"
#include "transcode/TemporaryFolder.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QLocale>
#include <algorithm>
#include <cmath>

namespace vantor::PreviewService {

namespace {

QString seconds(double value)
{
    return QString::number(value, 'f', 3);
}

bool exists(const QString &path)
{
    try {
        return FileIo::existsAt(AT_FDCWD, FileIo::encodeName(path));
    } catch (const std::system_error &) {
        return false;
    }
}

// The scale factor the command line applies: scalePercent lowered by the width and height limits.
double scaleFactor(const TranscodePreset &preset, const MediaInfo &info)
{
    const EncodingOptions tuning = preset.tuning();
    const qint64 croppedWidth = info.width - tuning.cropLeft - tuning.cropRight;
    const qint64 croppedHeight = info.height - tuning.cropTop - tuning.cropBottom;
    const bool turned = tuning.rotation == 90 || tuning.rotation == 270;
    const double baseWidth = double(turned ? croppedHeight : croppedWidth);
    const double baseHeight = double(turned ? croppedWidth : croppedHeight);
    double factor = double(preset.scalePercent) / 100.0;
    if (preset.maxWidth >= 1 && baseWidth > 0)
        factor = std::min(factor, double(preset.maxWidth) / baseWidth);
    if (tuning.maxHeight >= 1 && baseHeight > 0)
        factor = std::min(factor, double(tuning.maxHeight) / baseHeight);
    return factor;
}

// Megabits per second of a 1920×1080, 30 fps picture in the intra-frame codecs.
std::optional<double> referenceRate(const Codec &codec)
{
    if (const std::optional<int> profile = codec.proresProfile()) {
        static const double rates[] = {45, 102, 147, 220, 330};
        return rates[std::clamp(*profile, 0, 4)];
    }
    if (const std::optional<QString> profile = codec.dnxProfile()) {
        if (*profile == QLatin1String("dnxhr_lb"))
            return 45.0;
        if (*profile == QLatin1String("dnxhr_hq") || *profile == QLatin1String("dnxhr_hqx"))
            return 220.0;
        return 145.0;
    }
    return std::nullopt;
}

} // namespace

double startTime(double at, double duration)
{
    return std::min(std::max(at, 0.0), std::max(duration - 0.1, 0.0));
}

double clipLength(double start, double duration)
{
    return std::clamp(duration - start, 0.1, 5.0);
}

QString render(const QString &source, const TranscodePreset &preset, double at, bool clip, const QString &custom,
               JobControl &control)
{
    const MediaInfo info = TranscodeService::probe(source, custom, control);
    const double start = startTime(at, info.duration);
    const QString folder = TemporaryFolder::make(QStringLiteral("vantor-preview-"));
    BurnInAssets assets;
    try {
        assets = BurnInService::prepare(source, preset, info);
        QString output;
        QStringList arguments;
        if (clip) {
            output = folder + QStringLiteral("/Test Clip.") + preset.container;
            arguments = TranscodeService::arguments(source, output, preset, info, assets.filters);
            arguments.insert(arguments.size() - 3, QStringLiteral("-ss"));
            arguments.insert(arguments.size() - 3, seconds(start));
            arguments.insert(arguments.size() - 3, QStringLiteral("-t"));
            arguments.insert(arguments.size() - 3, seconds(clipLength(start, info.duration)));
        } else {
            output = folder + QStringLiteral("/Processed Frame.png");
            const QString filters = (QStringList{TranscodeService::videoFilters(preset, info)} + assets.filters)
                                        .join(QLatin1Char(','))
                                    + QStringLiteral(",scale='min(1280,iw)':-2");
            arguments = {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-n"),
                         QStringLiteral("-loglevel"),    QStringLiteral("error"),    QStringLiteral("-i"),
                         source,                         QStringLiteral("-ss"),      seconds(start),
                         QStringLiteral("-map"),         QStringLiteral("0:v:0"),    QStringLiteral("-vf"),
                         filters,                        QStringLiteral("-frames:v"), QStringLiteral("1"),
                         QStringLiteral("-an"),          QStringLiteral("-update"),  QStringLiteral("1"),
                         output};
        }
        TranscodeService::run(TranscodeService::executable(custom, false), arguments, control,
                              [](const QString &) {});
        if (!exists(output))
            throw VantorError(QStringLiteral("Preview could not be generated."));
        assets.cleanup();
        return output;
    } catch (...) {
        assets.cleanup();
        TemporaryFolder::remove(folder);
        throw;
    }
}

void remove(const QString &folder)
{
    if (QDir(folder).dirName().startsWith(QLatin1String("vantor-preview-")))
        TemporaryFolder::remove(folder);
}

QString estimatedSize(const TranscodePreset &preset, const MediaInfo &info)
{
    if (!(info.duration > 0))
        return QStringLiteral("Unknown");
    double videoRate = 0;
    const bool firm = preset.bitrateMbps >= 1 || preset.codec.isProRes() || preset.codec.isDnxHR();
    if (preset.bitrateMbps >= 1) {
        videoRate = double(preset.bitrateMbps);
    } else if (const std::optional<double> reference = referenceRate(preset.codec)) {
        const double factor = scaleFactor(preset, info);
        videoRate = *reference * (double(info.width) * double(info.height) / 2073600.0) * factor * factor
                    * std::max(info.fps(), 1.0) / 30.0;
    } else {
        return QStringLiteral("Variable · Encode A Test Clip");
    }

    qint64 channels = preset.channels;
    if (channels < 1) {
        channels = 0;
        for (const qint64 count : info.audioChannels)
            channels += count;
    }
    double audioRate = 0;
    const EncodingOptions tuning = preset.tuning();
    if (preset.audio == AudioMode::aac) {
        const qsizetype streams = tuning.audioTrack < 0 ? info.audioTracks.size() : 1;
        audioRate = double(tuning.audioBitrate) / 1000.0 * double(streams);
    } else if (preset.audio == AudioMode::pcm) {
        audioRate = double(preset.sampleRate) * double(preset.bitDepth) * double(channels) / 1000000.0;
    }

    const double bytes = info.duration * (videoRate + audioRate) * 1000000.0 / 8.0;
    const double cap = std::ldexp(1.0, 62);
    const qint64 counted = std::isfinite(bytes) ? qint64(std::clamp(bytes, 0.0, cap)) : qint64(cap);
    return (firm ? QStringLiteral("About ") : QStringLiteral("Approximately "))
           + QLocale().formattedDataSize(counted, 1, QLocale::DataSizeSIFormat);
}

} // namespace vantor::PreviewService
