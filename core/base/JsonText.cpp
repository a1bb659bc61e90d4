#include "base/JsonText.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace vantor::JsonText {

void appendString(QByteArray &out, const QString &text)
{
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    const char *run = utf8.constData();
    const char *end = run + utf8.size();
    for (const char *at = run; at != end; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (byte >= 0x20 && byte != '"' && byte != '\\')
            continue;
        out.append(run, at - run);
        run = at + 1;
        switch (byte) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        default: {
            static const char hex[] = "0123456789abcdef";
            const char escaped[] = { '\\', 'u', '0', '0', hex[byte >> 4], hex[byte & 15] };
            out.append(escaped, sizeof escaped);
        }
        }
    }
    out.append(run, end - run);
    out += '"';
}

void appendNumber(QByteArray &out, double number)
{
    char text[64];
    std::to_chars_result result;
    if (!std::isfinite(number)) {
        out += "null";
        return;
    }
    if (std::trunc(number) == number && std::abs(number) < 9.2e18)
        result = std::to_chars(text, text + sizeof text, qint64(number));
    else
        result = std::to_chars(text, text + sizeof text, number);
    out.append(text, result.ptr - text);
}

void appendIndent(QByteArray &out, int depth)
{
    out.append(qsizetype(depth) * 2, ' ');
}

void appendValue(QByteArray &out, const QJsonValue &value, int depth)
{
    switch (value.type()) {
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        out += "null";
        return;
    case QJsonValue::Bool:
        out += value.toBool() ? "true" : "false";
        return;
    case QJsonValue::Double: {
        // An integer read from a file stays exact even beyond 2^53.
        constexpr qint64 none = std::numeric_limits<qint64>::min();
        const qint64 integer = value.toInteger(none);
        if (integer != none) {
            char text[32];
            const auto result = std::to_chars(text, text + sizeof text, integer);
            out.append(text, result.ptr - text);
        } else {
            appendNumber(out, value.toDouble());
        }
        return;
    }
    case QJsonValue::String:
        appendString(out, value.toString());
        return;
    case QJsonValue::Array: {
        const QJsonArray array = value.toArray();
        if (array.isEmpty()) {
            out += "[]";
            return;
        }
        out += '[';
        bool first = true;
        for (const QJsonValue &element : array) {
            out += first ? "\n" : ",\n";
            first = false;
            appendIndent(out, depth + 1);
            appendValue(out, element, depth + 1);
        }
        out += '\n';
        appendIndent(out, depth);
        out += ']';
        return;
    }
    case QJsonValue::Object: {
        // QJsonObject keeps its keys sorted.
        const QJsonObject object = value.toObject();
        if (object.isEmpty()) {
            out += "{}";
            return;
        }
        out += '{';
        bool first = true;
        for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
            out += first ? "\n" : ",\n";
            first = false;
            appendIndent(out, depth + 1);
            appendString(out, member.key());
            out += ": ";
            appendValue(out, member.value(), depth + 1);
        }
        out += '\n';
        appendIndent(out, depth);
        out += '}';
        return;
    }
    }
}

void Object::begin(const char *key)
{
    m_members.push_back({ key, m_scratch.size(), m_scratch.size() });
}

void Object::string(const char *key, const QString &text)
{
    begin(key);
    appendString(m_scratch, text);
    end();
}

void Object::integer(const char *key, qint64 number)
{
    begin(key);
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, number);
    m_scratch.append(text, result.ptr - text);
    end();
}

void Object::number(const char *key, double number)
{
    begin(key);
    appendNumber(m_scratch, number);
    end();
}

void Object::boolean(const char *key, bool flag)
{
    begin(key);
    m_scratch += flag ? "true" : "false";
    end();
}

void Object::value(const char *key, const QJsonValue &value)
{
    begin(key);
    appendValue(m_scratch, value, m_depth + 1);
    end();
}

void Object::finish(QByteArray &out) const
{
    if (m_members.empty()) {
        out += "{}";
        return;
    }
    std::vector<const Member *> sorted;
    sorted.reserve(m_members.size());
    for (const Member &member : m_members)
        sorted.push_back(&member);
    std::sort(sorted.begin(), sorted.end(),
        [](const Member *a, const Member *b) { return std::strcmp(a->key, b->key) < 0; });
    out += '{';
    bool first = true;
    for (const Member *member : sorted) {
        out += first ? "\n" : ",\n";
        first = false;
        appendIndent(out, m_depth + 1);
        out += '"';
        out += member->key;
        out += "\": ";
        out.append(m_scratch.constData() + member->begin, member->end - member->begin);
    }
    out += '\n';
    appendIndent(out, m_depth);
    out += '}';
}

} // namespace vantor::JsonText
