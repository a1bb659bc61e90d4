#include "base/FieldWriter.h"

namespace vantor {

void FieldWriter::strings(const char *key, const QStringList &values)
{
    m_object.text(key, [&](QByteArray &out, int depth) {
        if (values.isEmpty()) {
            out += "[]";
            return;
        }
        out += '[';
        for (qsizetype i = 0; i < values.size(); ++i) {
            out += i == 0 ? "\n" : ",\n";
            JsonText::appendIndent(out, depth + 1);
            JsonText::appendString(out, values[i]);
        }
        out += '\n';
        JsonText::appendIndent(out, depth);
        out += ']';
    });
}

void FieldWriter::stringMap(const char *key, const QMap<QString, QString> &values)
{
    // QMap's order is QString's, the order a JSON object's keys are written in.
    m_object.text(key, [&](QByteArray &out, int depth) {
        if (values.isEmpty()) {
            out += "{}";
            return;
        }
        out += '{';
        bool first = true;
        for (auto entry = values.constBegin(); entry != values.constEnd(); ++entry) {
            out += first ? "\n" : ",\n";
            first = false;
            JsonText::appendIndent(out, depth + 1);
            JsonText::appendString(out, entry.key());
            out += ": ";
            JsonText::appendString(out, entry.value());
        }
        out += '\n';
        JsonText::appendIndent(out, depth);
        out += '}';
    });
}

} // namespace vantor
