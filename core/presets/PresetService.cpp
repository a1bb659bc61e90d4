#include "presets/PresetService.h"

#include "base/VantorError.h"

#include <QStringList>
#include <algorithm>
#include <initializer_list>

namespace vantor::PresetService {

namespace {

TranscodePreset builtIn(const char *name, Codec codec, const char *container, qint64 maxWidth,
    AudioMode audio, const char *suffix)
{
    return TranscodePreset(QUuid::createUuid(), QString::fromLatin1(name), codec,
        QString::fromLatin1(container), maxWidth, 100, 20, 0, audio, 48000, 24, 0,
        QString::fromLatin1(suffix));
}

bool within(qint64 value, qint64 low, qint64 high)
{
    return value >= low && value <= high;
}

template <typename T> bool oneOf(const T &value, std::initializer_list<T> allowed)
{
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

bool oneOf(const QString &value, std::initializer_list<const char *> allowed)
{
    return std::any_of(allowed.begin(), allowed.end(),
        [&](const char *candidate) { return value == QLatin1String(candidate); });
}

bool validLimit(qint64 pixels)
{
    return pixels == 0 || within(pixels, 16, 16384);
}

// Only a plain decimal with an optional sign; anything else is not a channel number.
std::optional<qint64> parseDecimal(const QString &piece)
{
    qsizetype index = 0;
    bool negative = false;
    if (index < piece.size() && (piece[index] == QLatin1Char('+') || piece[index] == QLatin1Char('-'))) {
        negative = piece[index] == QLatin1Char('-');
        ++index;
    }
    if (index == piece.size())
        return std::nullopt;
    qint64 value = 0;
    for (; index < piece.size(); ++index) {
        const QChar character = piece[index];
        if (character < QLatin1Char('0') || character > QLatin1Char('9'))
            return std::nullopt;
        value = value * 10 + (character.unicode() - '0');
        if (value > 1000000) // far beyond any channel; keeps the arithmetic bounded
            return std::nullopt;
    }
    return negative ? -value : value;
}

QString trimBlanks(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (start < end && blank(text[start]))
        ++start;
    while (end > start && blank(text[end - 1]))
        --end;
    return text.mid(start, end - start);
}

[[noreturn]] void refuse(const char *message)
{
    throw VantorError(QString::fromUtf8(message));
}

} // namespace

QList<TranscodePreset> defaults()
{
    return {
        builtIn("Editorial Proxy", Codec::proresProxy, "mov", 1920, AudioMode::pcm, "_PROXY"),
        builtIn("Review File", Codec::h264, "mp4", 1920, AudioMode::aac, "_REVIEW"),
        builtIn("Client Review", Codec::h264, "mp4", 1280, AudioMode::aac, "_CLIENT"),
        builtIn("YouTube Master", Codec::h264, "mp4", 3840, AudioMode::aac, "_YOUTUBE"),
        builtIn("Festival Screener", Codec::proresLT, "mov", 1920, AudioMode::pcm, "_SCREENER"),
        builtIn("ProRes Master", Codec::proresHQ, "mov", 0, AudioMode::pcm, "_MASTER"),
        builtIn("Archive Master", Codec::prores4444, "mov", 0, AudioMode::pcm, "_ARCHIVE"),
    };
}

bool safeSuffix(const QString &suffix)
{
    return !suffix.contains(QLatin1Char('/')) && !suffix.contains(QLatin1String(".."))
        && std::none_of(suffix.begin(), suffix.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
}

QList<int> channelMapping(const QString &text)
{
    const QStringList pieces = text.split(QLatin1Char(','));
    QList<int> indices;
    if (!oneOf<qsizetype>(pieces.size(), { 1, 2, 4, 6, 8 }))
        refuse("Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.");
    for (const QString &piece : pieces) {
        const std::optional<qint64> number = parseDecimal(trimBlanks(piece));
        if (!number || !within(*number, 1, 64))
            refuse("Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.");
        indices.append(int(*number - 1));
    }
    return indices;
}

void validate(const TranscodePreset &preset)
{
    const FinishingOptions finish = preset.finish();
    const EncodingOptions tuning = preset.tuning();
    const QString &container = preset.container;
    const AudioMode::Value audio = preset.audio.value;

    if (!preset.codec.containers().contains(container))
        throw VantorError(preset.codec.rawValue() + QStringLiteral(" is not supported in ")
            + container.toUpper() + QStringLiteral("."));
    if (!safeSuffix(preset.suffix))
        refuse("Use a suffix without \u201C/\u201D, \u201C..\u201D or control characters.");
    if (!validLimit(preset.maxWidth) || !within(preset.scalePercent, 1, 100) || !within(preset.quality, 0, 51)
        || !within(preset.bitrateMbps, 0, 1000))
        refuse("Invalid resolution, scale, quality or bitrate.");
    if (!oneOf<qint64>(preset.sampleRate, { 44100, 48000, 96000 })
        || !oneOf<qint64>(preset.bitDepth, { 16, 24, 32 }) || !oneOf<qint64>(preset.channels, { 0, 1, 2 }))
        refuse("Invalid audio format.");
    if (container == QLatin1String("mp4") && audio == AudioMode::pcm)
        refuse("Choose AAC or passthrough audio for MP4.");
    if (container == QLatin1String("mxf") && audio != AudioMode::pcm)
        refuse("MXF output requires PCM audio in this version.");
    if (finish.hardware && preset.codec.value != Codec::h264 && preset.codec.value != Codec::hevc)
        refuse("Hardware encoding supports H.264 and HEVC.");
    if (!within(finish.hardwareQuality, 1, 100) || !within(finish.burnSize, 12, 120)
        || finish.burnText.toUcs4().size() > 400
        || !oneOf(finish.burnPosition,
            { "Top Left", "Top Center", "Top Right", "Center", "Bottom Left", "Bottom Center",
                "Bottom Right" }))
        refuse("Invalid hardware quality or burn-in settings.");
    if (!finish.channelMap.isEmpty()) {
        channelMapping(finish.channelMap);
        if (tuning.audioTrack < 0 || (audio != AudioMode::pcm && audio != AudioMode::aac))
            refuse("Select one audio track and PCM or AAC to map its channels.");
    }
    const qint64 crops[] = { tuning.cropTop, tuning.cropBottom, tuning.cropLeft, tuning.cropRight };
    const bool cropsValid = std::all_of(std::begin(crops), std::end(crops),
        [](qint64 crop) { return within(crop, 0, 16384) && crop % 2 == 0; });
    if (!cropsValid || !validLimit(tuning.maxHeight))
        refuse("Use even, nonnegative crop values and a valid height limit.");
    if (!oneOf<qint64>(tuning.rotation, { 0, 90, 180, 270 })
        || !oneOf(tuning.frameRate, { "Source", "23.976", "24", "25", "29.97", "30", "50", "59.94", "60" })
        || !oneOf(tuning.speed, { "ultrafast", "fast", "medium", "slow", "veryslow" })
        || !oneOf(tuning.denoise, { "Off", "Light", "Medium", "Strong" }))
        refuse("Invalid video processing options.");
    if (!within(tuning.audioBitrate, 32, 512) || !within(tuning.audioGain, -20, 20) || tuning.audioTrack < -1)
        refuse("Invalid audio bitrate, gain or track selection.");
    if (tuning.audioGain != 0 && (audio == AudioMode::passthrough || audio == AudioMode::none))
        refuse("Audio gain requires PCM or AAC conversion.");
    if (tuning.subtitles && container != QLatin1String("mov") && container != QLatin1String("mp4"))
        refuse("Embedded text subtitles require MOV or MP4.");
}

std::optional<TranscodePreset> find(const QList<TranscodePreset> &presets, const QString &name)
{
    std::optional<TranscodePreset> folded;
    int folds = 0;
    for (const TranscodePreset &preset : presets) {
        if (preset.name == name)
            return preset;
        if (preset.name.compare(name, Qt::CaseInsensitive) == 0) {
            folded = preset;
            ++folds;
        }
    }
    // Two presets that differ only in case leave a case-folded name ambiguous.
    return folds == 1 ? folded : std::nullopt;
}

} // namespace vantor::PresetService
