// vantor probe, presets, transcode and preview.
#include "CliTest.h"
#include "ClipMaker.h"
#include "base/JobControl.h"
#include "base/JsonCodec.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <fcntl.h>
#include <sys/stat.h>

namespace vantor {
namespace {

MediaInfo probe(const QString &path)
{
    JobControl control;
    return TranscodeService::probe(path, {}, control);
}

class MediaCommands : public test::CliTest {
public:
    QString out = dir.makeDir("out");

    QString clip(const QString &name = "clip.mov", double seconds = 0.5, const QString &timecode = "01:00:00:00")
    {
        return test::makeClip(dir.file(name), { .seconds = seconds, .timecode = timecode });
    }
    QStringList outputs() const { return QDir(out).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot); }
    QStringList review(const QString &source) { return { "transcode", "-p", "Review File", "--burn-filename", "-o", out, source }; }
};

TEST_F(MediaCommands, ProbePrintsOneObjectPerFileKeyedByFieldName)
{
    const QString source = clip();
    const test::ProcessResult one = vantor({ "probe", source });
    ASSERT_EQ(one.exitCode, 0) << one.errText().toStdString();
    const QJsonObject info = JsonCodec::parse(one.out).toObject();
    EXPECT_EQ(info.keys(), (QStringList { "audioChannels", "audioLayouts", "audioSampleRates", "audioTracks", "chapterCount",
                               "codec", "duration", "frameRate", "height", "sourceRotation", "subtitleTracks", "timecode", "width" }));
    EXPECT_EQ(info.value(u"width").toInt(), 320);
    EXPECT_EQ(info.value(u"timecode").toString(), "01:00:00:00");
    EXPECT_EQ(info.value(u"audioTracks").toArray(), QJsonArray { "Track 1 · aac · 2 ch" });
    EXPECT_EQ(JsonCodec::parse(vantor({ "probe", source, source }).out).toArray(), (QJsonArray { info, info }));
}

TEST_F(MediaCommands, PresetsListsBuiltInsAsAlignedColumnsOrJsonRecords)
{
    const QStringList lines = vantor({ "presets" }).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(lines[0], "NAME               CODEC          CONTAINER  MAX WIDTH  AUDIO  SUFFIX");
    EXPECT_EQ(lines[1], "Editorial Proxy    ProRes Proxy   mov        1920       PCM    _PROXY");
    const QJsonArray records = JsonCodec::parse(vantor({ "presets", "--json" }).out).toArray();
    const QList<TranscodePreset> builtIns = PresetService::defaults();
    ASSERT_EQ(records.size(), builtIns.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        TranscodePreset decoded = TranscodePreset::fromJson(records[i]);
        decoded.id = builtIns[i].id; // identities are fresh on every listing
        EXPECT_EQ(decoded, builtIns[i]);
    }
}

class BuiltInPresets : public MediaCommands, public testing::WithParamInterface<int> {};

TEST_P(BuiltInPresets, TranscodeToWhatThePresetPromises)
{
    // One 3-second 1280x720 clip with timecode for every preset, made once.
    static const test::TempDir media;
    static const QString source = test::makeClip(media.file("A001C001.mov"), { .width = 1280, .height = 720, .seconds = 3, .timecode = "01:00:00:00" });
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

// A failing engine, a taken name and a broken output: the message, nothing at the output's name,
// no temporary file.
TEST_F(MediaCommands, TranscodeFailuresLeaveNothing)
{
    const QString source = clip();
    const std::tuple<QByteArray, QString, QString> cases[] = { // engine script, file in the way, message
        // The error lines stay, the -progress stream around them does not.
        { "printf partial > \"${@: -1}\"\nprintf 'frame=1\\nbitrate= 12.5kbits/s\\nError while encoding\\n\\nConversion failed!\\n"
          "progress=end\\n'\nexit 3\n", {}, "Media engine failed (3).\nError while encoding\nConversion failed!\n" },
        { "exec /usr/bin/ffmpeg \"$@\"\n", "clip_REVIEW.mp4", "File already exists. Choose a different name or destination: clip_REVIEW.mp4\n" },
        { "/usr/bin/ffmpeg \"$@\" || exit\ntruncate -s 100 \"${@: -1}\"\n", {}, "Output validation failed. The incomplete transcode was discarded.\n" },
    };
    for (const auto &[engine, taken, message] : cases) {
        useEngine(engine);
        if (!taken.isEmpty())
            dir.write("out/" + taken, "earlier work");
        const test::ProcessResult result = vantor(review(source));
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.errText(), "vantor: " + message);
        EXPECT_EQ(outputs(), taken.isEmpty() ? QStringList() : QStringList { taken });
        EXPECT_TRUE(temporaryIsEmpty() && result.out.isEmpty());
        QFile::remove(out + '/' + taken);
    }
}

TEST_F(MediaCommands, DryRunPrintsTheEngineArgumentsAndRunsNothing)
{
    const QString source = clip("A001C002.mov");
    const QStringList lines = vantor({ "transcode", "--dry-run", "-p", "Editorial Proxy", "--width", "160", "--burn-filename", source })
                                  .outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 20);
    EXPECT_EQ(lines.mid(0, lines.indexOf("-i") + 2).join(' '), "-hide_banner -nostdin -n -loglevel warning -progress pipe:1 -stats_period 0.25 -i " + source);
    EXPECT_TRUE(lines.at(lines.indexOf("-vf") + 1).startsWith("scale=160:90:flags=lanczos,drawtext="));
    EXPECT_TRUE(QRegularExpression("^" + QRegularExpression::escape(dir.path()) + "/\\.vantor-.*-encode\\.partial$").match(lines.last()).hasMatch());
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList { "A001C002.mov" });
    EXPECT_TRUE(temporaryIsEmpty());
}

QString filterChain(const test::ProcessResult &dryRun)
{
    const QStringList lines = dryRun.outText().split('\n');
    return lines.value(lines.indexOf("-vf") + 1);
}

// The picture options reach the engine, and a preset saved with them keeps them.
TEST_F(MediaCommands, PictureOptionsAndSavedPresets)
{
    const QString source = clip();
    const QStringList picture { "--crop", "0:0:40:40", "--rotate", "180", "--flip-h", "--deinterlace", "--denoise", "medium", "--sharpen", "--grayscale" };
    const QString chain = filterChain(vantor(QStringList { "transcode", "--dry-run", "-p", "Editorial Proxy" } + picture + QStringList { source }));
    EXPECT_TRUE(chain.startsWith("bwdif=mode=send_frame:parity=auto:deint=all,crop=240:180:40:0,hflip,vflip,hflip,scale=")) << chain.toStdString();
    EXPECT_TRUE(chain.endsWith(",hqdn3d=3:3:6:6,unsharp=5:5:0.6:5:5:0,hue=s=0")) << chain.toStdString();

    const test::ProcessResult saved = vantor(QStringList { "presets", "save", "Flat Mono", "-p", "Editorial Proxy" } + picture);
    ASSERT_EQ(saved.exitCode, 0) << saved.errText().toStdString();
    EXPECT_EQ(saved.outText(), "Custom preset saved\n");
    EXPECT_EQ(filterChain(vantor({ "transcode", "--dry-run", "-p", "Flat Mono", source })), chain);
    const test::ProcessResult twice = vantor({ "presets", "save", "Flat Mono", "-p", "Review File" });
    EXPECT_EQ(twice.exitCode, 1);
    EXPECT_EQ(twice.errText(), "vantor: A preset named “Flat Mono” already exists. Remove it first or choose another name.\n");

    const test::ProcessResult removed = vantor({ "presets", "remove", "Flat Mono" });
    EXPECT_EQ(removed.outText(), "Preset “Flat Mono” removed\n");
    const AppState state = stored();
    EXPECT_EQ(state.presets.size(), PresetService::defaults().size());
    EXPECT_TRUE(std::none_of(state.presets.begin(), state.presets.end(), [](const TranscodePreset &preset) { return preset.name == "Flat Mono"; }));
}

// Stored presets are found and the state is only read; each source's output goes beside it, and
// one failing source does not stop the rest.
TEST_F(MediaCommands, StoredPresetsAndSeveralSources)
{
    AppState state = AppState::fresh();
    TranscodePreset tiny = PresetService::defaults().first();
    tiny.name = "Tiny Proxy", tiny.maxWidth = 64, tiny.suffix = "_TINY";
    state.presets.push_back(tiny);
    StateStore::save(state, support);
    const QByteArray saved = test::readFile(support + "/state.json");
    dir.makeDir("a");
    dir.makeDir("b");
    const test::ProcessResult result = vantor({ "transcode", "-p", "Tiny Proxy", clip("a/one.mov"), dir.file("missing.mov"), clip("b/two.mov") });
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), dir.file("a/one_TINY.mov") + '\n' + dir.file("b/two_TINY.mov") + '\n');
    EXPECT_EQ(test::listTree(support), QStringList { "state.json" });
    EXPECT_EQ(test::readFile(support + "/state.json"), saved);
}

// A stored preset whose suffix would reach into a folder is refused, not followed.
TEST_F(MediaCommands, StoredPresetWithAFolderInItsSuffixIsRefused)
{
    AppState state = AppState::fresh();
    TranscodePreset nested = PresetService::defaults().first();
    nested.name = "Nested", nested.suffix = "/sub";
    state.presets.push_back(nested);
    StateStore::save(state, support);
    const test::ProcessResult result = vantor({ "transcode", "-p", "Nested", "-o", out, clip() });
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errText(), "vantor: Use a suffix without “/”, “..” or control characters.\n");
    EXPECT_TRUE(outputs().isEmpty());
}

TEST_F(MediaCommands, TranscodeInterruptedCancelsAndPublishesNothing)
{
    // The engine reads in real time, so the encode is surely running when the signal comes.
    useEngine("exec /usr/bin/ffmpeg -re \"$@\"\n");
    const QStringList arguments { "transcode", "-p", "Editorial Proxy", "--burn-timecode", "-o", out, clip("long.mov", 30.0) };
    const test::ProcessResult result = interrupted(arguments, [&] { return !outputs().isEmpty(); });
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.errText(), "vantor: Cancelled. Nothing was published.\n");
    EXPECT_TRUE(outputs().isEmpty() && temporaryIsEmpty());
}

TEST_F(MediaCommands, PreviewPrintsTheFrameOrClipAndTheEstimate)
{
    const QString source = clip("clip.mov", 1.0);
    const QStringList frame = vantor({ "preview", "-p", "Editorial Proxy", "--at", "0.5", "--burn-timecode", source }).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(frame.size(), 2);
    EXPECT_TRUE(frame[0].startsWith(temporary + "/vantor-preview-") && frame[0].endsWith("/Processed Frame.png"));
    EXPECT_EQ(probe(frame[0]).width, 320);
    EXPECT_TRUE(frame[1].startsWith("About "));
    const QStringList testClip = vantor({ "preview", "-p", "Review File", "--clip", source }).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(testClip.size(), 2);
    EXPECT_EQ(QFileInfo(testClip[0]).fileName(), "Test Clip.mp4");
    EXPECT_NEAR(probe(testClip[0]).duration, 1.0, 0.1);
    EXPECT_EQ(testClip[1], "Variable · Encode A Test Clip");

    const test::ProcessResult beyond = vantor({ "preview", "-p", "Review File", "--at", "1.5", source });
    EXPECT_EQ(beyond.exitCode, 2);
    EXPECT_TRUE(beyond.errText().startsWith(QString("vantor: --at is past the end of the clip, which runs %1 seconds.\n")
                                                .arg(probe(source).duration, 0, 'f', 2))) << beyond.errText().toStdString();
    EXPECT_TRUE(beyond.out.isEmpty());
}

// 日本 is drawn with a font that has it: its frame differs from one of two characters no font has
// (the same empty box twice), and only the latter is named in the detail text.
TEST_F(MediaCommands, PreviewDrawsCjkAndNamesCharactersNoFontHas)
{
    const QString source = clip("clip.mov", 1.0);
    const QString nowhere = QString::fromUcs4(U"\U0010FFFD\U0010FFFE");
    QList<QByteArray> frames;
    for (const auto &[text, detail] : std::vector<std::pair<QString, QString>> {
             { "日本", "" },
             { nowhere, "No installed font has " + nowhere + ", so the burn-in draws them as empty boxes. Install a font "
                 "that has them, such as fonts-noto-cjk for Chinese, Japanese and Korean." } }) {
        const test::ProcessResult result = vantor({ "preview", "-p", "Editorial Proxy", "--burn-text", text, "--burn-size", "60", source });
        ASSERT_EQ(result.exitCode, 0) << result.err.constData();
        const QStringList lines = result.outText().split('\n', Qt::SkipEmptyParts);
        ASSERT_GE(lines.size(), 2);
        EXPECT_EQ(lines.value(2), detail);
        frames << test::readFile(lines[0]);
    }
    EXPECT_NE(frames[0], frames[1]) << "日本 was drawn as empty boxes";
}

// Whatever reads a source through the engine leaves its access time as it found it.
TEST_F(MediaCommands, EngineRunsKeepTheSourcesAccessTime)
{
    dir.makeDir("card");
    const QString source = clip("card/A001C001.mov", 1.0);
    const time_t year2020 = 1577836800;
    const auto accessed = [&] {
        struct stat info {};
        ::stat(QFile::encodeName(source).constData(), &info);
        return info.st_atim.tv_sec;
    };
    const struct {
        const char *label;
        std::vector<QStringList> commands;
    } cases[] = {
        { "probe", { { "probe", source } } },
        { "transcode", { { "transcode", "-p", "Editorial Proxy", "-o", out, source } } },
        { "previewFrame", { { "preview", "-p", "Editorial Proxy", "--at", "0.5", source } } },
        { "previewClip", { { "preview", "-p", "Editorial Proxy", "--clip", source } } },
        { "ingestTranscodeOnly", { { "ingest", "--operation", "transcode", "--project", dir.makeDir("Doc"), source } } },
        { "queueCopyAndTranscode",
            { { "queue", "add", "copy-transcode", "-p", "Editorial Proxy", "--root", dir.makeDir("Copies"), source },
                { "queue", "run" } } },
    };
    for (const auto &c : cases) {
        const timespec times[2] = { { year2020, 0 }, { 0, UTIME_OMIT } };
        ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(source).constData(), times, 0), 0);
        for (const QStringList &command : c.commands) {
            const test::ProcessResult result = vantor(command);
            ASSERT_EQ(result.exitCode, 0) << c.label << ": " << result.err.constData();
        }
        EXPECT_EQ(accessed(), year2020) << c.label;
    }
}

} // namespace
} // namespace vantor
