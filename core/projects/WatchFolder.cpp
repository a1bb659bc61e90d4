#include "projects/WatchFolder.h"

#include "base/JsonCodec.h"

#include <charconv>

namespace vantor {

WatchFolder WatchFolder::make(
    const FileGrant &source, const FileGrant &destination, const TranscodePreset &preset)
{
    return WatchFolder { QUuid::createUuid(), source, destination, preset, false, {} };
}

QString WatchFolder::versionSignature(qint64 size, Timestamp modified)
{
    // Fixed notation without a precision is the shortest text that reads back exactly.
    char text[400];
    const auto result
        = std::to_chars(text, text + sizeof text, modified.unixSeconds(), std::chars_format::fixed);
    QString seconds = QString::fromLatin1(text, result.ptr - text);
    if (!seconds.contains(QLatin1Char('.')) && !seconds.contains(QLatin1String("inf"))
        && !seconds.contains(QLatin1String("nan")))
        seconds += QLatin1String(".0");
    return QString::number(size) + QLatin1Char(':') + seconds;
}

QJsonObject WatchFolder::toJson() const
{
    QJsonObject seenObject;
    for (auto entry = seen.constBegin(); entry != seen.constEnd(); ++entry)
        seenObject.insert(entry.key(), entry.value());
    return QJsonObject {
        { QStringLiteral("id"), JsonCodec::uuid(id) },
        { QStringLiteral("source"), source.toJson() },
        { QStringLiteral("destination"), destination.toJson() },
        { QStringLiteral("preset"), preset.toJson() },
        { QStringLiteral("enabled"), enabled },
        { QStringLiteral("seen"), seenObject },
    };
}

WatchFolder WatchFolder::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "WatchFolder");
    WatchFolder rule;
    rule.id = reader.uuid("id");
    rule.source = FileGrant::fromJson(reader.value("source"));
    rule.destination = FileGrant::fromJson(reader.value("destination"));
    rule.preset = TranscodePreset::fromJson(reader.value("preset"));
    rule.enabled = reader.boolean("enabled");
    const QJsonObject seenObject = reader.object("seen");
    for (auto entry = seenObject.constBegin(); entry != seenObject.constEnd(); ++entry) {
        if (!entry->isString())
            reader.fail("seen", QStringLiteral("expected text for ") + entry.key());
        rule.seen.insert(entry.key(), entry->toString());
    }
    return rule;
}

} // namespace vantor
