#include "base/JsonCodec.h"

#include "base/VantorError.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QUrl>
#include <cmath>
#include <optional>

namespace vantor {

namespace JsonCodec {

QJsonValue fileUrl(const QString &path, bool folder)
{
    QString full = path;
    if (folder && !full.endsWith(QLatin1Char('/')))
        full += QLatin1Char('/');
    return QString::fromLatin1(QUrl::fromLocalFile(full).toEncoded());
}

QJsonValue date(Timestamp time)
{
    return time.secondsSince2001;
}

QJsonValue uuid(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

namespace {

bool hexDigit(char16_t c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F');
}

int hexValue(char16_t c)
{
    return c <= u'9' ? c - u'0' : c - u'A' + 10;
}

// The path of the file URLs this program writes in their common form, decoded without QUrl
// (most of a job's load time went to parsing its URLs): "file:///" then unreserved ASCII
// characters, slashes and upper-case escapes of other ASCII bytes (not "/", "%" or a control
// character). No empty, "." or ".." segment. Anything else is left to QUrl; the results are
// the same.
std::optional<QString> plainFileUrl(const QString &text)
{
    static const QLatin1String scheme("file:///");
    if (!text.startsWith(scheme))
        return std::nullopt;
    const char16_t *at = reinterpret_cast<const char16_t *>(text.constData()) + scheme.size() - 1;
    const char16_t *end = reinterpret_cast<const char16_t *>(text.constData()) + text.size();
    QString path(end - at, Qt::Uninitialized);
    char16_t *out = reinterpret_cast<char16_t *>(path.data());
    char16_t *const first = out;
    const char16_t *segment = out;
    const auto segmentOk = [&] {
        const qsizetype length = out - segment;
        return length > 0 && !(length == 1 && segment[0] == u'.')
               && !(length == 2 && segment[0] == u'.' && segment[1] == u'.');
    };
    const auto unreserved = [](char16_t c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'-' || c == u'.'
               || c == u'_' || c == u'~';
    };
    for (; at < end; ++at) {
        const char16_t c = *at;
        if (c == u'/') {
            if (out != first && !segmentOk())
                return std::nullopt;
            *out++ = u'/';
            segment = out;
        } else if (unreserved(c)) {
            *out++ = c;
        } else if (c == u'%' && end - at >= 3 && hexDigit(at[1]) && hexDigit(at[2])) {
            const auto byte = char16_t(hexValue(at[1]) * 16 + hexValue(at[2]));
            if (byte < 0x20 || byte >= 0x7f || byte == u'/' || byte == u'%' || unreserved(byte))
                return std::nullopt;
            *out++ = byte;
            at += 2;
        } else {
            return std::nullopt;
        }
    }
    // A folder's URL ends in "/": its last segment is empty, and the root is "/" alone.
    if (out - first > 1 && out[-1] != u'/' && !segmentOk())
        return std::nullopt;
    while (out - first > 1 && out[-1] == u'/')
        --out;
    path.truncate(out - first);
    return path;
}

} // namespace

QString decodeFileUrl(const QJsonValue &value, const QString &context)
{
    if (!value.isString())
        throw DecodingError(context + QStringLiteral(": expected a file URL string"));
    if (std::optional<QString> path = plainFileUrl(value.toString()))
        return std::move(*path);
    const QUrl url = QUrl(value.toString(), QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile() || !url.path().startsWith(QLatin1Char('/')))
        throw DecodingError(context + QStringLiteral(": not an absolute file URL: ") + value.toString());
    QString path = url.toLocalFile();
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

Timestamp decodeDate(const QJsonValue &value, const QString &context)
{
    if (!value.isDouble())
        throw DecodingError(context + QStringLiteral(": expected a date (seconds since 2001)"));
    return {value.toDouble()};
}

QUuid decodeUuid(const QJsonValue &value, const QString &context)
{
    const QUuid id = value.isString() ? QUuid::fromString(value.toString()) : QUuid();
    if (id.isNull() || value.toString().size() != 36)
        throw DecodingError(context + QStringLiteral(": expected a UUID"));
    return id;
}

QByteArray pretty(const QJsonValue &value)
{
    if (value.isArray())
        return QJsonDocument(value.toArray()).toJson(QJsonDocument::Indented);
    return QJsonDocument(value.toObject()).toJson(QJsonDocument::Indented);
}

QJsonValue parse(const QByteArray &data)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodingError(QStringLiteral("The data is not valid JSON: %1 at offset %2.")
                                .arg(error.errorString())
                                .arg(error.offset));
    if (document.isArray())
        return document.array();
    return document.object();
}

} // namespace JsonCodec

JsonReader::JsonReader(const QJsonValue &value, const char *typeName) : m_typeName(typeName)
{
    if (!value.isObject())
        throw DecodingError(QStringLiteral("%1: expected an object").arg(QLatin1String(typeName)));
    m_object = value.toObject();
}

QString JsonReader::context(const char *key) const
{
    return QStringLiteral("%1.%2").arg(QLatin1String(m_typeName), QLatin1String(key));
}

void JsonReader::fail(const char *key, const QString &problem) const
{
    throw DecodingError(context(key) + QStringLiteral(": ") + problem);
}

bool JsonReader::has(const char *key) const
{
    const auto found = m_object.constFind(QLatin1String(key));
    return found != m_object.constEnd() && !found->isNull();
}

QJsonValue JsonReader::value(const char *key) const
{
    const auto found = m_object.constFind(QLatin1String(key));
    if (found == m_object.constEnd())
        fail(key, QStringLiteral("missing required key"));
    return *found;
}

QString JsonReader::string(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isString())
        fail(key, QStringLiteral("expected a string"));
    return found.toString();
}

bool JsonReader::boolean(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isBool())
        fail(key, QStringLiteral("expected a boolean"));
    return found.toBool();
}

qint64 JsonReader::integer(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isDouble())
        fail(key, QStringLiteral("expected an integer"));
    // Qt keeps integers exact; a number with a fraction is not an integer. The common case,
    // a whole number a double holds exactly, is read without a QVariant.
    const qint64 whole = found.toInteger();
    if (std::abs(whole) <= 9007199254740992 && double(whole) == found.toDouble())
        return whole;
    const QVariant variant = found.toVariant();
    if (variant.typeId() == QMetaType::LongLong)
        return variant.toLongLong();
    const double number = found.toDouble();
    if (std::trunc(number) != number || std::abs(number) > 9.007199254740992e15)
        fail(key, QStringLiteral("expected an integer"));
    return qint64(number);
}

double JsonReader::number(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isDouble())
        fail(key, QStringLiteral("expected a number"));
    return found.toDouble();
}

QJsonObject JsonReader::object(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isObject())
        fail(key, QStringLiteral("expected an object"));
    return found.toObject();
}

QJsonArray JsonReader::array(const char *key) const
{
    const QJsonValue found = value(key);
    if (!found.isArray())
        fail(key, QStringLiteral("expected an array"));
    return found.toArray();
}

QString JsonReader::fileUrl(const char *key) const
{
    return JsonCodec::decodeFileUrl(value(key), context(key));
}

Timestamp JsonReader::date(const char *key) const
{
    return JsonCodec::decodeDate(value(key), context(key));
}

QUuid JsonReader::uuid(const char *key) const
{
    return JsonCodec::decodeUuid(value(key), context(key));
}

std::optional<QString> JsonReader::optionalString(const char *key) const
{
    if (!has(key))
        return std::nullopt;
    return string(key);
}

std::optional<QString> JsonReader::optionalFileUrl(const char *key) const
{
    if (!has(key))
        return std::nullopt;
    return fileUrl(key);
}

} // namespace vantor
