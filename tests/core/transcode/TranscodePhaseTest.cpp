// The transcode phase with the real engine: what reaches the output's name, what is reported,
// where burn-ins land, and that nothing else is left behind, whatever happens.
#include "ChildProcess.h"
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "ingest/MediaIngestService.h"
#include "transcode/PresetService.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFileInfo>
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

// Editorial Proxy (ProRes, mov, PCM), with filename and timecode burned in at `position`.
TranscodePreset proxy(const QString &position = {})
{
    TranscodePreset preset = PresetService::defaults().first();
    if (!position.isEmpty())
        preset.setFinish({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = position, .burnSize = 12, .channelMap = {} });
    return preset;
}

// The first frame of an image or video as 8-bit gray, row by row.
QByteArray grayFrame(const QString &path)
{
    return test::runProgram("ffmpeg", { "-v", "error", "-i", path, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "gray", "-" }).out;
}

// The burn-in position naming the region of a 320×180 frame where two frames differ by more
// than compression noise; empty when they do not.
QString changedRegion(const QByteArray &a, const QByteArray &b)
{
    const int width = 320, height = 180;
    if (a.size() != width * height || b.size() != a.size())
        return "frames of the wrong size";
    int left = width, right = -1, top = height, bottom = -1;
    for (int i = 0; i < a.size(); ++i) {
        if (std::abs(int(quint8(a[i])) - int(quint8(b[i]))) > 40) {
            left = std::min(left, i % width), right = std::max(right, i % width);
            top = std::min(top, i / width), bottom = std::max(bottom, i / width);
        }
    }
    if (right < 0)
        return {};
    const int cx = (left + right) / 2, cy = (top + bottom) / 2;
    const QString row = cy < height / 3 ? "Top" : cy < 2 * height / 3 ? "" : "Bottom";
    const QString column = cx < width / 3 ? "Left" : cx < 2 * width / 3 ? "Center" : "Right";
    if (row.isEmpty())
        return column == "Center" ? column : "Middle " + column;
    return row + ' ' + column;
}

// Temporary files go to a folder of the test's own, named with characters the filter syntax
// would split on, so what outlives a run shows and label paths must be escaped.
class TranscodePhaseTest : public testing::Test {
protected:
    test::TempDir media, out, temporary;
    const QString oddTemporary = temporary.makeDir("it's: a, [odd]; dir\\");
    test::ScopedEnvironment tmpdir { "TMPDIR", oddTemporary.toUtf8() };
    JobControl control;

    QString clip(double seconds, const QString &name = "clip.mov")
    {
        return test::makeClip(media.file(name), test::clips::silentClip("01:00:00:00", seconds));
    }
    MediaJob job(const QString &source, const TranscodePreset &preset, const QString &name = "clip.mov")
    {
        const SourceFile file = MediaIngestService::scan({ source }).front();
        return MediaJob::make(file.url, file.grant, out.path(), FileGrant(out.path()), std::nullopt,
            out.file("day1/" + name), JobOperation::transcode, preset, std::nullopt, file.size, file.modified);
    }
    // Nothing but the named outputs below the destination, nothing left in the temporary folder.
    void expectOnly(const QStringList &outputs)
    {
        QStringList files = test::listTree(out.path());
        files.removeIf([](const QString &entry) { return entry.endsWith('/'); });
        EXPECT_EQ(files, outputs);
        EXPECT_TRUE(QDir(oddTemporary).isEmpty());
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

TEST_F(TranscodePhaseTest, EncodesTheVerifiedCopyWhenThereIsOne)
{
    MediaJob copied = job(clip(2.0), proxy());
    copied.copyDestination = clip(1.0, "copy.mov");
    copied.source = media.file("card/gone.mov"); // the card may be out by now
    TranscodeService::transcode(copied, {}, control, {});
    EXPECT_NEAR(TranscodeService::probe(*copied.outputDestination, {}, control).duration, 1.0, 0.1);
}

TEST_F(TranscodePhaseTest, RefusesAChangedSourceOrMissingSettings)
{
    MediaJob changed = job(clip(0.5), proxy("Center"));
    changed.bytes += 1;
    EXPECT_NE(test::refusal([&] { TranscodeService::transcode(changed, {}, control, {}); }), "(accepted)");
    MediaJob bare = job(clip(0.5), proxy());
    bare.preset.reset();
    EXPECT_EQ(test::refusal([&] { TranscodeService::transcode(bare, {}, control, {}); }), "Missing transcode settings.");
    expectOnly({});
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

} // namespace
} // namespace vantor
