#include "presets/TranscodePreset.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"

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
    return fieldsToJson(*this);
}

TranscodePreset TranscodePreset::fromJson(const QJsonValue &value)
{
    return readFields<TranscodePreset>(value);
}

} // namespace vantor
