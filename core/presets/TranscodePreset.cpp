#include "presets/TranscodePreset.h"

#include "base/JsonCodec.h"

#include <QStringList>

namespace vantor {

TranscodePreset::TranscodePreset(const QUuid &id, const QString &name, Codec codec, const QString &container,
                                 qint64 maxWidth, qint64 scalePercent, qint64 quality, qint64 bitrateMbps,
                                 AudioMode audio, qint64 sampleRate, qint64 bitDepth, qint64 channels,
                                 const QString &suffix, bool preserveMetadata,
                                 std::optional<FinishingOptions> finishing, std::optional<EncodingOptions> encoding)
    : id(id), name(name), codec(codec), container(container), maxWidth(maxWidth), scalePercent(scalePercent),
      quality(quality), bitrateMbps(bitrateMbps), audio(audio), sampleRate(sampleRate), bitDepth(bitDepth),
      channels(channels), suffix(suffix), preserveMetadata(preserveMetadata), finishing(std::move(finishing)),
      encoding(std::move(encoding))
{
}

QString TranscodePreset::displayName() const
{
    // Capitalise each word: its first letter upper case (digits before it do not count), the rest
    // lower case, before the brand spellings are restored.
    QString result;
    result.reserve(name.size());
    bool letterSeen = false;
    for (const QChar character : name) {
        if (character.isSpace()) {
            letterSeen = false;
            result += character;
        } else if (character.isLetter()) {
            result += letterSeen ? character.toLower() : character.toUpper();
            letterSeen = true;
        } else {
            result += character;
        }
    }
    result.replace(QStringLiteral("Youtube"), QStringLiteral("YouTube"));
    result.replace(QStringLiteral("Prores"), QStringLiteral("ProRes"));
    return result;
}

QJsonObject TranscodePreset::toJson() const
{
    QJsonObject object{
        {QStringLiteral("id"), JsonCodec::uuid(id)},
        {QStringLiteral("name"), name},
        {QStringLiteral("codec"), codec.rawValue()},
        {QStringLiteral("container"), container},
        {QStringLiteral("maxWidth"), maxWidth},
        {QStringLiteral("scalePercent"), scalePercent},
        {QStringLiteral("quality"), quality},
        {QStringLiteral("bitrateMbps"), bitrateMbps},
        {QStringLiteral("audio"), audio.rawValue()},
        {QStringLiteral("sampleRate"), sampleRate},
        {QStringLiteral("bitDepth"), bitDepth},
        {QStringLiteral("channels"), channels},
        {QStringLiteral("suffix"), suffix},
        {QStringLiteral("preserveMetadata"), preserveMetadata},
    };
    if (finishing)
        object.insert(QStringLiteral("finishing"), finishing->toJson());
    if (encoding)
        object.insert(QStringLiteral("encoding"), encoding->toJson());
    return object;
}

TranscodePreset TranscodePreset::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "TranscodePreset");
    TranscodePreset preset;
    preset.id = reader.uuid("id");
    preset.name = reader.string("name");
    preset.codec = reader.enumeration<Codec>("codec");
    preset.container = reader.string("container");
    preset.maxWidth = reader.integer("maxWidth");
    preset.scalePercent = reader.integer("scalePercent");
    preset.quality = reader.integer("quality");
    preset.bitrateMbps = reader.integer("bitrateMbps");
    preset.audio = reader.enumeration<AudioMode>("audio");
    preset.sampleRate = reader.integer("sampleRate");
    preset.bitDepth = reader.integer("bitDepth");
    preset.channels = reader.integer("channels");
    preset.suffix = reader.string("suffix");
    preset.preserveMetadata = reader.boolean("preserveMetadata");
    preset.finishing = reader.has("finishing")
                           ? std::optional(FinishingOptions::fromJson(reader.value("finishing")))
                           : std::nullopt;
    preset.encoding = reader.has("encoding") ? std::optional(EncodingOptions::fromJson(reader.value("encoding")))
                                             : std::nullopt;
    return preset;
}

} // namespace vantor
