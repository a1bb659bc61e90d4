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
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>
#include <csignal>
#include <functional>

namespace vantor {
namespace {

using test::TempDir;

QString script(const TempDir &dir, const QString &name, const QByteArray &body)
{
    const QString path = dir.write(name, "#!/bin/bash\n" + body);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

// An engine folder: the given ffmpeg script and the real ffprobe beside it.
QString engine(const TempDir &dir, const QByteArray &body)
{
    const QString ffmpeg = script(dir, QStringLiteral("engine/ffmpeg"), body);
    QFile::link(QStringLiteral("/usr/bin/ffprobe"), dir.file(QStringLiteral("engine/ffprobe")));
    return ffmpeg;
}

MediaInfo probe(const QString &path)
{
    JobControl control;
    return TranscodeService::probe(path, {}, control);
}

// Every case gets its own output folder, support folder and temporary directory, so whatever a
// command leaves behind shows.
class CommandTest : public ::testing::Test {
public:
    TempDir dir;
    QString out = dir.makeDir(QStringLiteral("out"));
    QString temporary = dir.makeDir(QStringLiteral("tmp"));
    QProcessEnvironment environment = [this] {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        variables.remove(QStringLiteral("VANTOR_ENGINE"));
        variables.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), dir.file(QStringLiteral("support")));
        variables.insert(QStringLiteral("TMPDIR"), temporary);
        return variables;
    }();

    QString clip(const QString &name, double seconds = 0.5, const QString &timecode = QStringLiteral("01:00:00:00"))
    {
        test::ClipSpec spec;
        spec.seconds = seconds;
        spec.timecode = timecode;
        return test::makeClip(dir.file(name), spec);
    }
    test::ProcessResult vantor(const QStringList &arguments) { return test::runVantor(arguments, environment); }
    QStringList outputs() const { return QDir(out).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    bool temporaryIsEmpty() const { return QDir(temporary).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
};

// ---- Every built-in preset on a 1280×720 clip with timecode

class BuiltInPresets : public CommandTest, public ::testing::WithParamInterface<QString> {
protected:
    static void SetUpTestSuite()
    {
        media = new TempDir;
        test::ClipSpec spec;
        spec.width = 1280;
        spec.height = 720;
        spec.seconds = 3;
        spec.timecode = QStringLiteral("01:00:00:00");
        source = test::makeClip(media->file(QStringLiteral("A001C001.mov")), spec);
    }
    static void TearDownTestSuite()
    {
        delete media;
        media = nullptr;
    }
    static inline TempDir *media = nullptr;
    static inline QString source;
};

TEST_P(BuiltInPresets, TranscodeToWhatThePresetPromises)
{
    TranscodePreset preset;
    for (const TranscodePreset &candidate : PresetService::defaults())
        if (candidate.name == GetParam())
            preset = candidate;
    const test::ProcessResult result = vantor({QStringLiteral("transcode"), QStringLiteral("-p"), GetParam(),
                                               QStringLiteral("-o"), out, source});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    const QString name = QStringLiteral("A001C001") + preset.suffix + QLatin1Char('.') + preset.container;
    EXPECT_EQ(result.outText(), out + QLatin1Char('/') + name + QLatin1Char('\n'));
    EXPECT_EQ(outputs(), QStringList{name});

    const MediaInfo info = probe(out + QLatin1Char('/') + name);
    EXPECT_EQ(info.codec, preset.codec.isProRes() ? QStringLiteral("prores") : QStringLiteral("h264"));
    EXPECT_EQ(info.width, 1280);
    EXPECT_EQ(info.height, 720);
    EXPECT_NEAR(info.duration, 3.0, 0.1);
    EXPECT_EQ(info.timecode, QStringLiteral("01:00:00:00"));
    EXPECT_EQ(info.audioTracks.size(), 1);
    EXPECT_TRUE(temporaryIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, BuiltInPresets,
                         ::testing::Values(QStringLiteral("Editorial Proxy"), QStringLiteral("Review File"),
                                           QStringLiteral("Client Review"), QStringLiteral("YouTube Master"),
                                           QStringLiteral("Festival Screener"), QStringLiteral("ProRes Master"),
                                           QStringLiteral("Archive Master")),
                         [](const auto &info) { return QString(info.param).remove(QLatin1Char(' ')).toStdString(); });

// ---- Bad input: its message, nothing at the output's name, no temporary file

struct BadInput {
    std::string name;
    // Prepares the case and returns the command's arguments after "transcode".
    std::function<QStringList(CommandTest &)> arrange;
    QString message;
};

class BadInputs : public CommandTest, public ::testing::WithParamInterface<BadInput> {};

TEST_P(BadInputs, EndWithTheirMessageAndLeaveNothing)
{
    QStringList arguments = GetParam().arrange(*this);
    const QStringList before = outputs();
    arguments.prepend(QStringLiteral("transcode"));
    // A case that hides the engine runs the command in a mount namespace of its own.
    const QString hide = environment.value(QStringLiteral("VANTOR_HIDE"));
    const test::ProcessResult result =
        hide.isEmpty() ? vantor(arguments)
                       : test::runProgram(QStringLiteral("unshare"),
                                          QStringList{QStringLiteral("--mount"), hide, test::vantorPath()} + arguments,
                                          environment);
    if (result.errText().contains(QStringLiteral("skip: ")))
        GTEST_SKIP() << result.errText().toStdString();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.errText().contains(GetParam().message)) << result.errText().toStdString();
    EXPECT_EQ(outputs(), before);
    EXPECT_TRUE(temporaryIsEmpty());
    EXPECT_TRUE(result.outText().isEmpty());
}

void PrintTo(const BadInput &input, std::ostream *out)
{
    *out << input.name;
}

QStringList review(CommandTest &test, const QString &source)
{
    return {QStringLiteral("-p"), QStringLiteral("Review File"), QStringLiteral("--burn-filename"),
            QStringLiteral("-o"), test.dir.file(QStringLiteral("out")), source};
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadInputs,
    ::testing::Values(
        BadInput{"SourceWithoutVideo",
                 [](CommandTest &test) {
                     const QString voice = test.dir.file(QStringLiteral("voice.m4a"));
                     test::runFfmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                                      QStringLiteral("sine=duration=0.5"), voice});
                     return review(test, voice);
                 },
                 QStringLiteral("No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars.")},
        BadInput{"MissingEngine",
                 [](CommandTest &test) {
                     // The system's own ffmpeg is hidden in a mount namespace of this command alone.
                     const QString wrapper = script(
                         test.dir, QStringLiteral("hide.sh"),
                         "mount --bind /dev/null /usr/bin/ffmpeg 2>/dev/null || { echo 'skip: no mount namespace' >&2; exit 1; }\n"
                         "[ -x /usr/local/bin/ffmpeg ] && { echo 'skip: /usr/local/bin/ffmpeg' >&2; exit 1; }\n"
                         "exec \"$@\"\n");
                     test.environment.insert(QStringLiteral("VANTOR_HIDE"), wrapper);
                     return review(test, test.clip(QStringLiteral("clip.mov")));
                 },
                 QStringLiteral("The processing engine is missing. Reinstall Vantor or contact support.")},
        BadInput{"FailingEngine",
                 [](CommandTest &test) {
                     // Writes half an output first, as a crashing encoder would.
                     test.environment.insert(QStringLiteral("VANTOR_ENGINE"),
                                             engine(test.dir, "printf partial > \"${@: -1}\"\necho 'Conversion failed!'\nexit 3\n"));
                     return review(test, test.clip(QStringLiteral("clip.mov")));
                 },
                 QStringLiteral("Media engine failed (3).\nConversion failed!")},
        BadInput{"TimecodeBurnInWithoutTimecode",
                 [](CommandTest &test) {
                     const QString source = test.clip(QStringLiteral("untimed.mov"), 0.5, QString());
                     return review(test, source) << QStringLiteral("--burn-timecode");
                 },
                 QStringLiteral("Timecode burn-in requires source timecode. Disable it for clips without timecode.")},
        BadInput{"OutputNameTaken",
                 [](CommandTest &test) {
                     test.dir.write(QStringLiteral("out/clip_REVIEW.mp4"), "earlier work");
                     return review(test, test.clip(QStringLiteral("clip.mov")));
                 },
                 QStringLiteral("File already exists. Choose a different name or destination: clip_REVIEW.mp4")},
        BadInput{"ShortOutput",
                 [](CommandTest &test) {
                     // The real engine, told to stop after 0.2 s of a 3-second source.
                     test.environment.insert(QStringLiteral("VANTOR_ENGINE"),
                                             engine(test.dir, "a=(\"$@\"); n=${#a[@]}\n"
                                                              "exec /usr/bin/ffmpeg \"${a[@]:0:n-3}\" -t 0.2 \"${a[@]:n-3}\"\n"));
                     return review(test, test.clip(QStringLiteral("clip.mov"), 3.0));
                 },
                 QStringLiteral("The output duration does not match the source. Output was not committed.")},
        BadInput{"TruncatedOutput",
                 [](CommandTest &test) {
                     test.environment.insert(QStringLiteral("VANTOR_ENGINE"),
                                             engine(test.dir, "/usr/bin/ffmpeg \"$@\" || exit\ntruncate -s 100 \"${@: -1}\"\n"));
                     return review(test, test.clip(QStringLiteral("clip.mov")));
                 },
                 QStringLiteral("Output validation failed. The incomplete transcode was discarded.")},
        BadInput{"MissingOutputFolder",
                 [](CommandTest &test) {
                     return QStringList{QStringLiteral("-p"), QStringLiteral("Review File"), QStringLiteral("-o"),
                                        test.dir.file(QStringLiteral("out/none")), test.clip(QStringLiteral("clip.mov"))};
                 },
                 QStringLiteral("Select an available, real destination folder: ")},
        BadInput{"InvalidOption",
                 [](CommandTest &test) {
                     return review(test, test.clip(QStringLiteral("clip.mov"))) << QStringLiteral("--quality")
                                                                                << QStringLiteral("99");
                 },
                 QStringLiteral("Invalid resolution, scale, quality or bitrate.")},
        BadInput{"UnknownPreset",
                 [](CommandTest &test) {
                     return QStringList{QStringLiteral("-p"), QStringLiteral("Dailies"), test.clip(QStringLiteral("clip.mov"))};
                 },
                 QString::fromUtf8("No preset is named “Dailies”.")},
        BadInput{"UnreadableState",
                 [](CommandTest &test) {
                     test.dir.write(QStringLiteral("support/state.json"), "{ not json");
                     return review(test, test.clip(QStringLiteral("clip.mov")));
                 },
                 QStringLiteral("Saved state could not be read: ")}),
    [](const auto &info) { return info.param.name; });

TEST_F(CommandTest, DryRunPrintsTheEngineArgumentsAndRunsNothing)
{
    const QString source = clip(QStringLiteral("A001C002.mov"));
    const test::ProcessResult result =
        vantor({QStringLiteral("transcode"), QStringLiteral("--dry-run"), QStringLiteral("-p"), QStringLiteral("Editorial Proxy"),
                QStringLiteral("--width"), QStringLiteral("160"), QStringLiteral("--burn-filename"), source});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    const QStringList lines = result.outText().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 20);
    EXPECT_EQ(lines.first(), QStringLiteral("-hide_banner"));
    EXPECT_EQ(lines.at(lines.indexOf(QStringLiteral("-i")) + 1), source);
    EXPECT_TRUE(lines.at(lines.indexOf(QStringLiteral("-vf")) + 1).startsWith(QStringLiteral("scale=160:90:flags=lanczos,drawtext=")));
    EXPECT_EQ(lines.mid(lines.size() - 3, 2), (QStringList{QStringLiteral("-f"), QStringLiteral("mov")}));
    EXPECT_TRUE(QFileInfo(lines.last()).fileName().startsWith(QStringLiteral(".vantor-")));
    EXPECT_TRUE(lines.last().endsWith(QStringLiteral("-encode.partial")));
    EXPECT_EQ(QFileInfo(lines.last()).path(), dir.path());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("A001C002.mov")});
    EXPECT_TRUE(temporaryIsEmpty());
}

TEST_F(CommandTest, StoredPresetsAreFoundAndTheStateIsOnlyRead)
{
    AppState state = AppState::fresh();
    TranscodePreset tiny = PresetService::defaults().first();
    tiny.name = QStringLiteral("Tiny Proxy");
    tiny.maxWidth = 64;
    tiny.suffix = QStringLiteral("_TINY");
    state.presets.push_back(tiny);
    StateStore::save(state, dir.file(QStringLiteral("support")));
    const QByteArray saved = test::readFile(dir.file(QStringLiteral("support/state.json")));

    const test::ProcessResult result = vantor({QStringLiteral("transcode"), QStringLiteral("-p"), QStringLiteral("Tiny Proxy"),
                                               QStringLiteral("-o"), out, clip(QStringLiteral("clip.mov"))});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    EXPECT_EQ(probe(out + QStringLiteral("/clip_TINY.mov")).width, 64);
    EXPECT_EQ(test::readFile(dir.file(QStringLiteral("support/state.json"))), saved);
    EXPECT_EQ(QDir(dir.file(QStringLiteral("support"))).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{QStringLiteral("state.json")});
}

TEST_F(CommandTest, SeveralSourcesGoBesideEachOneAndAFailureDoesNotStopTheRest)
{
    dir.makeDir(QStringLiteral("a"));
    dir.makeDir(QStringLiteral("b"));
    const QString first = clip(QStringLiteral("a/one.mov"));
    const QString second = clip(QStringLiteral("b/two.mov"));
    const test::ProcessResult result =
        vantor({QStringLiteral("transcode"), QStringLiteral("-p"), QStringLiteral("Client Review"), first,
                dir.file(QStringLiteral("missing.mov")), second});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(QFileInfo::exists(dir.file(QStringLiteral("a/one_CLIENT.mp4"))));
    EXPECT_TRUE(QFileInfo::exists(dir.file(QStringLiteral("b/two_CLIENT.mp4"))));
    EXPECT_EQ(result.outText().count(QLatin1Char('\n')), 2);
}

TEST_F(CommandTest, InterruptCancelsAndPublishesNothing)
{
    // The engine reads in real time, so the encode is surely running when the signal comes.
    environment.insert(QStringLiteral("VANTOR_ENGINE"), engine(dir, "exec /usr/bin/ffmpeg -re \"$@\"\n"));
    const QString source = clip(QStringLiteral("long.mov"), 30.0);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(test::vantorPath(), {QStringLiteral("transcode"), QStringLiteral("-p"), QStringLiteral("Editorial Proxy"),
                                       QStringLiteral("--burn-timecode"), QStringLiteral("-o"), out, source});
    ASSERT_TRUE(process.waitForStarted());
    bool encoding = false;
    for (int i = 0; i < 3000 && !encoding; ++i) {
        encoding = !outputs().isEmpty();
        if (!encoding)
            QThread::msleep(10);
    }
    ASSERT_TRUE(encoding);
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130);
    EXPECT_TRUE(QString::fromUtf8(process.readAllStandardError()).contains(QStringLiteral("Cancelled")));
    EXPECT_TRUE(outputs().isEmpty());
    EXPECT_TRUE(temporaryIsEmpty());
}

TEST_F(CommandTest, PreviewPrintsTheFrameAndTheEstimate)
{
    const QString source = clip(QStringLiteral("clip.mov"), 1.0);
    const test::ProcessResult frame = vantor({QStringLiteral("preview"), QStringLiteral("-p"), QStringLiteral("Editorial Proxy"),
                                              QStringLiteral("--at"), QStringLiteral("0.5"), QStringLiteral("--burn-timecode"), source});
    ASSERT_EQ(frame.exitCode, 0) << frame.errText().toStdString();
    const QStringList lines = frame.outText().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(QFileInfo(lines[0]).fileName(), QStringLiteral("Processed Frame.png"));
    EXPECT_TRUE(QFileInfo(lines[0]).path().startsWith(temporary + QStringLiteral("/vantor-preview-")));
    EXPECT_EQ(probe(lines[0]).width, 320);
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("About ")));

    const test::ProcessResult testClip =
        vantor({QStringLiteral("preview"), QStringLiteral("-p"), QStringLiteral("Review File"), QStringLiteral("--clip"), source});
    ASSERT_EQ(testClip.exitCode, 0) << testClip.errText().toStdString();
    const QStringList clipLines = testClip.outText().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(clipLines.size(), 2);
    EXPECT_EQ(QFileInfo(clipLines[0]).fileName(), QStringLiteral("Test Clip.mp4"));
    EXPECT_NEAR(probe(clipLines[0]).duration, 1.0, 0.1);
    EXPECT_EQ(clipLines[1], QString::fromUtf8("Variable · Encode A Test Clip"));
}

} // namespace
} // namespace vantor
