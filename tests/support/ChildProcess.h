#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace vantor::test {

struct ProcessResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QString outText() const { return QString::fromUtf8(out); }
    QString errText() const { return QString::fromUtf8(err); }
};

// Runs a program to its end with stdin closed and both streams captured.
ProcessResult runProgram(const QString &program, const QStringList &arguments,
                         const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                         int timeoutMs = 300000);

// Runs the built vantor executable.
ProcessResult runVantor(const QStringList &arguments,
                        const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment());
QString vantorPath();

} // namespace vantor::test
