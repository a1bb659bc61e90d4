#pragma once
// The fixture of every command test: the real binary on a private support folder, home, user
// defaults and temporary folder, so whatever a command writes or leaves behind shows.
#include "ChildProcess.h"
#include "TempDir.h"
#include "state/StateStore.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStorageInfo>
#include <QThread>
#include <csignal>
#include <functional>
#include <memory>
#include <gtest/gtest.h>

namespace vantor::test {

class CliTest : public testing::Test {
public:
    TempDir dir;
    QString support = dir.file("support"), home = dir.makeDir("home"), temporary = dir.makeDir("tmp");
    QProcessEnvironment environment = [this] {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"VANTOR_ENGINE", "XDG_DATA_HOME"})
            variables.remove(name);
        variables.insert("HOME", home);
        variables.insert("XDG_CONFIG_HOME", dir.file("home/.config"));
        variables.insert("TMPDIR", temporary);
        variables.insert("VANTOR_SUPPORT_DIR", support);
        return variables;
    }();

    ProcessResult vantor(const QStringList &arguments) const { return runVantor(arguments, environment); }
    // Starts vantor and waits until `started` holds or it has ended.
    std::unique_ptr<QProcess> launch(const QStringList &arguments, const std::function<bool()> &started) const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment);
        process->start(vantorPath(), arguments);
        for (int i = 0; i < 6000 && !started() && process->state() != QProcess::NotRunning; ++i)
            QThread::msleep(10);
        return process;
    }
    // Runs vantor until `started` holds, sends SIGINT as Ctrl-C would, and waits for its end.
    ProcessResult interrupted(const QStringList &arguments, const std::function<bool()> &started) const
    {
        const std::unique_ptr<QProcess> process = launch(arguments, started);
        ::kill(pid_t(process->processId()), SIGINT);
        process->waitForFinished(60000);
        return {process->exitCode(), process->readAllStandardOutput(), process->readAllStandardError()};
    }
    // A sparse file of up to `size` bytes: it reads fast, but far too long to finish while a test
    // runs. At most half the free space, so the copy's free-space check passes.
    QString hugeFile(const QString &name, qint64 size) const
    {
        QFile sparse(dir.file(name));
        EXPECT_TRUE(sparse.open(QIODevice::WriteOnly)
            && sparse.resize(std::min(size, QStorageInfo(dir.path()).bytesAvailable() / 2)));
        return sparse.fileName();
    }
    AppState stored() const { return StateStore::load(support); }
    bool temporaryIsEmpty() const { return QDir(temporary).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    QString script(const QString &name, const QByteArray &body) const
    {
        const QString path = dir.write(name, "#!/bin/bash\n" + body);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    // The given ffmpeg script as the engine, the real ffprobe beside it.
    void useEngine(const QByteArray &body)
    {
        environment.insert("VANTOR_ENGINE", script("engine/ffmpeg", body));
        QFile::link("/usr/bin/ffprobe", dir.file("engine/ffprobe"));
    }
};

} // namespace vantor::test
