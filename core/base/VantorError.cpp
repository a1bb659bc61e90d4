#include "base/VantorError.h"

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
    return QString::fromLocal8Bit(error.what());
}

} // namespace vantor
