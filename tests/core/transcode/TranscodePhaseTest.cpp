// The transcode phase and previews with the real engine: what reaches the output's name, what is
// reported, where burn-ins land, and that nothing else is left behind, whatever happens; then the
// burn-in filters and the size estimate.
#include "ChildProcess.h"
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "transcode/BurnInService.h"
#include "presets/PresetService.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <algorithm>
#include <gtest/gtest.h>

namespace vantor {
namespace {

TEST(TranscodePhaseRules, ProgressReadsOnlyOutTimeLines)
{
    for (const auto &[line, duration, expected] : std::vector<std::tuple<const char *, double, std::optional<double>>> {
             { "out_time_us=2500000", 10, 0.25 }, { "out_time_us=-5000", 10, 0.0 }, { "out_time_us=11000000", 10, 0.99 },
             { "out_time_us=N/A", 10, {} }, { "out_time_ms=2500000", 10, {} }, { "frame=12", 10, {} }, { "out_time_us=2500000", 0, {} } })
        EXPECT_EQ(TranscodeService::progressFraction(line, duration), expected) << line;
}

TEST(TranscodePhaseRules, OutputValidationComparesDurationsWithinTolerance)
{
    const QString discarded = "Output validation failed. The incomplete transcode was discarded.";
    const QString mismatch = "The output duration does not match the source. Output was not committed.";
    // source duration, output duration, output width, refusal
    for (const auto &[source, duration, width, message] : std::vector<std::tuple<double, double, qint64, QString>> {
             { 100, 101.9, 1920, "(accepted)" }, { 100, 102.1, 1920, mismatch }, { 10, 11.5, 1920, mismatch },
             { 10, 9.0, 1920, "(accepted)" }, { 0, 42, 1920, "(accepted)" }, { 10, 10, 0, discarded }, { 0, 0, 1920, discarded } }) {
        MediaInfo output;
        output.width = width, output.duration = duration;
        EXPECT_EQ(test::refusal([&] { TranscodeService::validateOutput(output, source); }), message) << source << " " << duration;
    }
}

using P = TranscodePreset;

P named(const QString &name, const std::function<void(P &)> &change = [](P &) {})
{
    P preset = PresetService::find(PresetService::defaults(), name).value();
    change(preset);
    return preset;
}

// Editorial Proxy (ProRes, mov, PCM), with filename and timecode burned in at `position`.
P proxy(const QString &position = {})
{
    return named("Editorial Proxy", [&](P &p) {
        if (!position.isEmpty())
            p.setFinish({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = position, .burnSize = 12, .channelMap = {} });
    });
}

// The first frame of an image or video as 8-bit gray, row by row.
QByteArray grayFrame(const QString &path)
{
    return test::runProgram("ffmpeg", { "-v", "error", "-i", path, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "gray", "-" }).out;
}

// The burn-in position naming the region of a 320×180 frame around the centre of the pixels
// where two frames differ by more than compression noise; empty when none do.
QString changedRegion(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != 320 * 180 || b.size() != a.size())
        return "frames of the wrong size";
    qint64 x = 0, y = 0, count = 0;
    for (int i = 0; i < a.size(); ++i)
        if (std::abs(int(quint8(a[i])) - int(quint8(b[i]))) > 40)
            x += i % 320, y += i / 320, ++count;
    if (count == 0)
        return {};
    const QString name = QStringList { "Top ", "Middle ", "Bottom " }[3 * y / count / 180] + QStringList { "Left", "Center", "Right" }[3 * x / count / 320];
    return name == "Middle Center" ? "Center" : name;
}

// Temporary files go to a folder of the test's own, named with characters the filter syntax
// would split on, so what outlives a run shows and label paths must be escaped.
class TranscodePhaseTest : public testing::Test {
protected:
    test::TempDir media, out, temporary;
    const QString oddName = "it's: a, [odd]; dir\\";
    const QString oddTemporary = temporary.makeDir(oddName);
    test::ScopedEnvironment tmpdir { "TMPDIR", oddTemporary.toUtf8() };
    JobControl control;

    QString clip(double seconds, const QString &name = "clip.mov")
    {
        return test::makeClip(media.file(name), test::clips::silentClip("01:00:00:00", seconds));
    }
    MediaJob job(const QString &source, const TranscodePreset &preset, const QString &name = "clip.mov")
    {
        return test::transcodeJob(source, out.path(), out.file("day1/" + name), preset);
    }
    // Nothing but the named outputs below the destination, nothing left in the temporary folder.
    void expectOnly(const QStringList &outputs)
    {
        QStringList files = test::listTree(out.path());
        files.removeIf([](const QString &entry) { return entry.endsWith('/'); });
        EXPECT_EQ(files, outputs);
        EXPECT_EQ(leftovers(), QStringList {});
    }
    QStringList leftovers() const { return QDir(oddTemporary).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    BurnInAssets prepare(const FinishingOptions &finish, const std::optional<QString> &timecode, const QString &rate = "25/1",
        const QString &frameRate = "Source")
    {
        const P preset = named("Editorial Proxy", [&](P &p) { p.setFinish(finish), p.setTuning({ .frameRate = frameRate }); });
        MediaInfo info;
        info.width = 320, info.height = 180, info.duration = 1, info.frameRate = rate, info.timecode = timecode;
        return BurnInService::prepare("/media/A001/A001C003.mov", preset, info);
    }
};

TEST_F(TranscodePhaseTest, PublishesAValidatedOutputAndReportsCompletionLast)
{
    const MediaJob transcodeJob = job(clip(2.0), proxy("Bottom Left"), "clip_PROXY.mov");
    std::vector<double> reported;
    TranscodeService::transcode(transcodeJob, {}, control, [&](double fraction) { reported.push_back(fraction); });
    ASSERT_GE(reported.size(), 2u);
    EXPECT_EQ(reported.back(), 1.0);
    EXPECT_TRUE(std::all_of(reported.begin(), reported.end() - 1, [](double f) { return f >= 0 && f <= 0.99; }));
    const MediaInfo info = TranscodeService::probe(*transcodeJob.outputDestination, {}, control);
    EXPECT_EQ(std::make_tuple(info.codec, info.timecode), std::make_tuple(QString("prores"), std::optional<QString>("01:00:00:00")));
    EXPECT_NEAR(info.duration, 2.0, 0.1);
    expectOnly({ "day1/clip_PROXY.mov" });
}

// Encodes the verified copy when there is one: the card may be out by now.
TEST_F(TranscodePhaseTest, EncodesTheVerifiedCopyAndRefusesAChangedSourceOrMissingSettings)
{
    MediaJob copied = job(clip(2.0), proxy());
    copied.copyDestination = clip(1.0, "copy.mov");
    copied.source = media.file("card/gone.mov");
    TranscodeService::transcode(copied, {}, control, {});
    EXPECT_NEAR(TranscodeService::probe(*copied.outputDestination, {}, control).duration, 1.0, 0.1);
    MediaJob changed = job(clip(0.5), proxy("Center"), "changed.mov");
    changed.bytes += 1;
    EXPECT_EQ(test::refusal([&] { TranscodeService::transcode(changed, {}, control, {}); }),
        "The source changed after it was queued. Add it again: clip.mov");
    MediaJob bare = job(clip(0.5), proxy(), "bare.mov");
    bare.preset.reset();
    EXPECT_EQ(test::refusal([&] { TranscodeService::transcode(bare, {}, control, {}); }), "Missing transcode settings.");
    expectOnly({ "day1/clip.mov" });
}

class BurnIns : public TranscodePhaseTest, public testing::WithParamInterface<QString> { };

// The clip's name carries characters the filter syntax would split on too.
TEST_P(BurnIns, LandWhereThePositionSaysInAPreviewAndAnEncode)
{
    const QString source = clip(0.2, "it's [a], b; c.mov");
    const auto preview = [&](const TranscodePreset &preset) {
        const QString frame = PreviewService::render(source, preset, 0.1, false, {}, control);
        const QByteArray gray = grayFrame(frame);
        PreviewService::remove(QFileInfo(frame).path());
        return gray;
    };
    EXPECT_EQ(changedRegion(preview(proxy()), preview(proxy(GetParam()))), GetParam());
    MediaJob plain = job(source, proxy(), "plain.mov");
    MediaJob burned = job(source, proxy(GetParam()), "burned.mov");
    TranscodeService::transcode(plain, {}, control, {});
    TranscodeService::transcode(burned, {}, control, {});
    EXPECT_EQ(changedRegion(grayFrame(*plain.outputDestination), grayFrame(*burned.outputDestination)), GetParam());
    expectOnly({ "day1/burned.mov", "day1/plain.mov" });
}

INSTANTIATE_TEST_SUITE_P(Seven, BurnIns,
    testing::Values("Top Left", "Top Center", "Top Right", "Center", "Bottom Left", "Bottom Center", "Bottom Right"),
    [](const auto &info) { return QString(info.param).remove(' ').toStdString(); });

TEST_F(TranscodePhaseTest, BurnInLabelFileTimecodeBesideItAndRefusalsLeaveNoFolder)
{
    const BurnInAssets assets = prepare({ .burnFilename = true, .burnTimecode = true, .burnText = "Client cut", .channelMap = {} }, QString("10:00:00;00"), "30000/1001");
    ASSERT_TRUE(assets.directory.has_value());
    EXPECT_TRUE(QDir(*assets.directory).dirName().startsWith("vantor-burn-"));
    const QString label = *assets.directory + "/label.txt";
    EXPECT_EQ(test::readFile(label), "A001C003.mov\nClient cut");
    const QString font = "drawtext=fontfile=" + BurnInService::fontFile()
        + ":fontsize=28:fontcolor=white:box=1:boxcolor=black@0.55:boxborderw=8:x=24:y=";
    // Two label lines at size 28 push the timecode 72 pixels away from the edge.
    // The label's path escaped for the option parser (\ ' :), then its quotes for the graph parser.
    const QString quoted = temporary.path() + "/it\\'\\''s\\: a, [odd]; dir\\\\/" + QDir(*assets.directory).dirName() + "/label.txt";
    EXPECT_EQ(assets.filters, (QStringList { font + "h-th-24:textfile='" + quoted + "':expansion=none",
                                  font + "h-th-24-72:timecode='10\\:00\\:00;00':timecode_rate=29.97002997" }));
    assets.cleanup();
    EXPECT_TRUE(leftovers().isEmpty());
    // Timecode alone needs no folder, sits at the edge and follows the preset's frame rate.
    const BurnInAssets timecode = prepare({ .burnTimecode = true, .burnText = {}, .burnPosition = "Top Left", .channelMap = {} }, QString("00:59:59:00"), "0/0", "50");
    EXPECT_FALSE(timecode.directory.has_value());
    ASSERT_EQ(timecode.filters.size(), 1);
    EXPECT_TRUE(timecode.filters[0].contains(":y=24+0:timecode=")) << timecode.filters[0].toStdString();
    EXPECT_TRUE(timecode.filters[0].endsWith("timecode_rate=50"));
    EXPECT_TRUE(prepare({}, std::nullopt).filters.isEmpty());
    // Refused after the label was written: its folder must go with the error.
    const QString noTimecode = "Timecode burn-in requires source timecode. Disable it for clips without timecode.";
    for (const auto &[timecode, rate, message] : std::vector<std::tuple<std::optional<QString>, QString, QString>> {
             { std::nullopt, "25/1", noTimecode }, { "1:00:00:00", "25/1", noTimecode }, { "01:00:00:00:00", "25/1", noTimecode },
             { "01:00:00:00", "0/0", "Cannot determine the frame rate for timecode burn-in." } }) {
        EXPECT_EQ(test::refusal([&] { prepare({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = "Center", .channelMap = {} }, timecode, rate); }), message);
        EXPECT_TRUE(leftovers().isEmpty());
    }
}

// The burn-in font has the text's characters: fontconfig itself is asked which fonts have them.
TEST(BurnInFonts, FollowTheCharactersOfTheText)
{
    const QString monospace = test::runProgram("fc-match", { "-f", "%{file}", "monospace" }).outText();
    const auto fontsWith = [](const QString &characters) {
        QStringList codes;
        for (const char32_t character : characters.toUcs4())
            codes << QString::number(uint(character), 16);
        return test::runProgram("fc-list", { "-f", "%{file}\\n", ":charset=" + codes.join(' ') }).outText().split('\n', Qt::SkipEmptyParts);
    };
    const QString nowhere = QString::fromUcs4(U"\U0010FFFD"); // private use: no font has it
    // text, the characters its font must have (empty: the monospace font), the characters no font has
    for (const auto &[text, needed, missing] : std::vector<std::tuple<QString, QString, QString>> {
             { "A001C003.mov\nClient cut", "", "" }, { "10:00:00;00", "", "" }, { "Day 2 日本", "日本", "" },
             { "ソニー 한국", "ソニー한국", "" }, { "日本" + nowhere + "x" + nowhere, "日本", nowhere } }) {
        const QString font = BurnInService::fontFile(text);
        if (needed.isEmpty())
            EXPECT_EQ(font, monospace) << text.toStdString();
        else
            EXPECT_TRUE(fontsWith(needed).contains(font)) << text.toStdString() << " got " << font.toStdString();
        EXPECT_EQ(BurnInService::uncoveredCharacters(text), missing) << text.toStdString();
    }
}

TEST_F(TranscodePhaseTest, PreviewsAreAtMost1280WideFailuresLeaveNoFolderAndRemoveTouchesOnlyPreviews)
{
    const QString wide = test::makeClip(media.file("wide.mp4"), { .width = 1920, .height = 1080, .seconds = 0.4, .audioChannels = 0 });
    const QString frame = PreviewService::render(wide, named("ProRes Master"), 30, false, {}, control);
    EXPECT_EQ(QFileInfo(frame).fileName(), "Processed Frame.png");
    const MediaInfo still = TranscodeService::probe(frame, {}, control);
    EXPECT_EQ(std::make_pair(still.width, still.height), std::make_pair(qint64(1280), qint64(720)));
    PreviewService::remove(QFileInfo(frame).path());
    P preset = named("Review File");
    preset.setFinish({ .burnTimecode = true, .burnText = {}, .channelMap = {} });
    EXPECT_THROW(PreviewService::render(test::clips::audioOnly(media), preset, 0, false, {}, control), VantorError);
    EXPECT_THROW(PreviewService::render(test::makeClip(media.file("untimed.mov"), test::clips::silentClip()), preset, 0, false, {}, control), VantorError);
    const QString source = test::makeClip(media.file("tc.mov"), test::clips::silentClip("01:00:00:00"));
    control.cancel();
    EXPECT_THROW(PreviewService::render(source, preset, 0, true, {}, control), CancellationError);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    const QString label = temporary.write(oddName + "/vantor-burn-keep/label.txt", "x");
    PreviewService::remove(QFileInfo(label).path());
    EXPECT_TRUE(QFileInfo::exists(label));
    const QString preview = temporary.write(oddName + "/vantor-preview-1/Processed Frame.png", "x");
    PreviewService::remove(QFileInfo(preview).path());
    EXPECT_EQ(leftovers(), QStringList { "vantor-burn-keep" });
}

MediaInfo probed(double seconds, qint64 width, qint64 height, const QString &rate, QList<qint64> channels)
{
    MediaInfo info;
    info.duration = seconds, info.width = width, info.height = height, info.frameRate = rate;
    info.audioChannels = channels;
    for (qsizetype i = 0; i < channels.size(); ++i)
        info.audioTracks << QString("Track %1").arg(i + 1);
    return info;
}

TEST(SizeEstimates, FollowTheRatesOfTheCodecAndAudio)
{
    QLocale::setDefault(QLocale::c());
    const MediaInfo hd = probed(60, 1920, 1080, "30/1", { 2 }), two = probed(100, 1920, 1080, "30/1", { 2, 6 });
    const auto bitrate10 = [](P &p) { p.bitrateMbps = 10; };
    for (const auto &[preset, info, estimate] : std::vector<std::tuple<P, MediaInfo, QString>> {
             // ProRes Proxy at 1080p30 is 45 Mbit/s; 24-bit 48 kHz stereo PCM adds 2.304: 60 s × 47.304 Mbit/s.
             { named("Editorial Proxy"), hd, "About 354.8 MB" },
             { named("Editorial Proxy"), probed(0, 1920, 1080, "30/1", { 2 }), "Unknown" },
             { named("Review File"), hd, "Variable · Encode A Test Clip" },
             // Half the width limit on a 3840×2160 source: s² = 1/4 of 4× the pixels; 25 fps: × 25/30.
             { named("Editorial Proxy"), probed(50, 3840, 2160, "25/1", {}), "About 234.4 MB" },
             // 10 Mbit/s plus two AAC streams at 256 kbit/s for 100 s, or only the selected one.
             { named("Review File", bitrate10), two, "About 131.4 MB" },
             { named("Review File", [&](P &p) { bitrate10(p), p.setTuning({ .audioTrack = 1 }); }), two, "About 128.2 MB" },
             // Passthrough audio is not counted; mono PCM wins over the source's six channels (4444 is 330).
             { named("ProRes Master", [](P &p) { p.codec = Codec::dnxHQ, p.audio = AudioMode::passthrough; }), probed(10, 1920, 1080, "30/1", { 2 }), "About 275.0 MB" },
             { named("Archive Master", [](P &p) { p.channels = 1; }), probed(8, 1920, 1080, "30/1", { 6 }), "About 331.2 MB" } })
        EXPECT_EQ(PreviewService::estimatedSize(preset, info), estimate) << preset.name.toStdString();
    QLocale::setDefault(QLocale::system());
}

} // namespace
} // namespace vantor
