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

    static constexpr char typeName[] = "TranscodePreset";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.uuid("id", self.id);
        v.string("name", self.name);
        v.enumeration("codec", self.codec);
        v.string("container", self.container);
        v.integer("maxWidth", self.maxWidth);
        v.integer("scalePercent", self.scalePercent);
        v.integer("quality", self.quality);
        v.integer("bitrateMbps", self.bitrateMbps);
        v.enumeration("audio", self.audio);
        v.integer("sampleRate", self.sampleRate);
        v.integer("bitDepth", self.bitDepth);
        v.integer("channels", self.channels);
        v.string("suffix", self.suffix);
        v.boolean("preserveMetadata", self.preserveMetadata);
        v.record("finishing", self.finishing);
        v.record("encoding", self.encoding);
    }
    QJsonObject toJson() const; // as written to the state file
    static TranscodePreset fromJson(const QJsonValue &value); // strict; throws DecodingError
    bool operator==(const TranscodePreset &) const = default;
};

} // namespace vantor
