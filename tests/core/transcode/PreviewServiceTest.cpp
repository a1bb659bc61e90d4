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

using P = TranscodePreset;

P named(const char *name, const std::function<void(P &)> &change = {})
{
    for (P preset : PresetService::defaults())
        if (preset.name == name) {
            if (change)
                change(preset);
            return preset;
        }
    ADD_FAILURE() << "no preset " << name;
    return {};
}

P burning(P preset, const QString &position, bool timecode = true, const QString &text = {})
{
    preset.setFinish({ .burnFilename = timecode, .burnTimecode = timecode, .burnText = text, .burnPosition = position, .burnSize = 12, .channelMap = {} });
    return preset;
}

// Previews land in a temporary directory of the test's own, so what outlives them shows.
class PreviewServiceTest : public testing::Test {
protected:
    test::TempDir media;
    test::TempDir temporary;
    test::ScopedEnvironment tmpdir { "TMPDIR", temporary.path().toUtf8() };
    JobControl control;

    QStringList leftovers() const { return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    QString clip(double seconds = 1.0, const QString &timecode = "01:00:00:00", const QString &name = "tc.mov")
    {
        test::ClipSpec settings = test::clips::silentClip(timecode);
        settings.seconds = seconds;
        return test::makeClip(media.file(name), settings);
    }
    // Where the burned frame differs from the bare one; both previews are removed after.
    QString landing(const QString &source, const P &bare, const P &burned)
    {
        const QString a = PreviewService::render(source, bare, 0.2, false, {}, control);
        const QString b = PreviewService::render(source, burned, 0.2, false, {}, control);
        EXPECT_EQ(QFileInfo(b).fileName(), "Processed Frame.png");
        const QString region = test::pixels::changedRegion(test::pixels::grayFrame(a), test::pixels::grayFrame(b), 320, 180);
        PreviewService::remove(QFileInfo(a).path());
        PreviewService::remove(QFileInfo(b).path());
        return region;
    }
};

class PreviewBurnIns : public PreviewServiceTest, public testing::WithParamInterface<QString> { };

TEST_P(PreviewBurnIns, LandWhereThePositionSays)
{
    EXPECT_EQ(landing(clip(), named("Editorial Proxy"), burning(named("Editorial Proxy"), GetParam())), GetParam());
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
}

INSTANTIATE_TEST_SUITE_P(Seven, PreviewBurnIns, testing::ValuesIn(test::pixels::positions()),
    [](const auto &info) { return QString(info.param).remove(' ').toStdString(); });

TEST_F(PreviewServiceTest, LabelsSurviveTemporaryPathsTheFilterSyntaxWouldSplit)
{
    const QString odd = temporary.makeDir("it's: a, [odd]; dir\\");
    test::ScopedEnvironment oddTmpdir("TMPDIR", odd.toUtf8());
    EXPECT_EQ(landing(clip(), named("Editorial Proxy"), burning(named("Editorial Proxy"), "Top Right", false, "a:'b',[c];")), "Top Right");
    EXPECT_TRUE(QDir(odd).isEmpty());
}

TEST_F(PreviewServiceTest, FramesAreAtMost1280WideAndClipsRunToTheEndOrFiveSeconds)
{
    const QString wide = test::makeClip(media.file("wide.mp4"), { .width = 1920, .height = 1080, .seconds = 0.4, .audioChannels = 0 });
    const QString frame = PreviewService::render(wide, named("ProRes Master"), 30, false, {}, control);
    const MediaInfo still = TranscodeService::probe(frame, {}, control);
    EXPECT_EQ(std::make_pair(still.width, still.height), std::make_pair(qint64(1280), qint64(720)));
    PreviewService::remove(QFileInfo(frame).path());

    const QString rendered = PreviewService::render(clip(3.0), named("Client Review"), 2.0, true, {}, control);
    EXPECT_EQ(QFileInfo(rendered).fileName(), "Test Clip.mp4");
    const MediaInfo info = TranscodeService::probe(rendered, {}, control);
    EXPECT_NEAR(info.duration, 1.0, 0.1);
    EXPECT_EQ(info.codec, "h264");
    PreviewService::remove(QFileInfo(rendered).path());
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(PreviewServiceTest, FailuresLeaveNoFolderBehind)
{
    const P preset = burning(named("Review File"), "Center");
    EXPECT_THROW(PreviewService::render(test::clips::audioOnly(media), preset, 0, false, {}, control), VantorError);
    EXPECT_THROW(PreviewService::render(clip(1.0, {}, "untimed.mov"), preset, 0, false, {}, control), VantorError);
    const QString source = clip();
    control.cancel();
    EXPECT_THROW(PreviewService::render(source, preset, 0, true, {}, control), CancellationError);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
}

TEST_F(PreviewServiceTest, RemoveTouchesOnlyPreviewFolders)
{
    const QString other = temporary.makeDir("vantor-burn-keep");
    temporary.write("vantor-burn-keep/label.txt", "x");
    PreviewService::remove(other);
    EXPECT_TRUE(QFileInfo::exists(other + "/label.txt"));
    const QString preview = temporary.makeDir("vantor-preview-1");
    temporary.write("vantor-preview-1/Processed Frame.png", "x");
    PreviewService::remove(preview);
    EXPECT_FALSE(QFileInfo::exists(preview));
}

MediaInfo source(double seconds, qint64 width, qint64 height, const QString &rate, QList<qint64> channels)
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
    auto bitrate10 = [](P &p) { p.bitrateMbps = 10; };
    const MediaInfo hd = source(60, 1920, 1080, "30/1", { 2 });
    // ProRes Proxy at 1080p30 is 45 Mbit/s; 24-bit 48 kHz stereo PCM adds 2.304: 60 s × 47.304 Mbit/s.
    EXPECT_EQ(PreviewService::estimatedSize(named("Editorial Proxy"), hd), "About 354.8 MB");
    EXPECT_EQ(PreviewService::estimatedSize(named("Editorial Proxy"), source(0, 1920, 1080, "30/1", { 2 })), "Unknown");
    EXPECT_EQ(PreviewService::estimatedSize(named("Review File"), hd), "Variable · Encode A Test Clip");
    // Half the width limit on a 3840×2160 source: s² = 1/4 of 4× the pixels; 25 fps: × 25/30.
    EXPECT_EQ(PreviewService::estimatedSize(named("Editorial Proxy"), source(50, 3840, 2160, "25/1", {})), "About 234.4 MB");
    // 10 Mbit/s plus two AAC streams at 256 kbit/s for 100 s, or only the selected one.
    const MediaInfo two = source(100, 1920, 1080, "30/1", { 2, 6 });
    EXPECT_EQ(PreviewService::estimatedSize(named("Review File", bitrate10), two), "About 131.4 MB");
    EXPECT_EQ(PreviewService::estimatedSize(named("Review File", [&](P &p) { bitrate10(p), p.setTuning({ .audioTrack = 1 }); }), two), "About 128.2 MB");
    // Passthrough audio is not counted; mono PCM wins over the source's six channels (4444 is 330).
    EXPECT_EQ(PreviewService::estimatedSize(named("ProRes Master", [](P &p) { p.codec = Codec::dnxHQ, p.audio = AudioMode::passthrough; }),
                  source(10, 1920, 1080, "30/1", { 2 })), "About 275.0 MB");
    EXPECT_EQ(PreviewService::estimatedSize(named("Archive Master", [](P &p) { p.channels = 1; }), source(8, 1920, 1080, "30/1", { 6 })),
        "About 331.2 MB");
    QLocale::setDefault(QLocale::system());
}

} // namespace
} // namespace vantor
