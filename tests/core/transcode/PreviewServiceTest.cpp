// Frame previews and test clips with the real engine, and the size estimate.
#include "FramePixels.h"
#include "SampleClips.h"
#include "ScopedEnvironment.h"

#include "model/VantorError.h"
#include "transcode/PresetService.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <gtest/gtest.h>

namespace vantor {
namespace {

using test::TempDir;

TranscodePreset named(const char *name)
{
    for (const TranscodePreset &preset : PresetService::defaults())
        if (preset.name == QLatin1String(name))
            return preset;
    ADD_FAILURE() << "no preset " << name;
    return {};
}

TranscodePreset withBurnIns(TranscodePreset preset, const QString &position)
{
    FinishingOptions finish;
    finish.burnFilename = true;
    finish.burnTimecode = true;
    finish.burnPosition = position;
    finish.burnSize = 12;
    preset.setFinish(finish);
    return preset;
}

// Previews land in a temporary directory of the test's own, so what outlives them shows.
class PreviewServiceTest : public ::testing::Test {
protected:
    TempDir media;
    TempDir temporary;
    test::ScopedEnvironment tmpdir{"TMPDIR", temporary.path().toUtf8()};
    JobControl control;

    QStringList leftovers() const { return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    QString clip(double seconds = 1.0)
    {
        test::ClipSpec spec = test::clips::silentClip(QStringLiteral("01:00:00:00"));
        spec.seconds = seconds;
        return test::makeClip(media.file(QStringLiteral("tc.mov")), spec);
    }
};

class PreviewBurnIns : public PreviewServiceTest, public ::testing::WithParamInterface<QString> {};

TEST_P(PreviewBurnIns, LandWhereThePositionSays)
{
    const QString source = clip();
    const TranscodePreset plain = named("Editorial Proxy");
    const QString bare = PreviewService::render(source, plain, 0.2, false, {}, control);
    const QString burned = PreviewService::render(source, withBurnIns(plain, GetParam()), 0.2, false, {}, control);
    EXPECT_EQ(QFileInfo(burned).fileName(), QStringLiteral("Processed Frame.png"));
    EXPECT_EQ(test::pixels::changedRegion(test::pixels::grayFrame(bare), test::pixels::grayFrame(burned), 320, 180),
              GetParam());
    PreviewService::remove(QFileInfo(bare).path());
    PreviewService::remove(QFileInfo(burned).path());
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(QLatin1Char(' ')).toStdString();
}

INSTANTIATE_TEST_SUITE_P(Seven, PreviewBurnIns, ::testing::ValuesIn(test::pixels::positions()),
                         [](const auto &info) { return QString(info.param).remove(QLatin1Char(' ')).toStdString(); });

TEST_F(PreviewServiceTest, LabelsSurviveTemporaryPathsTheFilterSyntaxWouldSplit)
{
    const QString odd = temporary.makeDir(QStringLiteral("it's: a, [odd]; dir\\"));
    test::ScopedEnvironment oddTmpdir("TMPDIR", odd.toUtf8());
    const QString source = clip();
    TranscodePreset preset = named("Editorial Proxy");
    const QString bare = PreviewService::render(source, preset, 0, false, {}, control);
    FinishingOptions finish;
    finish.burnText = QStringLiteral("a:'b',[c];");
    finish.burnSize = 12;
    finish.burnPosition = QStringLiteral("Top Right");
    preset.setFinish(finish);
    const QString burned = PreviewService::render(source, preset, 0, false, {}, control);
    EXPECT_EQ(test::pixels::changedRegion(test::pixels::grayFrame(bare), test::pixels::grayFrame(burned), 320, 180),
              QStringLiteral("Top Right"));
    PreviewService::remove(QFileInfo(bare).path());
    PreviewService::remove(QFileInfo(burned).path());
    EXPECT_TRUE(QDir(odd).isEmpty());
}

TEST_F(PreviewServiceTest, FramesAreAtMost1280WideAndTakenInsideTheSource)
{
    test::ClipSpec spec = test::clips::silentClip();
    spec.width = 1920;
    spec.height = 1080;
    spec.seconds = 0.4;
    const QString source = test::makeClip(media.file(QStringLiteral("wide.mp4")), spec);
    TranscodePreset preset = named("ProRes Master");
    const QString frame = PreviewService::render(source, preset, 30, false, {}, control);
    const MediaInfo info = TranscodeService::probe(frame, {}, control);
    EXPECT_EQ(info.width, 1280);
    EXPECT_EQ(info.height, 720);
    PreviewService::remove(QFileInfo(frame).path());
}

TEST_F(PreviewServiceTest, TestClipRunsToTheSourcesEndOrFiveSeconds)
{
    const QString source = clip(3.0);
    const QString rendered = PreviewService::render(source, named("Client Review"), 2.0, true, {}, control);
    EXPECT_EQ(QFileInfo(rendered).fileName(), QStringLiteral("Test Clip.mp4"));
    const MediaInfo info = TranscodeService::probe(rendered, {}, control);
    EXPECT_NEAR(info.duration, 1.0, 0.1);
    EXPECT_EQ(info.codec, QStringLiteral("h264"));
    PreviewService::remove(QFileInfo(rendered).path());
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(PreviewServiceTest, FailuresLeaveNoFolderBehind)
{
    const QString voice = test::clips::audioOnly(media);
    EXPECT_THROW(PreviewService::render(voice, named("Review File"), 0, false, {}, control), VantorError);
    const QString source = clip();
    TranscodePreset preset = withBurnIns(named("Review File"), QStringLiteral("Center"));
    const QString untimed = test::makeClip(media.file(QStringLiteral("untimed.mov")), test::clips::silentClip());
    EXPECT_THROW(PreviewService::render(untimed, preset, 0, false, {}, control), VantorError);
    control.cancel();
    EXPECT_THROW(PreviewService::render(source, preset, 0, true, {}, control), CancellationError);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(QLatin1Char(' ')).toStdString();
}

TEST_F(PreviewServiceTest, RemoveTouchesOnlyPreviewFolders)
{
    const QString other = temporary.makeDir(QStringLiteral("vantor-burn-keep"));
    temporary.write(QStringLiteral("vantor-burn-keep/label.txt"), "x");
    PreviewService::remove(other);
    EXPECT_TRUE(QFileInfo::exists(other + QStringLiteral("/label.txt")));
    const QString preview = temporary.makeDir(QStringLiteral("vantor-preview-1"));
    temporary.write(QStringLiteral("vantor-preview-1/Processed Frame.png"), "x");
    PreviewService::remove(preview);
    EXPECT_FALSE(QFileInfo::exists(preview));
}

TEST(PreviewTiming, StaysInsideTheSource)
{
    EXPECT_DOUBLE_EQ(PreviewService::startTime(10, 5), 4.9);
    EXPECT_DOUBLE_EQ(PreviewService::startTime(-3, 5), 0);
    EXPECT_DOUBLE_EQ(PreviewService::startTime(2, 0), 0);
    EXPECT_DOUBLE_EQ(PreviewService::clipLength(2, 3), 1);
    EXPECT_DOUBLE_EQ(PreviewService::clipLength(0, 60), 5);
    EXPECT_DOUBLE_EQ(PreviewService::clipLength(0, 0), 0.1);
}

struct EstimateCase {
    std::string name;
    TranscodePreset preset;
    MediaInfo info;
    QString expected;
};

void PrintTo(const EstimateCase &estimate, std::ostream *out)
{
    *out << estimate.name;
}

MediaInfo source(double seconds, qint64 width, qint64 height, const QString &rate, QList<qint64> channels)
{
    MediaInfo info;
    info.duration = seconds;
    info.width = width;
    info.height = height;
    info.frameRate = rate;
    info.audioChannels = channels;
    for (qsizetype i = 0; i < channels.size(); ++i)
        info.audioTracks << QStringLiteral("Track %1").arg(i + 1);
    return info;
}

TranscodePreset modified(TranscodePreset preset, const std::function<void(TranscodePreset &)> &change)
{
    change(preset);
    return preset;
}

class SizeEstimates : public ::testing::TestWithParam<EstimateCase> {
protected:
    void SetUp() override { QLocale::setDefault(QLocale::c()); }
    void TearDown() override { QLocale::setDefault(QLocale::system()); }
};

TEST_P(SizeEstimates, FollowTheRatesOfTheCodecAndAudio)
{
    EXPECT_EQ(PreviewService::estimatedSize(GetParam().preset, GetParam().info), GetParam().expected);
}

// ProRes Proxy at 1080p30 is 45 Mbit/s; 24-bit 48 kHz stereo PCM adds 2.304 Mbit/s.
INSTANTIATE_TEST_SUITE_P(
    Table, SizeEstimates,
    ::testing::Values(
        EstimateCase{"UnknownDuration", named("Editorial Proxy"), source(0, 1920, 1080, "30/1", {2}), "Unknown"},
        EstimateCase{"ConstantQuality", named("Review File"), source(60, 1920, 1080, "30/1", {2}),
                     QString::fromUtf8("Variable · Encode A Test Clip")},
        // 60 s × 47.304 Mbit/s = 354.78 MB
        EstimateCase{"ProResWithPcm", named("Editorial Proxy"), source(60, 1920, 1080, "30/1", {2}), "About 354.8 MB"},
        // Half the width limit on a 3840×2160 source: s² = 1/4 of 4× the pixels; 25 fps: × 25/30.
        EstimateCase{"ScaledAndSlower", named("Editorial Proxy"), source(50, 3840, 2160, "25/1", {}), "About 234.4 MB"},
        // 10 Mbit/s plus two AAC streams at 256 kbit/s for 100 s: 10.512 Mbit/s.
        EstimateCase{"BitrateWithAac", modified(named("Review File"), [](TranscodePreset &p) { p.bitrateMbps = 10; }),
                     source(100, 1920, 1080, "30/1", {2, 6}), "About 131.4 MB"},
        EstimateCase{"OneSelectedAacTrack",
                     modified(named("Review File"),
                              [](TranscodePreset &p) {
                                  p.bitrateMbps = 10;
                                  EncodingOptions tuning;
                                  tuning.audioTrack = 1;
                                  p.setTuning(tuning);
                              }),
                     source(100, 1920, 1080, "30/1", {2, 6}), "About 128.2 MB"},
        // Passthrough audio is not counted.
        EstimateCase{"DnxHqPassthrough",
                     modified(named("ProRes Master"),
                              [](TranscodePreset &p) {
                                  p.codec = Codec::dnxHQ;
                                  p.audio = AudioMode::passthrough;
                              }),
                     source(10, 1920, 1080, "30/1", {2}), "About 275.0 MB"},
        // Mono PCM wins over the source's six channels: 1.152 Mbit/s; 4444 is 330.
        EstimateCase{"ChannelsOfThePreset", modified(named("Archive Master"), [](TranscodePreset &p) { p.channels = 1; }),
                     source(8, 1920, 1080, "30/1", {6}), "About 331.2 MB"}),
    [](const auto &info) { return info.param.name; });

} // namespace
} // namespace vantor
