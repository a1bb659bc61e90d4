#pragma once

#include <QString>
#include <QStringList>
#include <ostream>

// Readable GoogleTest failure output for Qt's strings (found by argument-dependent lookup).
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList &list, std::ostream *out)
{
    *out << '[';
    for (qsizetype i = 0; i < list.size(); ++i)
        *out << (i ? ", \"" : "\"") << list[i].toStdString() << '"';
    *out << ']';
}
