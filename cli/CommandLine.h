#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <functional>
#include <stdexcept>

namespace vantor::cli {

// Exit codes shared by every command.
enum ExitCode { exitSuccess = 0, exitFailure = 1, exitUsage = 2, exitInterrupted = 130 };

// A malformed command line: reported with a hint to --help, exit 2.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const QString &message) : std::runtime_error(message.toStdString()) {}
};

// GNU-style parsing for one subcommand, with --help on each.
class CommandParser {
public:
    CommandParser(const QString &command, const QString &description);
    void addPositional(const QString &name, const QString &description, const QString &syntax);
    void addOption(const QCommandLineOption &option);
    void addFlag(const QStringList &names, const QString &description);
    void addValue(const QStringList &names, const QString &description, const QString &valueName);
    // Returns false when --help was printed (the command then exits 0); throws UsageError.
    bool parse(const QStringList &arguments);

    bool isSet(const QString &name) const { return m_parser.isSet(name); }
    QString value(const QString &name) const { return m_parser.value(name); }
    QStringList values(const QString &name) const { return m_parser.values(name); }
    QStringList positional() const { return m_parser.positionalArguments(); }
    QString command() const { return m_command; }

    // Typed option values; a malformed one is a UsageError naming the option.
    qint64 integerValue(const QString &name) const;
    double numberValue(const QString &name) const;

private:
    QString m_command;
    QCommandLineParser m_parser;
};

void printLine(const QString &text);      // stdout
void printError(const QString &message);  // stderr, as "vantor: " + message
bool stderrIsTerminal();

// Runs a command body and turns what it throws into the shared exit codes and messages.
int runGuarded(const QString &command, const std::function<int()> &body);

} // namespace vantor::cli
