#include "PresetOptions.h"
#include "PictureOptions.h"
#include "PresetLookup.h"
#include "SavedState.h"

#include "state/StateStore.h"
#include "base/VantorError.h"
#include "presets/PresetService.h"

#include <QFileInfo>
#include <algorithm>

namespace vantor::cli {

namespace {

QString name(const char *text)
{
    return QString::fromLatin1(text);
}

// A whole number inside the range the preset rules allow, else a UsageError naming the option.
qint64 boundedValue(const CommandParser &parser, const char *option, qint64 low, qint64 high)
{
    const qint64 number = parser.integerValue(name(option));
    if (number < low || number > high)
        throw UsageError(QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\".")
                             .arg(name(option)).arg(low).arg(high).arg(parser.value(name(option))));
    return number;
}

// A pixel limit: 0 for none, else 16 to 16384.
qint64 limitValue(const CommandParser &parser, const char *option)
{
    const qint64 number = parser.integerValue(name(option));
    if (number != 0 && (number < 16 || number > 16384))
        throw UsageError(QStringLiteral("--%1 takes 0 (no limit) or a whole number from 16 to 16384, not \"%2\".")
                             .arg(name(option), parser.value(name(option))));
    return number;
}

// One of a fixed list of words, else a UsageError listing them.
QString choiceValue(const CommandParser &parser, const char *option, const QStringList &choices)
{
    const QString text = parser.value(name(option));
    if (!choices.contains(text))
        throw UsageError(QStringLiteral("--%1 takes %2 or %3, not \"%4\".")
                             .arg(name(option), choices.mid(0, choices.size() - 1).join(QStringLiteral(", ")),
                                  choices.last(), text));
    return text;
}

} // namespace

void addPresetOptions(CommandParser &parser)
{
    parser.addValue({name("p"), name("preset")}, name("The preset to use (see 'vantor presets')."), name("NAME"));
    parser.addValue({name("width")}, name("Largest output width in pixels (0: no limit)."), name("PIXELS"));
    parser.addValue({name("height")}, name("Largest output height in pixels (0: no limit)."), name("PIXELS"));
    parser.addValue({name("scale")}, name("Scale in percent, 1 to 100."), name("PERCENT"));
    parser.addValue({name("quality")}, name("Constant quality (CRF) 0 to 51, for H.264, HEVC and AV1."), name("CRF"));
    parser.addValue({name("bitrate")}, name("Video bitrate in Mbit/s (0: constant quality)."), name("MBPS"));
    parser.addValue({name("codec")}, name("Codec, e.g. \"ProRes 422\", \"DNxHR HQ\", \"H.264\", \"HEVC\", \"AV1\"."),
                    name("CODEC"));
    parser.addValue({name("container")}, name("Container: mov, mxf or mp4."), name("CONTAINER"));
    parser.addValue({name("audio")}, name("Audio: PCM, AAC, Passthrough or \"No audio\"."), name("MODE"));
    parser.addValue({name("suffix")}, name("Text added to the output's name."), name("TEXT"));
    parser.addValue({name("speed")}, name("Encoder speed: ultrafast, fast, medium, slow or veryslow."), name("SPEED"));
    parser.addValue({name("frame-rate")}, name("Output frame rate, or Source."), name("RATE"));
    parser.addFlag({name("burn-filename")}, name("Burn the source's file name into the picture."));
    parser.addFlag({name("burn-timecode")}, name("Burn the source's running timecode into the picture."));
    parser.addValue({name("burn-text")}, name("Burn this text into the picture."), name("TEXT"));
    parser.addValue({name("burn-position")},
                    name("Where burn-ins go: \"Top Left\", \"Top Center\", \"Top Right\", \"Center\", "
                         "\"Bottom Left\", \"Bottom Center\" or \"Bottom Right\"."),
                    name("POSITION"));
    parser.addValue({name("burn-size")}, name("Burn-in font size, 12 to 120."), name("POINTS"));

    addPictureOptions(parser);
}

ChosenPreset chosenPreset(const CommandParser &parser)
{
    if (!parser.isSet(name("preset")))
        throw UsageError(name("Choose a preset with -p NAME (see 'vantor presets')."));
    const QString wanted = parser.value(name("preset"));

    // A state that cannot be read is not guessed around: the user's presets may be in it.
    const AppState state = readSavedState();
    TranscodePreset preset = findPreset(wanted);
    EncodingOptions tuning = preset.tuning();
    FinishingOptions finish = preset.finish();
    bool tuned = false;
    bool finished = false;
    if (parser.isSet(name("width")))
        preset.maxWidth = limitValue(parser, "width");
    if (parser.isSet(name("height"))) {
        tuning.maxHeight = limitValue(parser, "height");
        tuned = true;
    }
    if (parser.isSet(name("scale")))
        preset.scalePercent = boundedValue(parser, "scale", 1, 100);
    if (parser.isSet(name("quality")))
        preset.quality = boundedValue(parser, "quality", 0, 51);
    if (parser.isSet(name("bitrate")))
        preset.bitrateMbps = boundedValue(parser, "bitrate", 0, 1000);
    if (parser.isSet(name("codec"))) {
        const std::optional<Codec> codec = Codec::fromRawValue(parser.value(name("codec")));
        if (!codec)
            throw UsageError(QStringLiteral("--codec takes a codec such as \"ProRes 422\" or \"H.264\", not \"%1\".")
                                 .arg(parser.value(name("codec"))));
        preset.codec = *codec;
    }
    if (parser.isSet(name("container")))
        preset.container = choiceValue(parser, "container", {name("mov"), name("mxf"), name("mp4")});
    if (parser.isSet(name("audio"))) {
        const QString text = parser.value(name("audio"));
        std::optional<AudioMode> mode;
        for (const AudioMode::Value candidate : AudioMode::allCases) {
            if (AudioMode(candidate).rawValue().compare(text, Qt::CaseInsensitive) == 0)
                mode = AudioMode(candidate);
        }
        if (!mode)
            throw UsageError(QStringLiteral("--audio takes PCM, AAC, Passthrough or \"No audio\", not \"%1\".").arg(text));
        preset.audio = *mode;
    }
    if (parser.isSet(name("suffix"))) {
        preset.suffix = parser.value(name("suffix"));
        if (!PresetService::safeSuffix(preset.suffix))
            throw UsageError(QString::fromUtf8("--suffix is part of a file name: use no \u201c/\u201d, "
                                               "\u201c..\u201d or control characters."));
    }
    if (parser.isSet(name("speed"))) {
        tuning.speed = choiceValue(parser, "speed", {name("ultrafast"), name("fast"), name("medium"), name("slow"), name("veryslow")});
        tuned = true;
    }
    if (parser.isSet(name("frame-rate"))) {
        tuning.frameRate = choiceValue(parser, "frame-rate",
                                       {name("Source"), name("23.976"), name("24"), name("25"), name("29.97"),
                                        name("30"), name("50"), name("59.94"), name("60")});
        tuned = true;
    }
    if (parser.isSet(name("burn-filename"))) {
        finish.burnFilename = true;
        finished = true;
    }
    if (parser.isSet(name("burn-timecode"))) {
        finish.burnTimecode = true;
        finished = true;
    }
    if (parser.isSet(name("burn-text"))) {
        finish.burnText = parser.value(name("burn-text"));
        finished = true;
    }
    if (parser.isSet(name("burn-position"))) {
        finish.burnPosition = choiceValue(parser, "burn-position",
                                           {name("Top Left"), name("Top Center"), name("Top Right"), name("Center"),
                                            name("Bottom Left"), name("Bottom Center"), name("Bottom Right")});
        finished = true;
    }
    if (parser.isSet(name("burn-size"))) {
        finish.burnSize = boundedValue(parser, "burn-size", 12, 120);
        finished = true;
    }
    if (tuned)
        preset.setTuning(tuning);
    if (finished)
        preset.setFinish(finish);

    applyPictureOptions(parser, preset);
    PresetService::validate(preset);
    return {preset, state.ffmpeg};
}

} // namespace vantor::cli
