#pragma once

#include <QDateTime>
#include <QString>

namespace vantor::OperationLog {

// "2025-03-01T14:05:09Z  message\n": UTC to the second, two spaces, the message.
QByteArray line(const QString &message, const QDateTime &time = QDateTime::currentDateTimeUtc());
// Appends one line to "operations.log" in the directory (made if missing). Throws the system's error.
void append(const QString &directory, const QByteArray &line);
QString path(const QString &directory);

} // namespace vantor::OperationLog
