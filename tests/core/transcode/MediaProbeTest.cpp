// The probe: its reduction rules on ffprobe answers written out here, then on real clips made
// with the values it must find.
#include "TranscodeTesting.h"
#include "model/JobControl.h"
#include "transcode/TranscodeService.h"

#include <gtest/gtest.h>

namespace vantor {
namespace {

MediaInfo reduce(const char *json) { return TranscodeService::mediaInfo(QByteArray(json), "clip.mov"); }

TEST(MediaProbeRules, TimecodeAndReelLookupOrder)
{
    // Video stream tags before format tags; a later data stream only when neither has one.
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"timecode":"01:00:00:00"}},
        {"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],"format":{"tags":{"timecode":"03:00:00:00"}}})").timecode,
        QString("01:00:00:00"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video"},{"codec_type":"data","tags":{"timecode":"02:00:00:00"}}],
        "format":{"tags":{"timecode":"03:00:00:00"}}})").timecode, QString("03:00:00:00"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video"},{"codec_type":"data","tags":{"timecode":"02:00:00:00"}}]})").timecode,
        QString("02:00:00:00"));
    EXPECT_FALSE(reduce(R"({"streams":[{"codec_type":"video"}]})").timecode);
    // The reel the other way round: format tags first.
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}],
        "format":{"tags":{"reel_name":"A001"}}})").reel, QString("A001"));
    EXPECT_EQ(reduce(R"({"streams":[{"codec_type":"video","tags":{"reel_name":"B002"}}]})").reel, QString("B002"));
}

TEST(MediaProbeRules, UnnamedAudioStreamDurationFrameRateAndNoiseAroundTheAnswer)
{
    const MediaInfo info = reduce(R"([mov @ 0x55e7] Referenced QT chapter track not found
{"streams":[{"codec_type":"video","duration":"4.0"},
        {"codec_type":"audio","codec_name":"pcm_s24le","channels":2,"channel_layout":"stereo","sample_rate":"48000"},
        {"codec_type":"audio","channels":3}], "chapters":[{"id":0},{"id":1},{"id":2}]})");
    EXPECT_EQ(info.audioTracks, (QStringList { "Track 1 · pcm_s24le · 2 ch", "Track 2 · Audio · 3 ch" }));
    EXPECT_EQ(info.audioLayouts, (QStringList { "stereo", "Unspecified Layout" }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { "48000", "Unknown" }));
    EXPECT_EQ(info.chapterCount, 3);
    EXPECT_DOUBLE_EQ(info.duration, 4.0); // the stream's when the format has none
    EXPECT_THROW(reduce("not json"), DecodingError);
    MediaInfo rate;
    for (const auto &[text, fps] : std::vector<std::pair<const char *, double>> {
             { "0/0", 0 }, { "", 0 }, { "25", 25 }, { "24000/1001", 24000.0 / 1001 }, { "1/2/3", 0 } }) {
        rate.frameRate = text;
        EXPECT_DOUBLE_EQ(rate.fps(), fps) << text;
    }
}

TEST(MediaProbeClips, RealClipsRotationAndRefusals)
{
    test::TempDir folder;
    JobControl control;
    const auto probe = [&](const QString &path) { return TranscodeService::probe(path, QString(), control); };
    const MediaInfo info = probe(test::clips::rich(folder));
    EXPECT_EQ(std::make_tuple(info.codec, info.width, info.height, info.frameRate, info.timecode, info.sourceRotation),
        std::make_tuple(QString("h264"), 320, 180, QString("25/1"), std::optional<QString>("01:00:00:00"), 0));
    EXPECT_NEAR(info.duration, 0.5, 0.1);
    EXPECT_EQ(info.audioTracks, (QStringList { "Track 1 · aac · 2 ch", "Track 2 · aac · 6 ch" }));
    EXPECT_EQ(info.audioChannels, (QList<qint64> { 2, 6 }));
    EXPECT_EQ(info.audioLayouts, (QStringList { "stereo", "5.1" }));
    EXPECT_EQ(info.audioSampleRates, (QStringList { "48000", "44100" }));
    EXPECT_EQ(info.subtitleTracks, QStringList { "mov_text" });
    EXPECT_EQ(info.chapterCount, 2);
    // A display matrix turns the size; ffprobe reports it in the range -180..180.
    for (const auto &[rotate, expected] : std::vector<std::pair<int, qint64>> { { 90, 90 }, { 270, -90 }, { 180, -180 } }) {
        const MediaInfo turned = probe(test::clips::rotated(folder, rotate));
        const bool sideways = rotate != 180;
        EXPECT_EQ(std::make_tuple(turned.sourceRotation, turned.width, turned.height),
            std::make_tuple(expected, sideways ? 180 : 320, sideways ? 320 : 180)) << rotate;
    }
    EXPECT_EQ(test::refusal([&] { probe(test::clips::audioOnly(folder)); }),
        "No supported video stream in voice.m4a. Use Copy & organize for audio and sidecars.");
    EXPECT_TRUE(test::refusal([&] { probe(folder.file("absent.mov")); }).startsWith("Media engine failed (1).\n"));
}

} // namespace
} // namespace vantor
