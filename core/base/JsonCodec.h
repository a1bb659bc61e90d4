#pragma once

#include "base/Timestamp.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QUuid>
#include <optional>

namespace vantor {

// The JSON forms shared by every persisted record: file URLs, dates, UUIDs, and the strict
// reading rules (a missing key, a wrong type or an unknown value refuses the whole document).
namespace JsonCodec {

QJsonValue fileUrl(const QString &path, bool folder = false); // "file:///media/My%20Clip.mov"
QJsonValue date(Timestamp time);                            // seconds since 2001 as a double
QJsonValue uuid(const QUuid &id);                           // canonical, upper case

QString decodeFileUrl(const QJsonValue &value, const QString &context);
Timestamp decodeDate(const QJsonValue &value, const QString &context);
QUuid decodeUuid(const QJsonValue &value, const QString &context);

QByteArray pretty(const QJsonValue &value); // indented; QJsonObject keeps keys sorted
QJsonValue parse(const QByteArray &data);   // throws DecodingError with the parser's message

} // namespace JsonCodec

// Strict reader over one JSON object; every failure names the record and the key.
class JsonReader {
public:
    JsonReader(const QJsonValue &value, const char *typeName);

    bool has(const char *key) const; // present and not null
    QJsonValue value(const char *key) const;
    QString string(const char *key) const;
    bool boolean(const char *key) const;
    qint64 integer(const char *key) const;
    double number(const char *key) const;
    QJsonObject object(const char *key) const;
    QJsonArray array(const char *key) const;
    QString fileUrl(const char *key) const;
    Timestamp date(const char *key) const;
    QUuid uuid(const char *key) const;

    std::optional<QString> optionalString(const char *key) const;
    std::optional<QString> optionalFileUrl(const char *key) const;

    // Decodes an enumeration from its raw string through T::fromRawValue.
    template <typename T> T enumeration(const char *key) const
    {
        const QString raw = string(key);
        if (auto decoded = T::fromRawValue(raw))
            return *decoded;
        fail(key, QStringLiteral("unknown value \"%1\"").arg(raw));
    }

    [[noreturn]] void fail(const char *key, const QString &problem) const;
    QString context(const char *key) const;

private:
    QJsonObject m_object;
    const char *m_typeName;
};

} // namespace vantor
