#pragma once

#include "presets/AudioMode.h"
#include "presets/Codec.h"
#include "presets/EncodingOptions.h"
#include "presets/FinishingOptions.h"

#include <QJsonObject>
#include <QUuid>
#include <optional>

namespace vantor {

// One output recipe. `finishing` starts absent and `encoding` present with defaults; both read
// the same through finish() and tuning() but serialise differently, and equality sees it.
struct TranscodePreset {
    QUuid id;
    QString name;
    Codec codec;
    QString container;
    qint64 maxWidth = 0;
    qint64 scalePercent = 100;
    qint64 quality = 20;
    qint64 bitrateMbps = 0;
    AudioMode audio;
    qint64 sampleRate = 48000;
    qint64 bitDepth = 24;
    qint64 channels = 0;
    QString suffix;
    bool preserveMetadata = true;
    std::optional<FinishingOptions> finishing;
    std::optional<EncodingOptions> encoding = EncodingOptions{};

    TranscodePreset() = default;
    TranscodePreset(const QUuid &id, const QString &name, Codec codec, const QString &container, qint64 maxWidth,
                    qint64 scalePercent, qint64 quality, qint64 bitrateMbps, AudioMode audio, qint64 sampleRate,
                    qint64 bitDepth, qint64 channels, const QString &suffix, bool preserveMetadata = true,
                    std::optional<FinishingOptions> finishing = std::nullopt,
                    std::optional<EncodingOptions> encoding = EncodingOptions{});

    FinishingOptions finish() const { return finishing.value_or(FinishingOptions{}); }
    void setFinish(const FinishingOptions &options) { finishing = options; }
    EncodingOptions tuning() const { return encoding.value_or(EncodingOptions{}); }
    void setTuning(const EncodingOptions &options) { encoding = options; }
    QString displayName() const;
    bool hasBurnIns() const { return finish().hasBurnIns(); }

    QJsonObject toJson() const;
    static TranscodePreset fromJson(const QJsonValue &value);
    bool operator==(const TranscodePreset &) const = default;
};

} // namespace vantor
