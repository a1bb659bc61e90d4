// The transcode phase with the real engine: what reaches the output's name, what is reported,
// and that nothing else is left behind, whatever happens.
#include "FramePixels.h"
#include "SampleClips.h"
#include "ScopedEnvironment.h"
#include "ingest/MediaIngestService.h"
#include "model/VantorError.h"
#include "transcode/PresetService.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <future>
#include <gtest/gtest.h>
#include <mutex>

namespace vantor {
namespace {

TEST(TranscodeProgress, ReadsOnlyOutTimeLines)
{
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction("out_time_us=2500000", 10), 0.25);
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction("out_time_us=-5000", 10), 0.0);
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction("out_time_us=11000000", 10), 0.99);
    for (const char *line : { "out_time_us=N/A", "out_time_ms=2500000", "frame=12" })
        EXPECT_FALSE(TranscodeService::progressFraction(line, 10)) << line;
    EXPECT_FALSE(TranscodeService::progressFraction("out_time_us=2500000", 0));
}

TEST(OutputValidation, ComparesDurationsWithinTolerance)
{
    const QString discarded = "Output validation failed. The incomplete transcode was discarded.";
    const QString mismatch = "The output duration does not match the source. Output was not committed.";
    // source duration, output duration, output width, refusal
    for (const auto &[source, duration, width, message] : std::vector<std::tuple<double, double, qint64, QString>> {
             { 100, 101.9, 1920, {} }, { 100, 102.1, 1920, mismatch }, { 10, 11.5, 1920, mismatch }, { 10, 9.0, 1920, {} },
             { 0, 42, 1920, {} }, { 10, 10, 0, discarded }, { 0, 0, 1920, discarded } }) {
        MediaInfo output;
        output.width = width, output.duration = duration;
        QString result;
        try {
            TranscodeService::validateOutput(output, source);
        } catch (const VantorError &error) {
            result = error.message();
        }
        EXPECT_EQ(result, message) << source << " " << duration;
    }
}

TranscodePreset proxy(const QString &burnPosition = {})
{
    TranscodePreset preset = PresetService::defaults().first(); // Editorial Proxy: ProRes, mov, PCM
    if (!burnPosition.isEmpty())
        preset.setFinish({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = burnPosition, .burnSize = 12, .channelMap = {} });
    return preset;
}

class TranscodePhaseTest : public testing::Test {
protected:
    test::TempDir media, out, temporary;
    test::TempDir engineDir; // made before TMPDIR points at `temporary`
    test::ScopedEnvironment tmpdir { "TMPDIR", temporary.path().toUtf8() };
    JobControl control;

    QString clip(double seconds, const QString &name = "clip.mov")
    {
        test::ClipSpec settings = test::clips::silentClip("01:00:00:00");
        settings.seconds = seconds;
        return test::makeClip(media.file(name), settings);
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
        EXPECT_TRUE(QDir(temporary.path()).isEmpty());
    }
    QString refusal(const MediaJob &bad)
    {
        try {
            TranscodeService::transcode(bad, {}, control, {});
        } catch (const VantorError &error) {
            return error.message();
        }
        return "(accepted)";
    }
};

TEST_F(TranscodePhaseTest, PublishesAValidatedOutputAndReportsCompletionLast)
{
    const MediaJob transcodeJob = job(clip(2.0), proxy("Bottom Left"), "clip_PROXY.mov");
    std::vector<double> reported;
    TranscodeService::transcode(transcodeJob, {}, control, [&](double fraction) { reported.push_back(fraction); });
    ASSERT_GE(reported.size(), 2u);
    EXPECT_EQ(reported.back(), 1.0);
    reported.pop_back();
    EXPECT_TRUE(std::all_of(reported.begin(), reported.end(), [](double f) { return f >= 0 && f <= 0.99; }));
    const MediaInfo info = TranscodeService::probe(*transcodeJob.outputDestination, {}, control);
    EXPECT_EQ(info.codec, "prores");
    EXPECT_NEAR(info.duration, 2.0, 0.1);
    EXPECT_EQ(info.timecode, QString("01:00:00:00"));
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
    EXPECT_NE(refusal(changed), "(accepted)");
    MediaJob bare = job(clip(0.5), proxy());
    bare.preset.reset();
    EXPECT_EQ(refusal(bare), "Missing transcode settings.");
    expectOnly({});
}

// The engine reads its input in real time here, so the encode is still running when paused.
TEST_F(TranscodePhaseTest, CancelWhilePausedLeavesNothing)
{
    const QString engine = engineDir.write("ffmpeg", "#!/bin/sh\nexec /usr/bin/ffmpeg -re \"$@\"\n");
    QFile::setPermissions(engine, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::link("/usr/bin/ffprobe", engineDir.file("ffprobe"));
    test::ScopedEnvironment variable("VANTOR_ENGINE", engine.toUtf8());
    const MediaJob slow = job(clip(20.0), proxy("Top Left"));
    std::promise<void> started;
    std::once_flag once;
    auto running = std::async(std::launch::async, [&] {
        TranscodeService::transcode(slow, {}, control, [&](double fraction) {
            if (fraction > 0)
                std::call_once(once, [&] { started.set_value(); });
        });
    });
    ASSERT_EQ(started.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    control.pause();
    control.cancel();
    EXPECT_THROW(running.get(), CancellationError);
    expectOnly({});
}

class EncodedBurnIns : public TranscodePhaseTest, public testing::WithParamInterface<QString> { };

TEST_P(EncodedBurnIns, LandWhereThePositionSays)
{
    const QString source = clip(0.2);
    MediaJob plain = job(source, proxy(), "plain.mov");
    MediaJob burned = job(source, proxy(GetParam()), "burned.mov");
    TranscodeService::transcode(plain, {}, control, {});
    TranscodeService::transcode(burned, {}, control, {});
    EXPECT_EQ(test::pixels::changedRegion(test::pixels::grayFrame(*plain.outputDestination),
                  test::pixels::grayFrame(*burned.outputDestination), 320, 180),
        GetParam());
    expectOnly({ "day1/burned.mov", "day1/plain.mov" });
}

INSTANTIATE_TEST_SUITE_P(Seven, EncodedBurnIns, testing::ValuesIn(test::pixels::positions()),
    [](const auto &info) { return QString(info.param).remove(' ').toStdString(); });

} // namespace
} // namespace vantor
