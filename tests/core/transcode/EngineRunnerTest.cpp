// The engine runner against real child processes: small shell scripts stand in for the engine
// where its behaviour has to be scripted.
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "model/JobControl.h"
#include "transcode/TranscodeService.h"

#include <QFile>
#include <QThread>
#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <pthread.h>
#include <system_error>

namespace vantor {
namespace {

class EngineRunner : public testing::Test {
protected:
    test::TempDir dir;
    JobControl control;
    QStringList lines;

    QString script(const QString &name, const QByteArray &body)
    {
        const QString path = dir.write(name, "#!/bin/sh\n" + body);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    QString run(const QByteArray &body)
    {
        return TranscodeService::run(script("engine", body), {}, control, [&](const QString &line) { lines << line; });
    }
};

// The state letter and user CPU ticks from /proc/PID/stat; '?' once the process is reaped.
std::pair<char, long long> processState(pid_t pid)
{
    QFile file(QString("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return { '?', -1 };
    const QByteArray stat = file.readAll();
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return { fields.value(0).isEmpty() ? '?' : fields[0][0], fields.value(11).toLongLong() };
}

template <typename Predicate> bool waitUntil(Predicate predicate)
{
    for (int i = 0; i < 2000 && !predicate(); ++i)
        QThread::msleep(10);
    return predicate();
}

TEST_F(EngineRunner, ReturnsMergedOutputHandsOverCompleteLinesAndGivesNoInput)
{
    EXPECT_EQ(run("echo 'warning: odd header' >&2\nprintf 'frame=1\\nné\\nlast without feed'\n"),
        "warning: odd header\nframe=1\nné\nlast without feed");
    EXPECT_EQ(lines, (QStringList { "warning: odd header", "frame=1", "né" }));
    EXPECT_EQ(run("if read line; then echo \"read $line\"; else echo eof; fi\n"), "eof\n");
}

TEST_F(EngineRunner, FailureCarriesStatusAndExactlyTheLast3500Characters)
{
    QString noise;
    for (int i = 0; noise.size() < 10000; ++i)
        noise += QString("line %1 é\n").arg(i);
    noise.truncate(10000);
    dir.write("noise.txt", noise.toUtf8());
    EXPECT_EQ(test::refusal([&] { run("cat \"$(dirname \"$0\")/noise.txt\"\nexit 1\n"); }), "Media engine failed (1).\n" + noise.right(3500));
}

TEST_F(EngineRunner, LaunchFailureCancelBeforeLaunchAndAThrowingLineHandler)
{
    EXPECT_THROW(TranscodeService::run(dir.file("absent"), {}, control, {}), std::system_error);
    pid_t pid = 0;
    EXPECT_THROW(TranscodeService::run(script("busy", "echo $$\nwhile :; do echo busy; done\n"), {}, control,
                     [&](const QString &line) { pid = line.toInt(), throw std::runtime_error("handler failed"); }),
        std::runtime_error);
    ASSERT_GT(pid, 0);
    EXPECT_EQ(processState(pid).first, '?'); // reaped, not left running or as a zombie
    control.cancel();
    EXPECT_THROW(run("touch \"$(dirname \"$0\")/started\"\n"), CancellationError);
    EXPECT_FALSE(QFile::exists(dir.file("started")));
}

// The worker blocks SIGINT and SIGTERM as the command line's threads do; the engine must still
// start with default dispositions and an empty mask so a cancel reaches it.
TEST_F(EngineRunner, PausedEngineUsesNoCpuUntilResumedAndCancelEndsItEvenWhilePaused)
{
    const QString engine = script("engine", "echo $$\nwhile :; do :; done\n");
    std::promise<pid_t> started;
    auto finished = std::async(std::launch::async, [&] {
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGINT);
        sigaddset(&blocked, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
        TranscodeService::run(engine, {}, control, [&](const QString &line) { started.set_value(line.toInt()); });
    });
    const pid_t pid = started.get_future().get();
    ASSERT_TRUE(waitUntil([&] { return processState(pid).second > 0; })) << "the engine never ran";
    control.pause();
    ASSERT_TRUE(waitUntil([&] { return processState(pid).first == 'T'; }));
    const long long pausedTicks = processState(pid).second;
    QThread::msleep(300);
    EXPECT_EQ(processState(pid), std::make_pair('T', pausedTicks));
    control.resume();
    EXPECT_TRUE(waitUntil([&] { return processState(pid).second > pausedTicks; }));
    control.pause(); // a cancel must also reach a stopped engine
    ASSERT_TRUE(waitUntil([&] { return processState(pid).first == 'T'; }));
    control.cancel();
    // A deadlock guard, not a speed limit: an engine that inherited the blocked SIGTERM would never end.
    if (finished.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ::kill(pid, SIGKILL);
        FAIL() << "cancel did not end the engine";
    }
    EXPECT_THROW(finished.get(), CancellationError);
    EXPECT_EQ(processState(pid).first, '?');
}

TEST_F(EngineRunner, EnvironmentEngineThenCustomPathThenSystemFolders)
{
    script("engine/ffprobe", R"(echo '{"streams":[{"codec_type":"video","codec_name":"fake","width":64,"height":48}]}')");
    const QString ffmpeg = script("engine/ffmpeg", "exit 0\n");
    const QString custom = script("custom/ffmpeg", "exit 0\n");
    {
        test::ScopedEnvironment engine("VANTOR_ENGINE", ffmpeg.toUtf8());
        EXPECT_EQ(TranscodeService::executable(custom, false), ffmpeg);
        EXPECT_EQ(TranscodeService::probe(dir.file("any.mov"), custom, control).codec, "fake"); // its folder supplies the probe
    }
    test::ScopedEnvironment none("VANTOR_ENGINE", std::nullopt);
    EXPECT_EQ(TranscodeService::executable(custom, false), custom);
    // No ffprobe beside the custom ffmpeg: the search goes on to the system's.
    EXPECT_EQ(TranscodeService::executable(custom, true), "/usr/bin/ffprobe");
    // Neither a file without the execute permission nor a folder is an engine.
    EXPECT_EQ(TranscodeService::executable(dir.write("plain/ffmpeg", "#!/bin/sh\n"), false), "/usr/bin/ffmpeg");
    test::ScopedEnvironment folder("VANTOR_ENGINE", dir.makeDir("folder/ffmpeg").toUtf8());
    EXPECT_EQ(TranscodeService::executable(QString(), false), "/usr/bin/ffmpeg");
}

} // namespace
} // namespace vantor
