#include "base/VantorError.h"

#include <new>
#include <system_error>

namespace vantor {

VantorError::VantorError(const QString &message)
    : std::runtime_error(message.toStdString()), m_message(message)
{
}

DecodingError::DecodingError(const QString &message) : std::runtime_error(message.toStdString()) {}

void throwSystemError(int errorNumber)
{
    throw std::system_error(errorNumber, std::generic_category());
}

void throwSystemError(int errorNumber, const QString &path)
{
    throw std::system_error(errorNumber, std::generic_category(), path.toStdString());
}

QString errorText(const std::exception &error)
{
    if (const auto *vantorError = dynamic_cast<const VantorError *>(&error))
        return vantorError->message();
    // The system's own text and a refused document's reason are whole sentences already.
    if (dynamic_cast<const std::system_error *>(&error) || dynamic_cast<const DecodingError *>(&error)
        || dynamic_cast<const CancellationError *>(&error))
        return QString::fromLocal8Bit(error.what());
    if (dynamic_cast<const std::bad_alloc *>(&error))
        return QStringLiteral("There is not enough memory to finish this.");
    // A library's or a fault's wording is no message: say what happened, keep its text for a report.
    return QStringLiteral("An unexpected internal error stopped this (%1).").arg(QString::fromLocal8Bit(error.what()));
}

} // namespace vantor
