#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace vantor {

// What the engine's probe found in one file, reduced to what presets, burn-ins and the
// transcode page need. `width` × `height` is the picture as displayed (the source's own
// rotation already applied).
struct MediaInfo {
    double duration = 0; // seconds; 0 when unknown
    qint64 width = 0;
    qint64 height = 0;
    QString codec;
    std::optional<QString> timecode;
    std::optional<QString> reel;
    QString frameRate; // as the engine writes it, e.g. "24000/1001"
    QStringList audioTracks;
    QStringList subtitleTracks; // codec name per subtitle stream
    qint64 chapterCount = 0;
    QList<qint64> audioChannels;
    QStringList audioLayouts;
    QStringList audioSampleRates;
    qint64 sourceRotation = 0;

    // The frame rate as a number; 0 when it is missing or has a zero denominator.
    double fps() const;

    // Keys are the field names; absent optionals write no key.
    QJsonObject toJson() const;
    bool operator==(const MediaInfo &) const = default;
};

} // namespace vantor
