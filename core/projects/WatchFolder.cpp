#include "projects/WatchFolder.h"

#include "base/FieldWriter.h"

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
    return fieldsToJson(*this);
}

} // namespace vantor
