#pragma once

#include "base/FieldList.h"
#include "base/JsonCodec.h"

#include <QMap>
#include <QStringList>
#include <optional>
#include <vector>

namespace vantor {

// Reads a record's field list from a JSON object, strictly: a missing key, a wrong type or an
// unknown value throws DecodingError naming the record and the key.
class FieldReader {
public:
    explicit FieldReader(const JsonReader &reader) : m_reader(reader) {}

    void string(const char *key, QString &value) { value = m_reader.string(key); }
    void integer(const char *key, qint64 &value) { value = m_reader.integer(key); }
    void number(const char *key, double &value) { value = m_reader.number(key); }
    void boolean(const char *key, bool &value) { value = m_reader.boolean(key); }
    void uuid(const char *key, QUuid &value) { value = m_reader.uuid(key); }
    void fileUrl(const char *key, QString &value) { value = m_reader.fileUrl(key); }
    void folderUrl(const char *key, QString &value) { value = m_reader.fileUrl(key); }
    void date(const char *key, Timestamp &value) { value = m_reader.date(key); }
    template <typename T> void enumeration(const char *key, T &value) { value = m_reader.enumeration<T>(key); }
    void base64(const char *key, QByteArray &value);
    void strings(const char *key, QStringList &values);
    void stringMap(const char *key, QMap<QString, QString> &values);
    template <typename R> void record(const char *key, R &value);
    template <typename R> void records(const char *key, std::vector<R> &values);
    // An array of records that older files lack: absent reads as empty.
    template <typename R> void extraRecords(const char *key, std::vector<R> &values)
    {
        if (m_reader.has(key))
            records(key, values);
        else
            values.clear();
    }
    template <typename Check> void check(const Check &check) { check(); }

    // Any of the above for an optional member: left empty when the key is absent or null.
    void string(const char *key, std::optional<QString> &value) { optional(key, value, &FieldReader::string); }
    void fileUrl(const char *key, std::optional<QString> &value) { optional(key, value, &FieldReader::fileUrl); }
    void folderUrl(const char *key, std::optional<QString> &value) { fileUrl(key, value); }
    void date(const char *key, std::optional<Timestamp> &value) { optional(key, value, &FieldReader::date); }
    void boolean(const char *key, std::optional<bool> &value) { optional(key, value, &FieldReader::boolean); }
    void base64(const char *key, std::optional<QByteArray> &value) { optional(key, value, &FieldReader::base64); }
    template <typename T> void enumeration(const char *key, std::optional<T> &value)
    {
        optional(key, value, &FieldReader::enumeration<T>);
    }
    template <typename R> void record(const char *key, std::optional<R> &value)
    {
        optional(key, value, &FieldReader::record<R>);
    }

private:
    template <typename T> void optional(const char *key, std::optional<T> &value, void (FieldReader::*read)(const char *, T &))
    {
        if (!m_reader.has(key)) {
            value.reset();
            return;
        }
        T present{};
        (this->*read)(key, present);
        value = std::move(present);
    }

    const JsonReader &m_reader;
};

// The record a JSON value holds; throws DecodingError.
template <typename R> R readFields(const QJsonValue &value)
{
    const JsonReader reader(value, R::typeName);
    FieldReader visitor(reader);
    R record;
    visitFields(record, visitor);
    return record;
}

template <typename R> void FieldReader::record(const char *key, R &value)
{
    value = readFields<R>(m_reader.value(key));
}

template <typename R> void FieldReader::records(const char *key, std::vector<R> &values)
{
    const QJsonArray array = m_reader.array(key);
    values.clear();
    values.reserve(std::size_t(array.size()));
    for (const QJsonValue &element : array)
        values.push_back(readFields<R>(element));
}

} // namespace vantor
