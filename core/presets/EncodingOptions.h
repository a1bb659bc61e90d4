#pragma once

#include <QJsonObject>
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

    QJsonObject toJson() const;
    static EncodingOptions fromJson(const QJsonValue &value); // every key required
    bool operator==(const EncodingOptions &) const = default;
};

} // namespace vantor
