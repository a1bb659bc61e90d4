#pragma once

#include <QString>

namespace vantor {

// Picture and audio processing of a preset.
struct EncodingOptions {
    qint64 cropTop = 0;
    qint64 cropBottom = 0;
    qint64 cropLeft = 0;
    qint64 cropRight = 0;
    qint64 rotation = 0;
    bool flipHorizontal = false;
    bool flipVertical = false;
    qint64 maxHeight = 0; // 0 = no limit
    QString frameRate = QStringLiteral("Source");
    QString speed = QStringLiteral("medium");
    bool deinterlace = false;
    QString denoise = QStringLiteral("Off");
    bool sharpen = false;
    bool grayscale = false;
    qint64 audioBitrate = 256; // kbit/s, AAC only
    qint64 audioGain = 0;      // dB
    qint64 audioTrack = -1;    // -1 = every audio stream
    bool subtitles = false;
    bool chapters = true;

    static constexpr char typeName[] = "EncodingOptions";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.integer("cropTop", self.cropTop);
        v.integer("cropBottom", self.cropBottom);
        v.integer("cropLeft", self.cropLeft);
        v.integer("cropRight", self.cropRight);
        v.integer("rotation", self.rotation);
        v.boolean("flipHorizontal", self.flipHorizontal);
        v.boolean("flipVertical", self.flipVertical);
        v.integer("maxHeight", self.maxHeight);
        v.string("frameRate", self.frameRate);
        v.string("speed", self.speed);
        v.boolean("deinterlace", self.deinterlace);
        v.string("denoise", self.denoise);
        v.boolean("sharpen", self.sharpen);
        v.boolean("grayscale", self.grayscale);
        v.integer("audioBitrate", self.audioBitrate);
        v.integer("audioGain", self.audioGain);
        v.integer("audioTrack", self.audioTrack);
        v.boolean("subtitles", self.subtitles);
        v.boolean("chapters", self.chapters);
    }
    bool operator==(const EncodingOptions &) const = default;
};

} // namespace vantor
