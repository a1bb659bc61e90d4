// Burn-in filters and their label files, frame previews and test clips with the real engine,
// and the size estimate. Where burned text lands in real frames is checked with the transcode phase.
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "transcode/BurnInService.h"
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

// Label folders and previews land in a temporary directory of the test's own, so what outlives
// them shows.
class PreviewServiceTest : public testing::Test {
protected:
    test::TempDir media, temporary;
    test::ScopedEnvironment tmpdir { "TMPDIR", temporary.path().toUtf8() };
    JobControl control;

    QStringList leftovers() const { return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    BurnInAssets prepare(const FinishingOptions &finish, const std::optional<QString> &timecode, const QString &rate = "25/1",
        const QString &frameRate = "Source")
    {
        P preset = named("Editorial Proxy", [&](P &p) { p.setFinish(finish), p.setTuning({ .frameRate = frameRate }); });
        MediaInfo info;
        info.width = 320, info.height = 180, info.duration = 1, info.frameRate = rate, info.timecode = timecode;
        return BurnInService::prepare("/media/A001/A001C003.mov", preset, info);
    }
};

TEST_F(PreviewServiceTest, BurnInLabelFileAndTimecodeBesideIt)
{
    const BurnInAssets assets = prepare({ .burnFilename = true, .burnTimecode = true, .burnText = "Client cut", .channelMap = {} }, QString("10:00:00;00"), "30000/1001");
    ASSERT_TRUE(assets.directory.has_value());
    EXPECT_TRUE(QDir(*assets.directory).dirName().startsWith("vantor-burn-"));
    const QString label = *assets.directory + "/label.txt";
    EXPECT_EQ(test::readFile(label), "A001C003.mov\nClient cut");
    const QString font = "drawtext=fontfile=" + BurnInService::fontFile()
        + ":fontsize=28:fontcolor=white:box=1:boxcolor=black@0.55:boxborderw=8:x=24:y=";
    // Two label lines at size 28 push the timecode 72 pixels away from the edge.
    EXPECT_EQ(assets.filters, (QStringList { font + "h-th-24:textfile='" + label + "':expansion=none",
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
    EXPECT_TRUE(leftovers().isEmpty());
}

// Refused after the label was written: its folder must go with the error.
TEST_F(PreviewServiceTest, BurnInRefusalsRemoveTheLabelFolder)
{
    const QString noTimecode = "Timecode burn-in requires source timecode. Disable it for clips without timecode.";
    for (const auto &[timecode, rate, message] : std::vector<std::tuple<std::optional<QString>, QString, QString>> {
             { std::nullopt, "25/1", noTimecode }, { "1:00:00:00", "25/1", noTimecode }, { "01:00:00:00:00", "25/1", noTimecode },
             { "01:00:00:00", "0/0", "Cannot determine the frame rate for timecode burn-in." } }) {
        EXPECT_EQ(test::refusal([&] { prepare({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = "Center", .channelMap = {} }, timecode, rate); }), message);
        EXPECT_TRUE(leftovers().isEmpty());
    }
}

TEST_F(PreviewServiceTest, FramesAreAtMost1280Wide)
{
    const QString wide = test::makeClip(media.file("wide.mp4"), { .width = 1920, .height = 1080, .seconds = 0.4, .audioChannels = 0 });
    const QString frame = PreviewService::render(wide, named("ProRes Master"), 30, false, {}, control);
    EXPECT_EQ(QFileInfo(frame).fileName(), "Processed Frame.png");
    const MediaInfo still = TranscodeService::probe(frame, {}, control);
    EXPECT_EQ(std::make_pair(still.width, still.height), std::make_pair(qint64(1280), qint64(720)));
    PreviewService::remove(QFileInfo(frame).path());
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(PreviewServiceTest, FailuresLeaveNoFolderBehindAndRemoveTouchesOnlyPreviews)
{
    P preset = named("Review File");
    preset.setFinish({ .burnTimecode = true, .burnText = {}, .channelMap = {} });
    EXPECT_THROW(PreviewService::render(test::clips::audioOnly(media), preset, 0, false, {}, control), VantorError);
    EXPECT_THROW(PreviewService::render(test::makeClip(media.file("untimed.mov"), test::clips::silentClip()), preset, 0, false, {}, control), VantorError);
    const QString source = test::makeClip(media.file("tc.mov"), test::clips::silentClip("01:00:00:00"));
    control.cancel();
    EXPECT_THROW(PreviewService::render(source, preset, 0, true, {}, control), CancellationError);
    EXPECT_TRUE(leftovers().isEmpty()) << leftovers().join(' ').toStdString();
    const QString label = temporary.write("vantor-burn-keep/label.txt", "x");
    PreviewService::remove(QFileInfo(label).path());
    EXPECT_TRUE(QFileInfo::exists(label));
    const QString preview = temporary.write("vantor-preview-1/Processed Frame.png", "x");
    PreviewService::remove(QFileInfo(preview).path());
    EXPECT_EQ(leftovers(), QStringList { "vantor-burn-keep" });
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
