// The command-line half of TranscodeService: the engine's argument vector is the system's wire
// format, so its order and text are fixed here and nowhere else.
#include "base/VantorError.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"

#include <cmath>

namespace vantor::TranscodeService {

namespace {

qint64 checkedSubtract(qint64 value, qint64 a, qint64 b)
{
    qint64 result = 0;
    if (__builtin_sub_overflow(value, a, &result) || __builtin_sub_overflow(result, b, &result))
        throw VantorError(QStringLiteral("The crop values do not fit this picture's size."));
    return result;
}

qint64 scaledSide(double factor, qint64 side)
{
    const double product = std::trunc(factor * double(side));
    if (!std::isfinite(product) || product > 9.0e15 || product < -9.0e15)
        throw VantorError(QStringLiteral("The scale or size limit gives a picture size out of range for this source."));
    const qint64 even = qint64(product) / 2 * 2;
    return std::max<qint64>(even, 16);
}

const QStringList textSubtitleCodecs { QStringLiteral("subrip"), QStringLiteral("srt"), QStringLiteral("ass"),
    QStringLiteral("ssa"), QStringLiteral("webvtt"), QStringLiteral("mov_text"), QStringLiteral("text") };

QString av1Preset(const QString &speed)
{
    if (speed == QLatin1String("ultrafast"))
        return QStringLiteral("12");
    if (speed == QLatin1String("fast"))
        return QStringLiteral("10");
    if (speed == QLatin1String("slow"))
        return QStringLiteral("5");
    if (speed == QLatin1String("veryslow"))
        return QStringLiteral("3");
    return QStringLiteral("8");
}

// NVENC's constant-quality scale runs the other way: quality 1..100 (best) onto -cq 51..1.
qint64 nvencQuality(qint64 quality)
{
    return 51 - std::llround(double(quality - 1) * 50.0 / 99.0);
}

} // namespace

std::pair<qint64, qint64> outputDimensions(const TranscodePreset &preset, const MediaInfo &info)
{
    const EncodingOptions tuning = preset.tuning();
    const qint64 w0 = checkedSubtract(info.width, tuning.cropLeft, tuning.cropRight);
    const qint64 h0 = checkedSubtract(info.height, tuning.cropTop, tuning.cropBottom);
    if (w0 < 16 || h0 < 16)
        throw VantorError(QStringLiteral("Crop settings leave fewer than 16 pixels."));
    // Only the extra rotation turns the frame; the source's own rotation is already in info.
    const bool turned = tuning.rotation == 90 || tuning.rotation == 270;
    const qint64 baseWidth = turned ? h0 : w0;
    const qint64 baseHeight = turned ? w0 : h0;
    double factor = double(preset.scalePercent) / 100.0;
    if (preset.maxWidth >= 1)
        factor = std::min(factor, double(preset.maxWidth) / double(baseWidth));
    if (tuning.maxHeight >= 1)
        factor = std::min(factor, double(tuning.maxHeight) / double(baseHeight));
    return { scaledSide(factor, baseWidth), scaledSide(factor, baseHeight) };
}

QString videoFilters(const TranscodePreset &preset, const MediaInfo &info)
{
    const EncodingOptions tuning = preset.tuning();
    QStringList chain;
    if (tuning.deinterlace)
        chain << QStringLiteral("bwdif=mode=send_frame:parity=auto:deint=all");
    const qint64 remainingWidth = checkedSubtract(info.width, tuning.cropLeft, tuning.cropRight);
    const qint64 remainingHeight = checkedSubtract(info.height, tuning.cropTop, tuning.cropBottom);
    if (remainingWidth < 16 || remainingHeight < 16)
        throw VantorError(
            QStringLiteral("Crop settings remove the entire picture or leave fewer than 16 pixels."));
    if (tuning.cropTop + tuning.cropBottom + tuning.cropLeft + tuning.cropRight >= 1)
        chain << QStringLiteral("crop=%1:%2:%3:%4")
                     .arg(remainingWidth)
                     .arg(remainingHeight)
                     .arg(tuning.cropLeft)
                     .arg(tuning.cropTop);
    if (tuning.rotation == 90)
        chain << QStringLiteral("transpose=clock");
    else if (tuning.rotation == 180)
        chain << QStringLiteral("hflip") << QStringLiteral("vflip");
    else if (tuning.rotation == 270)
        chain << QStringLiteral("transpose=cclock");
    if (tuning.flipHorizontal)
        chain << QStringLiteral("hflip");
    if (tuning.flipVertical)
        chain << QStringLiteral("vflip");
    const auto [width, height] = outputDimensions(preset, info);
    chain << QStringLiteral("scale=%1:%2:flags=lanczos").arg(width).arg(height);
    if (tuning.denoise == QLatin1String("Light"))
        chain << QStringLiteral("hqdn3d=1.5:1.5:3:3");
    else if (tuning.denoise == QLatin1String("Medium"))
        chain << QStringLiteral("hqdn3d=3:3:6:6");
    else if (tuning.denoise != QLatin1String("Off"))
        chain << QStringLiteral("hqdn3d=6:6:9:9");
    if (tuning.sharpen)
        chain << QStringLiteral("unsharp=5:5:0.6:5:5:0");
    if (tuning.grayscale)
        chain << QStringLiteral("hue=s=0");
    if (tuning.frameRate != QLatin1String("Source")) {
        QString rate = tuning.frameRate;
        if (rate == QLatin1String("23.976"))
            rate = QStringLiteral("24000/1001");
        else if (rate == QLatin1String("29.97"))
            rate = QStringLiteral("30000/1001");
        else if (rate == QLatin1String("59.94"))
            rate = QStringLiteral("60000/1001");
        chain << QStringLiteral("fps=") + rate;
    }
    return chain.join(QLatin1Char(','));
}

QStringList arguments(const QString &source, const QString &output, const TranscodePreset &preset,
    const MediaInfo &info, const QStringList &burnFilters)
{
    PresetService::validate(preset);
    const EncodingOptions tuning = preset.tuning();
    const FinishingOptions finish = preset.finish();
    const bool hardware = preset.finishing && preset.finishing->hardware;
    const Codec codec = preset.codec;
    const AudioMode::Value audio = preset.audio.value;
    const QString &container = preset.container;

    QStringList vector { QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-n"),
        QStringLiteral("-loglevel"), QStringLiteral("warning"), QStringLiteral("-progress"),
        QStringLiteral("pipe:1"), QStringLiteral("-stats_period"), QStringLiteral("0.25"),
        QStringLiteral("-i"), source };
    vector << QStringLiteral("-map") << QStringLiteral("0:v:0");
    vector << QStringLiteral("-map_metadata")
           << (preset.preserveMetadata ? QStringLiteral("0") : QStringLiteral("-1"));
    vector << QStringLiteral("-fps_mode")
           << (tuning.frameRate == QLatin1String("Source") ? QStringLiteral("passthrough")
                                                           : QStringLiteral("cfr"));
    vector << QStringLiteral("-c:v");
    if (hardware)
        vector << (codec.value == Codec::h264 ? QStringLiteral("h264_nvenc") : QStringLiteral("hevc_nvenc"));
    else
        vector << codec.encoder();
    vector << QStringLiteral("-threads") << QStringLiteral("4");

    if (audio != AudioMode::none) {
        if (tuning.audioTrack < 0) {
            vector << QStringLiteral("-map") << QStringLiteral("0:a?");
        } else if (tuning.audioTrack >= info.audioTracks.size()) {
            throw VantorError(QStringLiteral("The selected audio track is not present in this source."));
        } else {
            vector << QStringLiteral("-map") << QStringLiteral("0:a:") + QString::number(tuning.audioTrack);
        }
    }
    vector << QStringLiteral("-map_chapters")
           << (tuning.chapters ? QStringLiteral("0") : QStringLiteral("-1"));

    if (tuning.subtitles) {
        for (const QString &subtitle : info.subtitleTracks) {
            if (!textSubtitleCodecs.contains(subtitle))
                throw VantorError(QStringLiteral(
                    "This source contains bitmap subtitles. Disable subtitles for this encode."));
        }
        vector << QStringLiteral("-map") << QStringLiteral("0:s?") << QStringLiteral("-c:s")
               << QStringLiteral("mov_text");
    }

    const QString bitrate = QString::number(preset.bitrateMbps) + QLatin1Char('M');
    if (const std::optional<int> profile = codec.proresProfile()) {
        vector << QStringLiteral("-profile:v") << QString::number(*profile) << QStringLiteral("-pix_fmt")
               << (*profile == 4 ? QStringLiteral("yuva444p10le") : QStringLiteral("yuv422p10le"))
               << QStringLiteral("-vendor") << QStringLiteral("apl0");
    } else if (const std::optional<QString> dnx = codec.dnxProfile()) {
        vector << QStringLiteral("-profile:v") << *dnx << QStringLiteral("-pix_fmt")
               << (codec.value == Codec::dnxHQX ? QStringLiteral("yuv422p10le") : QStringLiteral("yuv422p"));
    } else if (hardware) {
        vector << QStringLiteral("-pix_fmt") << QStringLiteral("nv12");
        if (preset.bitrateMbps < 1)
            vector << QStringLiteral("-rc") << QStringLiteral("vbr") << QStringLiteral("-cq")
                   << QString::number(nvencQuality(finish.hardwareQuality));
        else
            vector << QStringLiteral("-b:v") << bitrate;
        if (codec.value == Codec::hevc)
            vector << QStringLiteral("-tag:v") << QStringLiteral("hvc1");
    } else {
        vector << QStringLiteral("-pix_fmt") << QStringLiteral("yuv420p");
        if (preset.bitrateMbps < 1)
            vector << QStringLiteral("-crf") << QString::number(preset.quality);
        else
            vector << QStringLiteral("-b:v") << bitrate;
        vector << QStringLiteral("-preset")
               << (codec.value == Codec::av1 ? av1Preset(tuning.speed) : tuning.speed);
        if (codec.value == Codec::hevc)
            vector << QStringLiteral("-tag:v") << QStringLiteral("hvc1") << QStringLiteral("-x265-params")
                   << QStringLiteral("pools=4:frame-threads=2");
        else if (codec.value == Codec::av1)
            vector << QStringLiteral("-svtav1-params") << QStringLiteral("lp=4");
    }

    vector << QStringLiteral("-vf")
           << (QStringList { videoFilters(preset, info) } + burnFilters).join(QLatin1Char(','));

    switch (audio) {
    case AudioMode::pcm:
        vector << QStringLiteral("-c:a") << QStringLiteral("pcm_s%1le").arg(preset.bitDepth)
               << QStringLiteral("-ar") << QString::number(preset.sampleRate);
        break;
    case AudioMode::aac:
        vector << QStringLiteral("-c:a") << QStringLiteral("aac") << QStringLiteral("-b:a")
               << QString::number(tuning.audioBitrate) + QLatin1Char('k') << QStringLiteral("-ar")
               << QString::number(preset.sampleRate);
        break;
    case AudioMode::passthrough:
        vector << QStringLiteral("-c:a") << QStringLiteral("copy");
        break;
    case AudioMode::none:
        vector << QStringLiteral("-an");
        break;
    }

    QStringList audioFilters;
    if (!finish.channelMap.isEmpty()) {
        const QList<int> indices = PresetService::channelMapping(finish.channelMap);
        const bool trackValid = tuning.audioTrack >= 0 && tuning.audioTrack < info.audioChannels.size();
        const qint64 available = trackValid ? info.audioChannels[tuning.audioTrack] : 0;
        for (const int index : indices) {
            if (!trackValid || index >= available)
                throw VantorError(QStringLiteral(
                    "The channel map references a channel that is missing from the selected audio track."));
        }
        const QString layout = indices.size() == 1 ? QStringLiteral("mono")
            : indices.size() == 2                  ? QStringLiteral("stereo")
                                                   : QString::number(indices.size()) + QLatin1Char('c');
        QStringList terms { QStringLiteral("pan=") + layout };
        for (qsizetype i = 0; i < indices.size(); ++i)
            terms << QStringLiteral("c%1=c%2").arg(i).arg(indices[i]);
        audioFilters << terms.join(QLatin1Char('|'));
    }
    if (tuning.audioGain != 0)
        audioFilters << QStringLiteral("volume=%1dB").arg(tuning.audioGain);
    if (!audioFilters.isEmpty())
        vector << QStringLiteral("-af") << audioFilters.join(QLatin1Char(','));

    if (finish.channelMap.isEmpty() && preset.channels >= 1 && audio != AudioMode::passthrough
        && audio != AudioMode::none)
        vector << QStringLiteral("-ac") << QString::number(preset.channels);

    const bool movOrMxf = container == QLatin1String("mov") || container == QLatin1String("mxf");
    if (preset.preserveMetadata) {
        if (info.timecode && movOrMxf)
            vector << QStringLiteral("-timecode") << *info.timecode;
        if (info.reel)
            vector << QStringLiteral("-metadata") << QStringLiteral("reel_name=") + *info.reel
                   << QStringLiteral("-metadata:s:v:0") << QStringLiteral("reel_name=") + *info.reel;
    }
    if (container == QLatin1String("mov") || container == QLatin1String("mp4"))
        vector << QStringLiteral("-movflags") << QStringLiteral("+faststart+use_metadata_tags");
    vector << QStringLiteral("-f") << container << output;
    return vector;
}

} // namespace vantor::TranscodeService
