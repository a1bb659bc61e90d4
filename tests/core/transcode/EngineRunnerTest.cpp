// The engine runner against real child processes: small shell scripts stand in for the engine
// where its behaviour has to be scripted.
#include "TempDir.h"
#include "model/JobControl.h"
#include "model/VantorError.h"
#include "transcode/TranscodeService.h"

#include <QFile>
#include <QThread>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <pthread.h>
#include <system_error>
#include <thread>

namespace vantor {
namespace {

using test::TempDir;

QString script(const TempDir &dir, const QString &name, const QByteArray &body)
{
    const QString path = dir.write(name, "#!/bin/sh\n" + body);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

QStringList runCollecting(const QString &program, QString *output = nullptr)
{
    JobControl control;
    QStringList lines;
    const QString text
        = TranscodeService::run(program, {}, control, [&](const QString &line) { lines << line; });
    if (output)
        *output = text;
    return lines;
}

// The state letter and user CPU ticks from /proc/PID/stat.
std::pair<char, long long> processState(pid_t pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return { '?', -1 };
    const QByteArray stat = file.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    const QByteArray state = fields.value(0);
    return { state.isEmpty() ? '?' : state[0], fields.value(11).toLongLong() };
}

template <typename Predicate> bool waitUntil(Predicate predicate)
{
    for (int i = 0; i < 2000; ++i) {
        if (predicate())
            return true;
        QThread::msleep(10);
    }
    return predicate();
}

class EnvironmentVariable {
public:
    EnvironmentVariable(const char *name, const QString &value)
        : m_name(name)
    {
        qputenv(name, value.toUtf8());
    }
    ~EnvironmentVariable() { qunsetenv(m_name); }

private:
    const char *m_name;
};

TEST(EngineRunner, ReturnsWholeMergedOutputAndHandsOverOnlyCompleteLines)
{
    TempDir dir;
    QString output;
    const QStringList lines
        = runCollecting(script(dir, QStringLiteral("engine"),
                            "echo 'warning: odd header' >&2\nprintf 'frame=1\\nné\\nlast without feed'\n"),
            &output);
    EXPECT_EQ(lines,
        (QStringList {
            QStringLiteral("warning: odd header"), QStringLiteral("frame=1"), QStringLiteral("né") }));
    EXPECT_EQ(output, QStringLiteral("warning: odd header\nframe=1\nné\nlast without feed"));
}

TEST(EngineRunner, GivesTheEngineTheNullDeviceAsInput)
{
    TempDir dir;
    QString output;
    runCollecting(
        script(dir, QStringLiteral("engine"), "if read line; then echo \"read $line\"; else echo eof; fi\n"),
        &output);
    EXPECT_EQ(output, QStringLiteral("eof\n"));
}

TEST(EngineRunner, FailureCarriesStatusAndExactlyTheLast3500Characters)
{
    TempDir dir;
    QString noise;
    for (int i = 0; noise.size() < 10000; ++i)
        noise += QStringLiteral("line %1 é\n").arg(i);
    noise.truncate(10000);
    dir.write(QStringLiteral("noise.txt"), noise.toUtf8());
    const QString engine
        = script(dir, QStringLiteral("engine"), "cat \"$(dirname \"$0\")/noise.txt\"\nexit 1\n");
    try {
        runCollecting(engine);
        FAIL() << "a failing engine was accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Media engine failed (1).\n") + noise.right(3500));
    }
}

TEST(EngineRunner, ShortFailureOutputIsKeptWhole)
{
    TempDir dir;
    try {
        runCollecting(script(dir, QStringLiteral("engine"), "echo 'Unknown encoder' >&2\nexit 8\n"));
        FAIL() << "a failing engine was accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Media engine failed (8).\nUnknown encoder\n"));
    }
}

TEST(EngineRunner, LaunchFailureIsTheSystemsError)
{
    TempDir dir;
    EXPECT_THROW(runCollecting(dir.file(QStringLiteral("absent"))), std::system_error);
}

TEST(EngineRunner, CancelBeforeLaunchStartsNothing)
{
    TempDir dir;
    const QString engine = script(dir, QStringLiteral("engine"), "touch \"$(dirname \"$0\")/started\"\n");
    JobControl control;
    control.cancel();
    EXPECT_THROW(TranscodeService::run(engine, {}, control, [](const QString &) {}), CancellationError);
    EXPECT_FALSE(QFile::exists(dir.file(QStringLiteral("started"))));
}

TEST(EngineRunner, ALineHandlerThatThrowsStopsTheEngine)
{
    TempDir dir;
    const QString engine = script(dir, QStringLiteral("engine"), "echo $$\nwhile :; do echo busy; done\n");
    JobControl control;
    pid_t pid = 0;
    EXPECT_THROW(TranscodeService::run(engine, {}, control,
                     [&](const QString &line) {
                         pid = line.toInt();
                         throw std::runtime_error("handler failed");
                     }),
        std::runtime_error);
    ASSERT_GT(pid, 0);
    EXPECT_EQ(processState(pid).first, '?'); // reaped, not left running or as a zombie
}

// The worker blocks SIGINT and SIGTERM as the command line's threads do; the engine must still
// start with default dispositions and an empty mask so a cancel reaches it.
TEST(EngineRunner, PausedEngineUsesNoCpuUntilResumedAndCancelEndsIt)
{
    TempDir dir;
    const QString engine = script(dir, QStringLiteral("engine"), "echo $$\nwhile :; do :; done\n");
    JobControl control;
    std::promise<pid_t> started;
    std::promise<std::exception_ptr> finished;
    std::thread worker([&] {
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGINT);
        sigaddset(&blocked, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
        try {
            TranscodeService::run(
                engine, {}, control, [&](const QString &line) { started.set_value(line.toInt()); });
            finished.set_value(nullptr);
        } catch (...) {
            finished.set_value(std::current_exception());
        }
    });
    const pid_t pid = started.get_future().get();

    ASSERT_TRUE(waitUntil([&] { return processState(pid).second > 0; })) << "the engine never ran";
    control.pause();
    ASSERT_TRUE(waitUntil([&] { return processState(pid).first == 'T'; }));
    const long long pausedTicks = processState(pid).second;
    QThread::msleep(300);
    EXPECT_EQ(processState(pid).first, 'T');
    EXPECT_EQ(processState(pid).second, pausedTicks);

    control.resume();
    EXPECT_TRUE(waitUntil([&] { return processState(pid).second > pausedTicks; }));

    control.cancel();
    auto future = finished.get_future();
    // A deadlock guard, not a speed limit: an engine that inherited the blocked SIGTERM would
    // never end, so it is killed here to report the fault instead of hanging the suite.
    if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ::kill(pid, SIGKILL);
        worker.join();
        FAIL() << "cancel did not end the engine";
    }
    std::exception_ptr outcome = future.get();
    worker.join();
    ASSERT_TRUE(outcome);
    EXPECT_THROW(std::rethrow_exception(outcome), CancellationError);
    EXPECT_EQ(processState(pid).first, '?');
}

TEST(EngineRunner, CancelWhilePausedEndsTheEngine)
{
    TempDir dir;
    const QString engine = script(dir, QStringLiteral("engine"), "echo $$\nwhile :; do :; done\n");
    JobControl control;
    std::promise<pid_t> started;
    auto outcome = std::async(std::launch::async, [&] {
        TranscodeService::run(
            engine, {}, control, [&](const QString &line) { started.set_value(line.toInt()); });
    });
    const pid_t pid = started.get_future().get();
    control.pause();
    ASSERT_TRUE(waitUntil([&] { return processState(pid).first == 'T'; }));
    control.cancel();
    EXPECT_THROW(outcome.get(), CancellationError);
}

TEST(EngineLookup, EnvironmentEngineWinsAndItsFolderSuppliesTheProbe)
{
    TempDir dir;
    const QByteArray answer
        = R"({"streams":[{"codec_type":"video","codec_name":"fake","width":64,"height":48}]})";
    script(dir, QStringLiteral("engine/ffprobe"), "echo '" + answer + "'\n");
    const QString ffmpeg = script(dir, QStringLiteral("engine/ffmpeg"), "exit 0\n");
    const QString custom = script(dir, QStringLiteral("custom/ffmpeg"), "exit 0\n");
    script(dir, QStringLiteral("custom/ffprobe"), "exit 3\n");
    EnvironmentVariable engine("VANTOR_ENGINE", ffmpeg);

    EXPECT_EQ(TranscodeService::executable(custom, false), ffmpeg);
    EXPECT_EQ(TranscodeService::executable(custom, true), dir.file(QStringLiteral("engine/ffprobe")));
    JobControl control;
    const MediaInfo info = TranscodeService::probe(dir.file(QStringLiteral("any.mov")), custom, control);
    EXPECT_EQ(info.codec, QStringLiteral("fake"));
    EXPECT_EQ(info.width, 64);
}

TEST(EngineLookup, CustomPathThenSystemFolders)
{
    TempDir dir;
    const QString custom = script(dir, QStringLiteral("custom/ffmpeg"), "exit 0\n");
    EXPECT_EQ(TranscodeService::executable(custom, false), custom);
    // No ffprobe beside the custom ffmpeg: the search goes on to the system's.
    EXPECT_EQ(TranscodeService::executable(custom, true), QStringLiteral("/usr/bin/ffprobe"));

    // A file without the execute permission is not an engine.
    const QString plain = dir.write(QStringLiteral("plain/ffmpeg"), "#!/bin/sh\n");
    EXPECT_EQ(TranscodeService::executable(plain, false), QStringLiteral("/usr/bin/ffmpeg"));
    // Neither is a folder.
    EnvironmentVariable engine("VANTOR_ENGINE", dir.makeDir(QStringLiteral("folder/ffmpeg")));
    EXPECT_EQ(TranscodeService::executable(QString(), false), QStringLiteral("/usr/bin/ffmpeg"));
}

} // namespace
} // namespace vantor
