// The probe: its reduction rules on ffprobe answers written out here, then on real clips made
// with the values it must find.
#include "SampleClips.h"
#include "model/JobControl.h"
#include "model/VantorError.h"
#include "transcode/TranscodeService.h"

#include <gtest/gtest.h>

namespace vantor {
namespace {

using test::TempDir;

MediaInfo reduce(const char *json)
{
    return TranscodeService::mediaInfo(QByteArray(json), QStringLiteral("clip.mov"));
}

TEST(MediaProbeRules, PortraitSideDataExchangesWidthAndHeight)
{
    const MediaInfo info = reduce(R"({"streams":[{"codec_type":"video","codec_name":"hevc","width":1920,
        "height":1080,"avg_frame_rate":"30000/1001","side_data_list":[{"side_data_type":"Other"},
        {"side_data_type":"Display Matrix","rotation":-90},{"rotation":180}]}],"format":{"duration":"12.5"}})");
    EXPECT_EQ(info.width, 1080);
    EXPECT_EQ(info.height, 1920);
    EXPECT_EQ(info.sourceRotation, -90);
    EXPECT_EQ(info.codec, QStringLiteral("hevc"));
    EXPECT_DOUBLE_EQ(info.duration, 12.5);
    EXPECT_NEAR(info.fps(), 29.97, 0.001);
}

TEST(MediaProbeRules, UpsideDownKeepsTheSize)
{
    const MediaInfo info = reduce(R"({"streams":[{"codec_type":"video","width":1920,"height":1080,
        "side_data_list":[{"rotation":180}]}]})");
    EXPECT_EQ(info.width, 1920);
    EXPECT_EQ(info.sourceRotation, 180);
}

TEST(MediaProbeRules, TimecodeAndReelLookupOrder)
{
    // Video stream tags before format tags; a later data stream only when neither has one.
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"timecode":"01:00:00:00"}},
        {"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],"format":{"tags":{"timecode":"03:00:00:00"}}})")
                  .timecode,
        QStringLiteral("01:00:00:00"));
    EXPECT_EQ(
        reduce(R"({"streams":[{"codec_type":"video"},{"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],
        "format":{"tags":{"timecode":"03:00:00:00"}}})")
            .timecode,
        QStringLiteral("03:00:00:00"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"audio"},{"codec_type":"video"},
        {"codec_type":"data","tags":{"timecode":"02:00:00:00"}}]})")
                  .timecode,
        QStringLiteral("02:00:00:00"));
    EXPECT_FALSE(reduce(R"({"streams":[{"codec_type":"video"}]})").timecode);

    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}],
        "format":{"tags":{"reel_name":"A001"}}})")
                  .reel,
        QStringLiteral("A001"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}]})").reel,
        QStringLiteral("B002"));
    EXPECT_FALSE(reduce(R"({"streams":[{"codec_type":"video"}]})").reel);
}

TEST(MediaProbeRules, AudioLabelsLayoutsRatesAndSubtitles)
{
    const MediaInfo info = reduce(R"({"streams":[{"codec_type":"video","duration":"4.0"},
        {"codec_type":"audio","codec_name":"pcm_s24le","channels":2,"channel_layout":"stereo","sample_rate":"48000"},
        {"codec_type":"subtitle","codec_name":"mov_text"},
        {"codec_type":"audio","channels":3},
        {"codec_type":"subtitle","codec_name":"hdmv_pgs_subtitle"}],
        "chapters":[{"id":0},{"id":1},{"id":2}]})");
    EXPECT_EQ(info.audioTracks,
        (QStringList {
            QStringLiteral("Track 1 · pcm_s24le · 2 ch"), QStringLiteral("Track 2 · Audio · 3 ch") }));
    EXPECT_EQ(info.audioChannels, (QList<qint64> { 2, 3 }));
    EXPECT_EQ(
        info.audioLayouts, (QStringList { QStringLiteral("stereo"), QStringLiteral("Unspecified Layout") }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { QStringLiteral("48000"), QStringLiteral("Unknown") }));
    EXPECT_EQ(info.subtitleTracks,
        (QStringList { QStringLiteral("mov_text"), QStringLiteral("hdmv_pgs_subtitle") }));
    EXPECT_EQ(info.chapterCount, 3);
    EXPECT_DOUBLE_EQ(info.duration, 4.0); // the stream's when the format has none
}

TEST(MediaProbeRules, FrameRateText)
{
    MediaInfo info;
    for (const auto &[text, fps] : std::vector<std::pair<const char *, double>> { { "0/0", 0 }, { "", 0 },
             { "25", 25 }, { "25/1", 25 }, { "24000/1001", 24000.0 / 1001 }, { "1/2/3", 0 } }) {
        info.frameRate = QString::fromLatin1(text);
        EXPECT_DOUBLE_EQ(info.fps(), fps) << text;
    }
}

TEST(MediaProbeRules, RefusesFilesWithoutVideoAndAnswersThatAreNotJson)
{
    try {
        TranscodeService::mediaInfo(R"({"streams":[{"codec_type":"audio"}]})", QStringLiteral("voice.m4a"));
        FAIL() << "an audio-only file was accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(),
            QStringLiteral(
                "No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars."));
    }
    EXPECT_THROW(reduce("not json"), DecodingError);
}

TEST(MediaProbeRules, DiagnosticLinesAroundTheAnswerAreIgnored)
{
    const MediaInfo info = reduce("[mov @ 0x55e7] Referenced QT chapter track not found\n"
                                  "{\n    \"streams\": [\n        {\n            \"codec_type\": \"video\",\n"
                                  "            \"width\": 320\n        }\n    ]\n}\n");
    EXPECT_EQ(info.width, 320);
}

// Real clips, made once for the suite.
class MediaProbeClips : public testing::Test {
protected:
    static void SetUpTestSuite() { folder = new TempDir; }
    static void TearDownTestSuite()
    {
        delete folder;
        folder = nullptr;
    }
    static MediaInfo probe(const QString &path)
    {
        JobControl control;
        return TranscodeService::probe(path, QString(), control);
    }
    static inline TempDir *folder = nullptr;
};

TEST_F(MediaProbeClips, RichClipReportsEveryStreamAndChapter)
{
    const MediaInfo info = probe(test::clips::rich(*folder));
    EXPECT_EQ(info.codec, QStringLiteral("h264"));
    EXPECT_EQ(info.width, 320);
    EXPECT_EQ(info.height, 180);
    EXPECT_EQ(info.frameRate, QStringLiteral("25/1"));
    EXPECT_DOUBLE_EQ(info.fps(), 25);
    EXPECT_NEAR(info.duration, 0.5, 0.1);
    EXPECT_EQ(info.timecode, QStringLiteral("01:00:00:00"));
    EXPECT_EQ(info.audioTracks,
        (QStringList { QStringLiteral("Track 1 · aac · 2 ch"), QStringLiteral("Track 2 · aac · 6 ch") }));
    EXPECT_EQ(info.audioChannels, (QList<qint64> { 2, 6 }));
    EXPECT_EQ(info.audioLayouts, (QStringList { QStringLiteral("stereo"), QStringLiteral("5.1") }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { QStringLiteral("48000"), QStringLiteral("44100") }));
    EXPECT_EQ(info.subtitleTracks, QStringList { QStringLiteral("mov_text") });
    EXPECT_EQ(info.chapterCount, 2);
    EXPECT_EQ(info.sourceRotation, 0);
}

TEST_F(MediaProbeClips, DisplayMatrixRotationTurnsTheSize)
{
    // ffprobe reports the display matrix in the range -180..180.
    for (const auto &[rotate, expected] :
        std::vector<std::pair<int, qint64>> { { 90, 90 }, { 270, -90 }, { 180, -180 } }) {
        const MediaInfo info = probe(test::clips::rotated(*folder, rotate));
        EXPECT_EQ(info.sourceRotation, expected) << rotate;
        EXPECT_EQ(info.width, rotate == 180 ? 320 : 180) << rotate;
        EXPECT_EQ(info.height, rotate == 180 ? 180 : 320) << rotate;
    }
}

TEST_F(MediaProbeClips, TimecodeOnlyOnADataStreamIsFound)
{
    const QString path = test::clips::timecodeOnDataStream(*folder, QStringLiteral("10:20:30:12"));
    EXPECT_EQ(probe(path).timecode, QStringLiteral("10:20:30:12"));
}

TEST_F(MediaProbeClips, BitmapSubtitleCodecIsNamed)
{
    EXPECT_EQ(probe(test::clips::bitmapSubtitles(*folder)).subtitleTracks,
        QStringList { QStringLiteral("hdmv_pgs_subtitle") });
}

TEST_F(MediaProbeClips, AudioOnlyFileIsRefusedByName)
{
    try {
        probe(test::clips::audioOnly(*folder));
        FAIL() << "an audio-only file was accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(),
            QStringLiteral(
                "No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars."));
    }
}

TEST_F(MediaProbeClips, ReelNameFromFormatTags)
{
    test::ClipSpec spec = test::clips::silentClip();
    spec.extraArguments = { QStringLiteral("-metadata"), QStringLiteral("reel_name=A001C003"),
        QStringLiteral("-movflags"), QStringLiteral("use_metadata_tags") };
    EXPECT_EQ(probe(test::makeClip(folder->file(QStringLiteral("reel.mov")), spec)).reel,
        QStringLiteral("A001C003"));
}

TEST_F(MediaProbeClips, MissingFileIsAnEngineFailure)
{
    try {
        probe(folder->file(QStringLiteral("absent.mov")));
        FAIL() << "a missing file was probed";
    } catch (const VantorError &error) {
        EXPECT_TRUE(error.message().startsWith(QStringLiteral("Media engine failed (1).\n")))
            << error.message().toStdString();
    }
}

} // namespace
} // namespace vantor
