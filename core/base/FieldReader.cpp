#include "base/FieldReader.h"

namespace vantor {

void FieldReader::base64(const char *key, QByteArray &value)
{
    const auto decoded = QByteArray::fromBase64Encoding(
        m_reader.string(key).toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        m_reader.fail(key, QStringLiteral("not base64 data"));
    value = *decoded;
}

void FieldReader::strings(const char *key, QStringList &values)
{
    values.clear();
    for (const QJsonValue &element : m_reader.array(key)) {
        if (!element.isString())
            m_reader.fail(key, QStringLiteral("expected an array of strings"));
        values << element.toString();
    }
}

void FieldReader::stringMap(const char *key, QMap<QString, QString> &values)
{
    values.clear();
    const QJsonObject object = m_reader.object(key);
    for (auto entry = object.constBegin(); entry != object.constEnd(); ++entry) {
        if (!entry->isString())
            m_reader.fail(key, QStringLiteral("expected text for ") + entry.key());
        values.insert(entry.key(), entry->toString());
    }
}

} // namespace vantor
