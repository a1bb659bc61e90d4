// The engine runner against real child processes (small shell scripts stand in for the engine
// where its behaviour has to be scripted), and the probe: its reduction rules on ffprobe answers
// written out here, then on real clips made with the values it must find.
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "base/JobControl.h"
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

// A failure keeps the engine's last error lines, whole, within 3,500 characters; the -progress
// stream between them is left out.
TEST_F(EngineRunner, FailureCarriesStatusAndTheLastErrorLines)
{
    QStringList errors;
    QString output;
    for (int i = 0; i < 600; ++i) {
        errors << QString("[h264 @ 0x%1] error %1 é").arg(i);
        output += QString("frame=%1\nbitrate= 12.5kbits/s\n%2\n{\nprogress=continue\n\n").arg(i).arg(errors.last());
    }
    dir.write("noise.txt", output.toUtf8());
    const QString message = test::refusal([&] { run("cat \"$(dirname \"$0\")/noise.txt\"\nexit 1\n"); });
    ASSERT_TRUE(message.startsWith("Media engine failed (1).\n"));
    const QString kept = message.section('\n', 1);
    const QStringList lines = kept.split('\n');
    EXPECT_LE(kept.size(), 3500);
    EXPECT_GT(kept.size() + errors.at(errors.size() - lines.size() - 1).size() + 1, 3500) << "as many lines as fit";
    EXPECT_EQ(lines, errors.mid(errors.size() - lines.size()));

    EXPECT_EQ(test::refusal([&] { run("printf 'frame=1\\nprogress=end\\n'\nexit 2\n"); }), "Media engine failed (2).");
    const QString longLine = QString(5000, 'x') + "tail";
    dir.write("long.txt", longLine.toUtf8());
    EXPECT_EQ(test::refusal([&] { run("cat \"$(dirname \"$0\")/long.txt\"\nexit 1\n"); }), "Media engine failed (1).\n" + longLine.right(3500));
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

MediaInfo reduce(const char *json) { return TranscodeService::mediaInfo(QByteArray(json), "clip.mov"); }

TEST(MediaProbeRules, TimecodeAndReelLookupOrder)
{
    // Video stream tags before format tags; a later data stream only when neither has one.
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"timecode":"01:00:00:00"}},
        {"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],"format":{"tags":{"timecode":"03:00:00:00"}}})").timecode,
        QString("01:00:00:00"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video"},{"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],
        "format":{"tags":{"timecode":"03:00:00:00"}}})").timecode, QString("03:00:00:00"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video"},{"codec_type":"data","tags":{"timecode":"02:00:00:00"}}]})").timecode,
        QString("02:00:00:00"));
    EXPECT_FALSE(reduce(R"({"streams":[{"codec_type":"video"}]})").timecode);
    // The reel the other way round: format tags first.
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}],
        "format":{"tags":{"reel_name":"A001"}}})").reel, QString("A001"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}]})").reel, QString("B002"));
}

TEST(MediaProbeRules, UnnamedAudioStreamDurationAndNoiseAroundTheAnswer)
{
    const MediaInfo info = reduce(R"([mov @ 0x55e7] Referenced QT chapter track not found
{"streams":[{"codec_type":"video","duration":"4.0"},
        {"codec_type":"audio","codec_name":"pcm_s24le","channels":2,"channel_layout":"stereo","sample_rate":"48000"},
        {"codec_type":"audio","channels":3}], "chapters":[{"id":0},{"id":1},{"id":2}]})");
    EXPECT_EQ(info.audioTracks, (QStringList { "Track 1 · pcm_s24le · 2 ch", "Track 2 · Audio · 3 ch" }));
    EXPECT_EQ(info.audioLayouts, (QStringList { "stereo", "Unspecified Layout" }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { "48000", "Unknown" }));
    EXPECT_EQ(info.chapterCount, 3);
    EXPECT_DOUBLE_EQ(info.duration, 4.0); // the stream's when the format has none
    EXPECT_THROW(reduce("not json"), DecodingError);
}

TEST(MediaProbeClips, RealClipsRotationAndRefusals)
{
    test::TempDir folder;
    JobControl control;
    const auto probe = [&](const QString &path) { return TranscodeService::probe(path, QString(), control); };
    const MediaInfo info = probe(test::clips::rich(folder));
    // Codec, size, rate, channels, subtitles and chapters are probed on every output of the matrix.
    EXPECT_EQ(info.timecode, QString("01:00:00:00"));
    EXPECT_NEAR(info.duration, 0.5, 0.1);
    EXPECT_EQ(info.audioTracks, (QStringList { "Track 1 · aac · 2 ch", "Track 2 · aac · 6 ch" }));
    EXPECT_EQ(info.audioLayouts, (QStringList { "stereo", "5.1" }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { "48000", "44100" }));
    // A display matrix turns the size; ffprobe reports it in the range -180..180.
    for (const auto &[rotate, expected] : std::vector<std::pair<int, qint64>> { { 90, 90 }, { 270, -90 }, { 180, -180 } }) {
        const MediaInfo turned = probe(test::clips::rotated(folder, rotate));
        const bool sideways = rotate != 180;
        EXPECT_EQ(std::make_tuple(turned.sourceRotation, turned.width, turned.height),
            std::make_tuple(expected, sideways ? 180 : 320, sideways ? 320 : 180)) << rotate;
    }
    EXPECT_EQ(test::refusal([&] { probe(test::clips::audioOnly(folder)); }),
        "No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars.");
    EXPECT_TRUE(test::refusal([&] { probe(folder.file("absent.mov")); }).startsWith("Media engine failed (1).\n"));
}

} // namespace
} // namespace vantor
