#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <vector>

namespace vantor {

// Pretty JSON text with two-space indentation and the keys of every object sorted, written
// straight into a byte array. The state is rewritten whole on every save, and building Qt's
// JSON objects first costs several times more than writing the text itself.
namespace JsonText {

void appendString(QByteArray &out, const QString &text);
// Whole numbers as integers, others as the shortest text that reads back to the same double;
// non-finite numbers have no JSON form and are written as null.
void appendNumber(QByteArray &out, double number);
void appendIndent(QByteArray &out, int depth);
// Any JSON value, nested at `depth`.
void appendValue(QByteArray &out, const QJsonValue &value, int depth);

// One object written member by member in any order; finish() writes it with its keys sorted.
// Keys are string literals.
class Object {
public:
    explicit Object(int depth)
        : m_depth(depth)
    {
    }

    void string(const char *key, const QString &text);
    void integer(const char *key, qint64 number);
    void number(const char *key, double number);
    void boolean(const char *key, bool flag);
    void value(const char *key, const QJsonValue &value);
    // A nested object filled by `fill(Object &)`.
    template <typename Fill> void object(const char *key, const Fill &fill)
    {
        Object child(m_depth + 1);
        fill(child);
        begin(key);
        child.finish(m_scratch);
        end();
    }
    // A member whose value text `fill(QByteArray &out, int depth)` appends, nested at `depth`.
    template <typename Fill> void text(const char *key, const Fill &fill)
    {
        begin(key);
        fill(m_scratch, m_depth + 1);
        end();
    }

    void finish(QByteArray &out) const;

private:
    struct Member {
        const char *key;
        qsizetype begin;
        qsizetype end;
    };
    void begin(const char *key);
    void end() { m_members.back().end = m_scratch.size(); }

    int m_depth;
    QByteArray m_scratch; // every member's value text, one after the other
    std::vector<Member> m_members;
};

} // namespace JsonText

} // namespace vantor
