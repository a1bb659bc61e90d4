#include "presets/EncodingOptions.h"

#include "base/JsonCodec.h"

namespace vantor {

QJsonObject EncodingOptions::toJson() const
{
    return QJsonObject{
        {QStringLiteral("cropTop"), cropTop},
        {QStringLiteral("cropBottom"), cropBottom},
        {QStringLiteral("cropLeft"), cropLeft},
        {QStringLiteral("cropRight"), cropRight},
        {QStringLiteral("rotation"), rotation},
        {QStringLiteral("flipHorizontal"), flipHorizontal},
        {QStringLiteral("flipVertical"), flipVertical},
        {QStringLiteral("maxHeight"), maxHeight},
        {QStringLiteral("frameRate"), frameRate},
        {QStringLiteral("speed"), speed},
        {QStringLiteral("deinterlace"), deinterlace},
        {QStringLiteral("denoise"), denoise},
        {QStringLiteral("sharpen"), sharpen},
        {QStringLiteral("grayscale"), grayscale},
        {QStringLiteral("audioBitrate"), audioBitrate},
        {QStringLiteral("audioGain"), audioGain},
        {QStringLiteral("audioTrack"), audioTrack},
        {QStringLiteral("subtitles"), subtitles},
        {QStringLiteral("chapters"), chapters},
    };
}

EncodingOptions EncodingOptions::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "EncodingOptions");
    EncodingOptions options;
    options.cropTop = reader.integer("cropTop");
    options.cropBottom = reader.integer("cropBottom");
    options.cropLeft = reader.integer("cropLeft");
    options.cropRight = reader.integer("cropRight");
    options.rotation = reader.integer("rotation");
    options.flipHorizontal = reader.boolean("flipHorizontal");
    options.flipVertical = reader.boolean("flipVertical");
    options.maxHeight = reader.integer("maxHeight");
    options.frameRate = reader.string("frameRate");
    options.speed = reader.string("speed");
    options.deinterlace = reader.boolean("deinterlace");
    options.denoise = reader.string("denoise");
    options.sharpen = reader.boolean("sharpen");
    options.grayscale = reader.boolean("grayscale");
    options.audioBitrate = reader.integer("audioBitrate");
    options.audioGain = reader.integer("audioGain");
    options.audioTrack = reader.integer("audioTrack");
    options.subtitles = reader.boolean("subtitles");
    options.chapters = reader.boolean("chapters");
    return options;
}

} // namespace vantor
