#include "workspace/SourceSummary.h"

#include "ingest/NamingService.h"
#include "base/VantorError.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodeService.h"

namespace vantor::SourceSummary {

namespace {

QString dimensions(qint64 width, qint64 height)
{
    return QStringLiteral("%1 × %2").arg(width).arg(height);
}

QString audioText(const TranscodePreset &preset)
{
    QString text = preset.audio.rawValue();
    if (preset.audio == AudioMode::pcm)
        text += QStringLiteral(" · %1 kHz · %2 Bit")
                    .arg(double(preset.sampleRate) / 1000.0)
                    .arg(preset.bitDepth);
    else if (preset.audio == AudioMode::aac)
        text += QStringLiteral(" · %1 kbps").arg(preset.tuning().audioBitrate);
    if (preset.audio != AudioMode::none && preset.channels > 0)
        text += preset.channels == 1 ? QStringLiteral(" · Mono") : QStringLiteral(" · Stereo");
    return text;
}

QString sourceText(const SourceState &state)
{
    if (!state.source)
        return QStringLiteral("No Source Selected");
    if (state.inspecting)
        return QStringLiteral("Inspecting\u2026");
    if (!state.info)
        return state.error.value_or(QStringLiteral("The source could not be inspected."));
    return state.info->codec + QStringLiteral(" · ") + dimensions(state.info->width, state.info->height);
}

QString outputName(const TranscodePreset &preset, const std::optional<QString> &source)
{
    if (!source)
        return QStringLiteral("—");
    try {
        return NamingService::component(NamingService::original(*source) + preset.suffix) + u'.'
            + preset.container;
    } catch (const VantorError &error) {
        return error.message();
    }
}

} // namespace

QString framesPerSecond(double fps)
{
    QString number = QString::number(fps, 'f', 2);
    while (number.contains(u'.') && (number.endsWith(u'0') || number.endsWith(u'.')))
        number.chop(1);
    return number + QStringLiteral(" FPS");
}

QList<std::pair<QString, QString>> rows(const TranscodePreset &preset, const SourceState &state)
{
    const EncodingOptions tuning = preset.tuning();
    QString video = preset.codec.rawValue();
    if (preset.finish().hardware)
        video += QStringLiteral(" · Hardware");
    QString frameRate;
    if (tuning.frameRate != QLatin1String("Source"))
        frameRate = tuning.frameRate + QStringLiteral(" FPS");
    else if (state.info && state.info->fps() > 0)
        frameRate = QStringLiteral("Same As ") + framesPerSecond(state.info->fps());
    else
        frameRate = QStringLiteral("Same As Source");
    QString timecode = QStringLiteral("Not Present");
    QString estimate = QStringLiteral("Unknown");
    if (state.info) {
        try {
            const auto [width, height] = TranscodeService::outputDimensions(preset, *state.info);
            video += QStringLiteral(" · ") + dimensions(width, height);
        } catch (const VantorError &error) {
            video += QStringLiteral(" · ") + error.message(); // a crop that leaves no picture
        }
        timecode = state.info->timecode.value_or(timecode);
        estimate = PreviewService::estimatedSize(preset, *state.info);
    }
    return {
        { QStringLiteral("Format"), preset.container.toUpper() },
        { QStringLiteral("Video"), video },
        { QStringLiteral("Audio"), audioText(preset) },
        { QStringLiteral("Source"), sourceText(state) },
        { QStringLiteral("Frame Rate"), frameRate },
        { QStringLiteral("Timecode"), timecode },
        { QStringLiteral("Output Name"), outputName(preset, state.source) },
        { QStringLiteral("Estimated Output"), estimate },
    };
}

} // namespace vantor::SourceSummary
