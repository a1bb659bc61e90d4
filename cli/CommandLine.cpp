#include "CommandLine.h"

#include "base/VantorError.h"

#include <QRegularExpression>
#include <QTextStream>
#include <cstdio>
#include <unistd.h>

namespace vantor::cli {

CommandParser::CommandParser(const QString &command, const QString &description) : m_command(command)
{
    m_parser.setApplicationDescription(description);
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
    m_parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    m_parser.addOption(QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")},
                                          QStringLiteral("Show this help and exit.")));
}

void CommandParser::addPositional(const QString &name, const QString &description, const QString &syntax)
{
    m_parser.addPositionalArgument(name, description, syntax);
}

void CommandParser::addOption(const QCommandLineOption &option)
{
    m_parser.addOption(option);
}

void CommandParser::addFlag(const QStringList &names, const QString &description)
{
    m_parser.addOption(QCommandLineOption(names, description));
}

void CommandParser::addValue(const QStringList &names, const QString &description, const QString &valueName)
{
    m_parser.addOption(QCommandLineOption(names, description, valueName));
}

bool CommandParser::parse(const QStringList &arguments)
{
    QStringList withProgram = arguments;
    withProgram.prepend(QStringLiteral("vantor"));
    if (!m_parser.parse(withProgram))
        throw UsageError(m_parser.errorText());
    if (m_parser.isSet(QStringLiteral("help"))) {
        QString help = m_parser.helpText();
        // The parser names only the program; the usage line should name the command too.
        help.replace(QRegularExpression(QStringLiteral("^Usage: \\S+")), QStringLiteral("Usage: vantor ") + m_command);
        QTextStream(stdout) << help;
        return false;
    }
    return true;
}

qint64 CommandParser::integerValue(const QString &name) const
{
    bool ok = false;
    const qint64 number = m_parser.value(name).toLongLong(&ok);
    if (!ok)
        throw UsageError(QStringLiteral("--%1 takes a whole number, not \"%2\".").arg(name, m_parser.value(name)));
    return number;
}

double CommandParser::numberValue(const QString &name) const
{
    bool ok = false;
    const double number = m_parser.value(name).toDouble(&ok);
    if (!ok)
        throw UsageError(QStringLiteral("--%1 takes a number, not \"%2\".").arg(name, m_parser.value(name)));
    return number;
}

void printLine(const QString &text)
{
    QTextStream out(stdout);
    out << text << '\n';
}

void printError(const QString &message)
{
    std::fflush(stdout);
    QTextStream err(stderr);
    err << "vantor: " << message << '\n';
}

bool stderrIsTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

int runGuarded(const QString &command, const std::function<int()> &body)
{
    try {
        return body();
    } catch (const UsageError &error) {
        printError(QString::fromStdString(error.what()));
        QTextStream(stderr) << "Try 'vantor " << command << " --help' for more information.\n";
        return exitUsage;
    } catch (const CancellationError &) {
        printError(QStringLiteral("Cancelled. Nothing was published."));
        return exitInterrupted;
    } catch (const std::exception &error) {
        printError(errorText(error));
        return exitFailure;
    }
}

} // namespace vantor::cli
