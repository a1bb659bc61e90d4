#pragma once

#include <QString>
#include <stdexcept>

namespace vantor {

// A refusal or failure the user reads: the message is shown verbatim, nothing is added to it.
class VantorError : public std::runtime_error {
public:
    explicit VantorError(const QString &message);
    QString message() const { return m_message; }

private:
    QString m_message;
};

// Raised when a job's control is cancelled. Deliberately not a VantorError, so callers tell a
// cancel from a failure by type, never by message text.
class CancellationError : public std::exception {
public:
    const char *what() const noexcept override { return "Cancelled"; }
};

// A persisted record that could not be decoded; the whole document is refused.
class DecodingError : public std::runtime_error {
public:
    explicit DecodingError(const QString &message);
    QString message() const { return QString::fromStdString(what()); }
};

// The system's text for an error number ("No space left on device"), as std::system_error
// carries it, without any prefix.
[[noreturn]] void throwSystemError(int errorNumber);
// The same, naming the path it is about: "PATH: No such file or directory".
[[noreturn]] void throwSystemError(int errorNumber, const QString &path);

// The text of any exception the user should read, whatever its type.
QString errorText(const std::exception &error);

} // namespace vantor
