// vantor transcode and vantor preview, run as the real binary.
#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"
#include "model/JobControl.h"
#include "model/StateStore.h"
#include "transcode/PresetService.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>

namespace vantor {
namespace {

MediaInfo probe(const QString &path)
{
    JobControl control;
    return TranscodeService::probe(path, {}, control);
}

// Every case gets its own output folder, support folder and temporary directory, so whatever a
// command leaves behind shows.
class CommandTest : public testing::Test {
public:
    test::TempDir dir;
    QString out = dir.makeDir("out"), temporary = dir.makeDir("tmp");
    QProcessEnvironment environment = [this] {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.remove("VANTOR_ENGINE");
        variables.insert("VANTOR_SUPPORT_DIR", dir.file("support"));
        variables.insert("TMPDIR", temporary);
        return variables;
    }();

    QString clip(const QString &name = "clip.mov", double seconds = 0.5, const QString &timecode = "01:00:00:00")
    {
        return test::makeClip(dir.file(name), { .seconds = seconds, .timecode = timecode });
    }
    // Runs the command with the given ffmpeg script, the real ffprobe beside it.
    void useEngine(const QByteArray &body)
    {
        const QString path = dir.write("engine/ffmpeg", "#!/bin/bash\n" + body);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.insert("VANTOR_ENGINE", path);
        QFile::link("/usr/bin/ffprobe", dir.file("engine/ffprobe"));
    }
    test::ProcessResult vantor(const QStringList &arguments) { return test::runVantor(arguments, environment); }
    QStringList outputs() const { return QDir(out).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    bool temporaryIsEmpty() const { return QDir(temporary).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    QStringList review(const QString &source) { return { "transcode", "-p", "Review File", "--burn-filename", "-o", out, source }; }
};

class BuiltInPresets : public CommandTest, public testing::WithParamInterface<int> {
protected:
    static void SetUpTestSuite()
    {
        media = new test::TempDir;
        source = test::makeClip(media->file("A001C001.mov"), { .width = 1280, .height = 720, .seconds = 3, .timecode = "01:00:00:00" });
    }
    static void TearDownTestSuite() { delete media; }
    static inline test::TempDir *media = nullptr;
    static inline QString source;
};

TEST_P(BuiltInPresets, TranscodeToWhatThePresetPromises)
{
    const TranscodePreset preset = PresetService::defaults().at(GetParam());
    const test::ProcessResult result = vantor({ "transcode", "-p", preset.name, "-o", out, source });
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    const QString name = "A001C001" + preset.suffix + '.' + preset.container;
    EXPECT_EQ(result.outText(), out + '/' + name + '\n');
    EXPECT_EQ(outputs(), QStringList { name });
    const MediaInfo info = probe(out + '/' + name);
    EXPECT_EQ(info.codec, preset.codec.isProRes() ? "prores" : "h264");
    EXPECT_EQ(std::make_pair(info.width, info.height), std::make_pair(qint64(1280), qint64(720)));
    EXPECT_NEAR(info.duration, 3.0, 0.1);
    EXPECT_EQ(info.timecode, QString("01:00:00:00"));
    EXPECT_EQ(info.audioTracks.size(), 1);
    EXPECT_TRUE(temporaryIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, BuiltInPresets, testing::Range(0, 7),
    [](const auto &info) { return QString(PresetService::defaults().at(info.param).name).remove(' ').toStdString(); });

// Bad input: its message, nothing at the output's name, no temporary file.
struct BadInput {
    std::string name;
    std::function<QStringList(CommandTest &)> arrange; // the command line
    QString message;
};

void PrintTo(const BadInput &input, std::ostream *out) { *out << input.name; }

class BadInputs : public CommandTest, public testing::WithParamInterface<BadInput> { };

TEST_P(BadInputs, EndWithTheirMessageAndLeaveNothing)
{
    const QStringList arguments = GetParam().arrange(*this);
    const QStringList before = outputs();
    const test::ProcessResult result = vantor(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errText().contains(GetParam().message)) << result.errText().toStdString();
    EXPECT_EQ(outputs(), before);
    EXPECT_TRUE(temporaryIsEmpty());
    EXPECT_TRUE(result.out.isEmpty());
}

using C = CommandTest;
INSTANTIATE_TEST_SUITE_P(Cases, BadInputs, testing::Values(
    BadInput { "SourceWithoutVideo", [](C &c) {
        test::runFfmpeg({ "-f", "lavfi", "-i", "sine=duration=0.5", c.dir.file("voice.m4a") });
        return c.review(c.dir.file("voice.m4a"));
    }, "No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars." },
    BadInput { "FailingEngine", [](C &c) {
        // Writes half an output first, as a crashing encoder would.
        c.useEngine("printf partial > \"${@: -1}\"\necho 'Conversion failed!'\nexit 3\n");
        return c.review(c.clip());
    }, "Media engine failed (3).\nConversion failed!" },
    BadInput { "TimecodeBurnInWithoutTimecode", [](C &c) { return c.review(c.clip("untimed.mov", 0.5, {})) << "--burn-timecode"; },
        "Timecode burn-in requires source timecode. Disable it for clips without timecode." },
    BadInput { "OutputNameTaken", [](C &c) {
        c.dir.write("out/clip_REVIEW.mp4", "earlier work");
        return c.review(c.clip());
    }, "File already exists. Choose a different name or destination: clip_REVIEW.mp4" },
    BadInput { "ShortOutput", [](C &c) {
        // The real engine, told to stop after 0.2 s of a 3-second source.
        c.useEngine("a=(\"$@\"); n=${#a[@]}\nexec /usr/bin/ffmpeg \"${a[@]:0:n-3}\" -t 0.2 \"${a[@]:n-3}\"\n");
        return c.review(c.clip("clip.mov", 3.0));
    }, "The output duration does not match the source. Output was not committed." },
    BadInput { "TruncatedOutput", [](C &c) {
        c.useEngine("/usr/bin/ffmpeg \"$@\" || exit\ntruncate -s 100 \"${@: -1}\"\n");
        return c.review(c.clip());
    }, "Output validation failed. The incomplete transcode was discarded." },
    BadInput { "MissingOutputFolder", [](C &c) { return QStringList { "transcode", "-p", "Review File", "-o", c.dir.file("out/none"), c.clip() }; },
        "Select an available, real destination folder: " }),
    [](const auto &info) { return info.param.name; });

TEST_F(CommandTest, DryRunPrintsTheEngineArgumentsAndRunsNothing)
{
    const QString source = clip("A001C002.mov");
    const test::ProcessResult result = vantor({ "transcode", "--dry-run", "-p", "Editorial Proxy", "--width", "160", "--burn-filename", source });
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    const QStringList lines = result.outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 20);
    EXPECT_EQ(lines.mid(0, lines.indexOf("-i") + 2).join(' '), "-hide_banner -nostdin -n -loglevel warning -progress pipe:1 -stats_period 0.25 -i " + source);
    EXPECT_TRUE(lines.at(lines.indexOf("-vf") + 1).startsWith("scale=160:90:flags=lanczos,drawtext="));
    EXPECT_EQ(lines.mid(lines.size() - 3, 2), (QStringList { "-f", "mov" }));
    EXPECT_TRUE(QRegularExpression("^" + QRegularExpression::escape(dir.path()) + "/\\.vantor-.*-encode\\.partial$").match(lines.last()).hasMatch()) << lines.last().toStdString();
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList { "A001C002.mov" });
    EXPECT_TRUE(temporaryIsEmpty());
}

// Stored presets are found and the state is only read; each source's output goes beside it, and
// one failing source does not stop the rest.
TEST_F(CommandTest, StoredPresetsAndSeveralSources)
{
    AppState state = AppState::fresh();
    TranscodePreset tiny = PresetService::defaults().first();
    tiny.name = "Tiny Proxy", tiny.maxWidth = 64, tiny.suffix = "_TINY";
    state.presets.push_back(tiny);
    StateStore::save(state, dir.file("support"));
    const QByteArray saved = test::readFile(dir.file("support/state.json"));
    dir.makeDir("a");
    dir.makeDir("b");
    const test::ProcessResult result = vantor({ "transcode", "-p", "Tiny Proxy", clip("a/one.mov"), dir.file("missing.mov"), clip("b/two.mov") });
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), dir.file("a/one_TINY.mov") + '\n' + dir.file("b/two_TINY.mov") + '\n');
    EXPECT_EQ(probe(dir.file("b/two_TINY.mov")).width, 64);
    EXPECT_EQ(test::listTree(dir.file("support")), QStringList { "state.json" });
    EXPECT_EQ(test::readFile(dir.file("support/state.json")), saved);
}

TEST_F(CommandTest, InterruptCancelsAndPublishesNothing)
{
    // The engine reads in real time, so the encode is surely running when the signal comes.
    useEngine("exec /usr/bin/ffmpeg -re \"$@\"\n");
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(test::vantorPath(), { "transcode", "-p", "Editorial Proxy", "--burn-timecode", "-o", out, clip("long.mov", 30.0) });
    ASSERT_TRUE(process.waitForStarted());
    for (int i = 0; i < 3000 && outputs().isEmpty(); ++i)
        QThread::msleep(10);
    ASSERT_FALSE(outputs().isEmpty()) << "the encode never started";
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130);
    EXPECT_TRUE(QString::fromUtf8(process.readAllStandardError()).contains("Cancelled"));
    EXPECT_TRUE(outputs().isEmpty());
    EXPECT_TRUE(temporaryIsEmpty());
}

TEST_F(CommandTest, PreviewPrintsTheFrameOrClipAndTheEstimate)
{
    const QString source = clip("clip.mov", 1.0);
    const QStringList frame = vantor({ "preview", "-p", "Editorial Proxy", "--at", "0.5", "--burn-timecode", source }).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(frame.size(), 2);
    EXPECT_EQ(QFileInfo(frame[0]).fileName(), "Processed Frame.png");
    EXPECT_TRUE(QFileInfo(frame[0]).path().startsWith(temporary + "/vantor-preview-"));
    EXPECT_EQ(probe(frame[0]).width, 320);
    EXPECT_TRUE(frame[1].startsWith("About "));
    const QStringList testClip = vantor({ "preview", "-p", "Review File", "--clip", source }).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(testClip.size(), 2);
    EXPECT_EQ(QFileInfo(testClip[0]).fileName(), "Test Clip.mp4");
    EXPECT_NEAR(probe(testClip[0]).duration, 1.0, 0.1);
    EXPECT_EQ(testClip[1], "Variable · Encode A Test Clip");
}

} // namespace
} // namespace vantor
