#include "PresetOptions.h"
#include "PictureOptions.h"
#include "SavedState.h"

#include "model/StateStore.h"
#include "model/VantorError.h"
#include "transcode/PresetService.h"

#include <QFileInfo>
#include <algorithm>

namespace vantor::cli {

namespace {

QString name(const char *text)
{
    return QString::fromLatin1(text);
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
    QList<TranscodePreset> candidates(state.presets.begin(), state.presets.end());
    candidates += PresetService::defaults();
    const auto found = std::find_if(candidates.begin(), candidates.end(),
                                    [&](const TranscodePreset &preset) { return preset.name == wanted; });
    if (found == candidates.end())
        throw VantorError(QString::fromUtf8("No preset is named \u201c") + wanted
                          + QString::fromUtf8("\u201d. Run 'vantor presets' to list them."));

    TranscodePreset preset = *found;
    EncodingOptions tuning = preset.tuning();
    FinishingOptions finish = preset.finish();
    bool tuned = false;
    bool finished = false;
    if (parser.isSet(name("width")))
        preset.maxWidth = parser.integerValue(name("width"));
    if (parser.isSet(name("height"))) {
        tuning.maxHeight = parser.integerValue(name("height"));
        tuned = true;
    }
    if (parser.isSet(name("scale")))
        preset.scalePercent = parser.integerValue(name("scale"));
    if (parser.isSet(name("quality")))
        preset.quality = parser.integerValue(name("quality"));
    if (parser.isSet(name("bitrate")))
        preset.bitrateMbps = parser.integerValue(name("bitrate"));
    if (parser.isSet(name("codec"))) {
        const std::optional<Codec> codec = Codec::fromRawValue(parser.value(name("codec")));
        if (!codec)
            throw UsageError(name("Unknown codec: ") + parser.value(name("codec")));
        preset.codec = *codec;
    }
    if (parser.isSet(name("container")))
        preset.container = parser.value(name("container"));
    if (parser.isSet(name("audio"))) {
        const QString text = parser.value(name("audio"));
        std::optional<AudioMode> mode;
        for (const AudioMode::Value candidate : AudioMode::allCases) {
            if (AudioMode(candidate).rawValue().compare(text, Qt::CaseInsensitive) == 0)
                mode = AudioMode(candidate);
        }
        if (!mode)
            throw UsageError(name("Unknown audio mode: ") + text);
        preset.audio = *mode;
    }
    if (parser.isSet(name("suffix")))
        preset.suffix = parser.value(name("suffix"));
    if (parser.isSet(name("speed"))) {
        tuning.speed = parser.value(name("speed"));
        tuned = true;
    }
    if (parser.isSet(name("frame-rate"))) {
        tuning.frameRate = parser.value(name("frame-rate"));
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
        finish.burnPosition = parser.value(name("burn-position"));
        finished = true;
    }
    if (parser.isSet(name("burn-size"))) {
        finish.burnSize = parser.integerValue(name("burn-size"));
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
