#pragma once

#include "base/FieldList.h"
#include "base/JsonCodec.h"
#include "base/JsonText.h"

#include <QMap>
#include <QStringList>
#include <optional>
#include <vector>

namespace vantor {

// Writes a record's field list straight to pretty JSON text with sorted keys; an empty optional
// member is left out.
class FieldWriter {
public:
    explicit FieldWriter(JsonText::Object &object) : m_object(object) {}

    void string(const char *key, const QString &value) { m_object.string(key, value); }
    void integer(const char *key, qint64 value) { m_object.integer(key, value); }
    void number(const char *key, double value) { m_object.number(key, value); }
    void boolean(const char *key, bool value) { m_object.boolean(key, value); }
    void uuid(const char *key, const QUuid &id) { m_object.string(key, JsonCodec::uuid(id).toString()); }
    void fileUrl(const char *key, const QString &path) { m_object.string(key, JsonCodec::fileUrl(path).toString()); }
    void folderUrl(const char *key, const QString &path)
    {
        m_object.string(key, JsonCodec::fileUrl(path, true).toString());
    }
    void date(const char *key, Timestamp time) { m_object.number(key, time.secondsSince2001); }
    template <typename T> void enumeration(const char *key, const T &value) { m_object.string(key, value.rawValue()); }
    void base64(const char *key, const QByteArray &bytes) { m_object.string(key, QString::fromLatin1(bytes.toBase64())); }
    void strings(const char *key, const QStringList &values);
    void stringMap(const char *key, const QMap<QString, QString> &values);
    template <typename R> void record(const char *key, const R &value);
    template <typename R> void records(const char *key, const std::vector<R> &values);
    // Left out when empty, so files without any stay as older builds wrote and read them.
    template <typename R> void extraRecords(const char *key, const std::vector<R> &values)
    {
        if (!values.empty())
            records(key, values);
    }
    template <typename Check> void check(const Check &) {}

    void string(const char *key, const std::optional<QString> &value)
    {
        if (value)
            string(key, *value);
    }
    void fileUrl(const char *key, const std::optional<QString> &value)
    {
        if (value)
            fileUrl(key, *value);
    }
    void folderUrl(const char *key, const std::optional<QString> &value)
    {
        if (value)
            folderUrl(key, *value);
    }
    void boolean(const char *key, const std::optional<bool> &value)
    {
        if (value)
            boolean(key, *value);
    }
    void date(const char *key, const std::optional<Timestamp> &value)
    {
        if (value)
            date(key, *value);
    }
    void base64(const char *key, const std::optional<QByteArray> &value)
    {
        if (value)
            base64(key, *value);
    }
    template <typename T> void enumeration(const char *key, const std::optional<T> &value)
    {
        if (value)
            enumeration(key, *value);
    }
    template <typename R> void record(const char *key, const std::optional<R> &value)
    {
        if (value)
            record(key, *value);
    }

protected:
    JsonText::Object &m_object;
};

// Appends the record as an object nested at `depth`.
template <typename R> void appendFields(QByteArray &out, const R &record, int depth)
{
    JsonText::Object object(depth);
    FieldWriter writer(object);
    visitFields(record, writer);
    object.finish(out);
}

// Appends the records as an array nested at `depth`.
template <typename R> void appendRecords(QByteArray &out, const std::vector<R> &records, int depth)
{
    if (records.empty()) {
        out += "[]";
        return;
    }
    out += '[';
    for (std::size_t i = 0; i < records.size(); ++i) {
        out += i == 0 ? "\n" : ",\n";
        JsonText::appendIndent(out, depth + 1);
        appendFields(out, records[i], depth + 1);
    }
    out += '\n';
    JsonText::appendIndent(out, depth);
    out += ']';
}

// The record as a JSON object, for command output and comparisons.
template <typename R> QJsonObject fieldsToJson(const R &record)
{
    QByteArray text;
    appendFields(text, record, 0);
    return JsonCodec::parse(text).toObject();
}

template <typename R> void FieldWriter::record(const char *key, const R &value)
{
    m_object.text(key, [&](QByteArray &out, int depth) { appendFields(out, value, depth); });
}

template <typename R> void FieldWriter::records(const char *key, const std::vector<R> &values)
{
    m_object.text(key, [&](QByteArray &out, int depth) { appendRecords(out, values, depth); });
}

} // namespace vantor
