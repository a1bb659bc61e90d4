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
#include <QFileInfo>
#include <gtest/gtest.h>
#include <future>
#include <mutex>

namespace vantor {
namespace {

using test::TempDir;

TEST(TranscodeProgress, ReadsOnlyOutTimeLines)
{
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction(QStringLiteral("out_time_us=2500000"), 10), 0.25);
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction(QStringLiteral("out_time_us=-5000"), 10), 0.0);
    EXPECT_DOUBLE_EQ(*TranscodeService::progressFraction(QStringLiteral("out_time_us=11000000"), 10), 0.99);
    EXPECT_FALSE(TranscodeService::progressFraction(QStringLiteral("out_time_us=N/A"), 10));
    EXPECT_FALSE(TranscodeService::progressFraction(QStringLiteral("out_time_ms=2500000"), 10));
    EXPECT_FALSE(TranscodeService::progressFraction(QStringLiteral("frame=12"), 10));
    EXPECT_FALSE(TranscodeService::progressFraction(QStringLiteral("out_time_us=2500000"), 0));
}

struct ValidationCase {
    std::string name;
    double source;
    double output;
    qint64 width;
    QString message; // empty: accepted
};

class OutputValidation : public ::testing::TestWithParam<ValidationCase> {};

TEST_P(OutputValidation, ComparesDurationsWithinTolerance)
{
    MediaInfo output;
    output.width = GetParam().width;
    output.duration = GetParam().output;
    try {
        TranscodeService::validateOutput(output, GetParam().source);
        EXPECT_TRUE(GetParam().message.isEmpty()) << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), GetParam().message);
    }
}

const QString discarded = QStringLiteral("Output validation failed. The incomplete transcode was discarded.");
const QString mismatch = QStringLiteral("The output duration does not match the source. Output was not committed.");

INSTANTIATE_TEST_SUITE_P(
    Table, OutputValidation,
    ::testing::Values(ValidationCase{"TwoPercentOfLongSources", 100, 101.9, 1920, {}},
                      ValidationCase{"BeyondTwoPercent", 100, 102.1, 1920, mismatch},
                      ValidationCase{"OneSecondForShortSources", 10, 11.5, 1920, mismatch},
                      ValidationCase{"ExactlyTheTolerance", 10, 9.0, 1920, {}},
                      ValidationCase{"UnknownSourceDuration", 0, 42, 1920, {}},
                      ValidationCase{"NoPicture", 10, 10, 0, discarded},
                      ValidationCase{"NoDuration", 0, 0, 1920, discarded}),
    [](const auto &info) { return info.param.name; });

TranscodePreset proxy(const QString &burnPosition = {})
{
    TranscodePreset preset = PresetService::defaults().first(); // Editorial Proxy: ProRes, mov, PCM
    if (!burnPosition.isEmpty()) {
        FinishingOptions finish;
        finish.burnFilename = true;
        finish.burnTimecode = true;
        finish.burnPosition = burnPosition;
        finish.burnSize = 12;
        preset.setFinish(finish);
    }
    return preset;
}

class TranscodePhaseTest : public ::testing::Test {
protected:
    TempDir media;
    TempDir out;
    TempDir temporary;
    TempDir engineDir; // made before TMPDIR points at `temporary`
    test::ScopedEnvironment tmpdir{"TMPDIR", temporary.path().toUtf8()};
    JobControl control;

    QString clip(double seconds, const QString &name = QStringLiteral("clip.mov"))
    {
        test::ClipSpec spec = test::clips::silentClip(QStringLiteral("01:00:00:00"));
        spec.seconds = seconds;
        return test::makeClip(media.file(name), spec);
    }
    MediaJob job(const QString &source, const TranscodePreset &preset, const QString &name = QStringLiteral("clip.mov"))
    {
        const SourceFile file = MediaIngestService::scan({source}).front();
        return MediaJob::make(file.url, file.grant, out.path(), FileGrant(out.path()), std::nullopt,
                              out.file(QStringLiteral("day1/") + name), JobOperation::transcode, preset, std::nullopt,
                              file.size, file.modified);
    }
    // Nothing but the named outputs below the destination, nothing left in the temporary folder.
    void expectOnly(const QStringList &outputs)
    {
        QStringList files;
        for (const QString &entry : test::listTree(out.path()))
            if (!entry.endsWith(QLatin1Char('/')))
                files << entry;
        EXPECT_EQ(files, outputs);
        EXPECT_TRUE(QDir(temporary.path()).isEmpty());
    }
};

TEST_F(TranscodePhaseTest, PublishesAValidatedOutputAndReportsCompletionLast)
{
    const MediaJob transcodeJob = job(clip(2.0), proxy(QStringLiteral("Bottom Left")), QStringLiteral("clip_PROXY.mov"));
    std::vector<double> reported;
    TranscodeService::transcode(transcodeJob, {}, control, [&](double fraction) { reported.push_back(fraction); });

    ASSERT_GE(reported.size(), 2u);
    EXPECT_EQ(reported.back(), 1.0);
    for (std::size_t i = 0; i + 1 < reported.size(); ++i) {
        EXPECT_LE(reported[i], 0.99);
        EXPECT_GE(reported[i], 0.0);
    }
    const MediaInfo info = TranscodeService::probe(*transcodeJob.outputDestination, {}, control);
    EXPECT_EQ(info.codec, QStringLiteral("prores"));
    EXPECT_NEAR(info.duration, 2.0, 0.1);
    EXPECT_EQ(info.timecode, QStringLiteral("01:00:00:00"));
    expectOnly({QStringLiteral("day1/clip_PROXY.mov")});
}

TEST_F(TranscodePhaseTest, EncodesTheVerifiedCopyWhenThereIsOne)
{
    MediaJob copied = job(clip(2.0), proxy());
    copied.copyDestination = clip(1.0, QStringLiteral("copy.mov"));
    copied.source = media.file(QStringLiteral("card/gone.mov")); // the card may be out by now
    TranscodeService::transcode(copied, {}, control, {});
    EXPECT_NEAR(TranscodeService::probe(*copied.outputDestination, {}, control).duration, 1.0, 0.1);
}

TEST_F(TranscodePhaseTest, RefusesASourceChangedSinceItWasQueued)
{
    MediaJob changed = job(clip(0.5), proxy(QStringLiteral("Center")));
    changed.bytes += 1;
    EXPECT_THROW(TranscodeService::transcode(changed, {}, control, {}), VantorError);
    expectOnly({});
}

TEST_F(TranscodePhaseTest, NeedsAPresetAndAnOutput)
{
    MediaJob bare = job(clip(0.5), proxy());
    bare.preset.reset();
    try {
        TranscodeService::transcode(bare, {}, control, {});
        FAIL() << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), QStringLiteral("Missing transcode settings."));
    }
    expectOnly({});
}

// The engine reads its input in real time here, so the encode is still running when paused.
TEST_F(TranscodePhaseTest, CancelWhilePausedLeavesNothing)
{
    const QString engine = engineDir.write(QStringLiteral("ffmpeg"), "#!/bin/sh\nexec /usr/bin/ffmpeg -re \"$@\"\n");
    QFile::setPermissions(engine, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::link(QStringLiteral("/usr/bin/ffprobe"), engineDir.file(QStringLiteral("ffprobe")));
    test::ScopedEnvironment variable("VANTOR_ENGINE", engine.toUtf8());

    const MediaJob slow = job(clip(20.0), proxy(QStringLiteral("Top Left")));
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

class EncodedBurnIns : public TranscodePhaseTest, public ::testing::WithParamInterface<QString> {};

TEST_P(EncodedBurnIns, LandWhereThePositionSays)
{
    const QString source = clip(0.2);
    MediaJob plain = job(source, proxy(), QStringLiteral("plain.mov"));
    MediaJob burned = job(source, proxy(GetParam()), QStringLiteral("burned.mov"));
    TranscodeService::transcode(plain, {}, control, {});
    TranscodeService::transcode(burned, {}, control, {});
    EXPECT_EQ(test::pixels::changedRegion(test::pixels::grayFrame(*plain.outputDestination),
                                          test::pixels::grayFrame(*burned.outputDestination), 320, 180),
              GetParam());
    expectOnly({QStringLiteral("day1/burned.mov"), QStringLiteral("day1/plain.mov")});
}

INSTANTIATE_TEST_SUITE_P(Seven, EncodedBurnIns, ::testing::ValuesIn(test::pixels::positions()),
                         [](const auto &info) { return QString(info.param).remove(QLatin1Char(' ')).toStdString(); });

} // namespace
} // namespace vantor
