#include "ChildProcess.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace vantor::test {

ProcessResult runProgram(const QString &program, const QStringList &arguments,
                         const QProcessEnvironment &environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    ProcessResult result;
    if (!process.waitForStarted()) {
        ADD_FAILURE() << "could not start " << program.toStdString();
        return result;
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        ADD_FAILURE() << program.toStdString() << " did not finish in time";
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QString vantorPath()
{
    return QStringLiteral(VANTOR_CLI_PATH);
}

ProcessResult runVantor(const QStringList &arguments, const QProcessEnvironment &environment)
{
    return runProgram(vantorPath(), arguments, environment);
}

} // namespace vantor::test
