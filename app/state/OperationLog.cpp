#include "state/OperationLog.h"

#include "base/FileIo.h"

#include <QDir>

namespace vantor::OperationLog {

QByteArray line(const QString &message, const QDateTime &time)
{
    return (time.toUTC().toString(Qt::ISODate) + QStringLiteral("  ") + message + QLatin1Char('\n')).toUtf8();
}

QString path(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("operations.log"));
}

void append(const QString &directory, const QByteArray &line)
{
    if (!QDir().mkpath(directory))
        throw std::system_error(EACCES, std::generic_category());
    FileIo::UniqueFd log = FileIo::open(path(directory), O_WRONLY | O_APPEND | O_CREAT, 0644);
    FileIo::writeAll(log.get(), line.constData(), std::size_t(line.size()));
    FileIo::closeChecked(log);
}

} // namespace vantor::OperationLog
