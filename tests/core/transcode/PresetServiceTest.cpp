#include "transcode/PresetService.h"

#include "model/VantorError.h"

#include <functional>
#include <gtest/gtest.h>
#include <set>

namespace vantor {
namespace {

TranscodePreset validPreset()
{
    return TranscodePreset(QUuid::createUuid(), QStringLiteral("Test"), Codec::h264, QStringLiteral("mp4"),
        1920, 100, 20, 0, AudioMode::aac, 48000, 24, 0, QStringLiteral("_T"));
}

TEST(PresetServiceDefaults, BuiltInPresetsInOrderWithFreshIdentities)
{
    const QList<TranscodePreset> presets = PresetService::defaults();
    struct Row {
        const char *name;
        Codec::Value codec;
        const char *container;
        qint64 maxWidth;
        AudioMode::Value audio;
        const char *suffix;
    };
    const Row expected[] = {
        { "Editorial Proxy", Codec::proresProxy, "mov", 1920, AudioMode::pcm, "_PROXY" },
        { "Review File", Codec::h264, "mp4", 1920, AudioMode::aac, "_REVIEW" },
        { "Client Review", Codec::h264, "mp4", 1280, AudioMode::aac, "_CLIENT" },
        { "YouTube Master", Codec::h264, "mp4", 3840, AudioMode::aac, "_YOUTUBE" },
        { "Festival Screener", Codec::proresLT, "mov", 1920, AudioMode::pcm, "_SCREENER" },
        { "ProRes Master", Codec::proresHQ, "mov", 0, AudioMode::pcm, "_MASTER" },
        { "Archive Master", Codec::prores4444, "mov", 0, AudioMode::pcm, "_ARCHIVE" },
    };
    ASSERT_EQ(presets.size(), std::size(expected));
    const QList<TranscodePreset> again = PresetService::defaults();
    std::set<QString> ids;
    for (qsizetype i = 0; i < presets.size(); ++i) {
        const TranscodePreset &preset = presets[i];
        TranscodePreset reference(preset.id, QString::fromLatin1(expected[i].name), expected[i].codec,
            QString::fromLatin1(expected[i].container), expected[i].maxWidth, 100, 20, 0, expected[i].audio,
            48000, 24, 0, QString::fromLatin1(expected[i].suffix));
        EXPECT_EQ(preset, reference) << expected[i].name; // finishing absent, encoding with defaults
        EXPECT_FALSE(preset.finishing.has_value());
        EXPECT_NO_THROW(PresetService::validate(preset)) << expected[i].name;
        EXPECT_NE(preset.id, again[i].id);
        ids.insert(preset.id.toString());
    }
    EXPECT_EQ(ids.size(), presets.size());
}

struct Rule {
    const char *name;
    std::function<void(TranscodePreset &)> change;
    const char *message; // nullptr: accepted
};

class PresetValidation : public testing::TestWithParam<Rule> { };

TEST_P(PresetValidation, FirstBrokenRuleDecides)
{
    TranscodePreset preset = validPreset();
    GetParam().change(preset);
    if (!GetParam().message) {
        EXPECT_NO_THROW(PresetService::validate(preset));
        return;
    }
    try {
        PresetService::validate(preset);
        FAIL() << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), QString::fromUtf8(GetParam().message));
    }
}

void tune(TranscodePreset &preset, const std::function<void(EncodingOptions &)> &change)
{
    EncodingOptions tuning = preset.tuning();
    change(tuning);
    preset.setTuning(tuning);
}

void finish(TranscodePreset &preset, const std::function<void(FinishingOptions &)> &change)
{
    FinishingOptions options = preset.finish();
    change(options);
    preset.setFinish(options);
}

const char *const sizes = "Invalid resolution, scale, quality or bitrate.";
const char *const audioFormat = "Invalid audio format.";
const char *const finishing = "Invalid hardware quality or burn-in settings.";
const char *const mapping = "Select one audio track and PCM or AAC to map its channels.";
const char *const channelText
    = "Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.";
const char *const crops = "Use even, nonnegative crop values and a valid height limit.";
const char *const processing = "Invalid video processing options.";
const char *const audioOptions = "Invalid audio bitrate, gain or track selection.";

using P = TranscodePreset;
using E = EncodingOptions;
using F = FinishingOptions;

INSTANTIATE_TEST_SUITE_P(Rules, PresetValidation,
    testing::Values(
        Rule { "av1InMov", [](P &p) { p.codec = Codec::av1, p.container = QStringLiteral("mov"); },
            "AV1 is not supported in MOV." },
        Rule { "proresInMp4", [](P &p) { p.codec = Codec::proresHQ; },
            "ProRes 422 HQ is not supported in MP4." },
        Rule { "containerBeforeSizes", [](P &p) { p.container = QStringLiteral("mxf"), p.quality = 99; },
            "H.264 is not supported in MXF." },
        Rule { "scale0", [](P &p) { p.scalePercent = 0; }, sizes },
        Rule { "scale101", [](P &p) { p.scalePercent = 101; }, sizes },
        Rule { "scale1", [](P &p) { p.scalePercent = 1; }, nullptr },
        Rule { "quality51", [](P &p) { p.quality = 51; }, nullptr },
        Rule { "quality52", [](P &p) { p.quality = 52; }, sizes },
        Rule { "maxWidth8", [](P &p) { p.maxWidth = 8; }, sizes },
        Rule { "maxWidth16384", [](P &p) { p.maxWidth = 16384; }, nullptr },
        Rule { "maxWidth16385", [](P &p) { p.maxWidth = 16385; }, sizes },
        Rule { "bitrate1001", [](P &p) { p.bitrateMbps = 1001; }, sizes },
        Rule { "sampleRate", [](P &p) { p.sampleRate = 32000; }, audioFormat },
        Rule { "bitDepth", [](P &p) { p.bitDepth = 8; }, audioFormat },
        Rule { "channels6", [](P &p) { p.channels = 6; }, audioFormat },
        Rule {
            "pcmInMp4", [](P &p) { p.audio = AudioMode::pcm; }, "Choose AAC or passthrough audio for MP4." },
        Rule { "mxfWithoutAudio",
            [](P &p) {
                p.codec = Codec::dnxHQ, p.container = QStringLiteral("mxf"), p.audio = AudioMode::none;
            },
            "MXF output requires PCM audio in this version." },
        Rule { "hardwareProRes",
            [](P &p) {
                p.codec = Codec::prores422, p.container = QStringLiteral("mov"),
                finish(p, [](F &f) { f.hardware = true; });
            },
            "Hardware encoding supports H.264 and HEVC." },
        Rule { "hardwareHevc",
            [](P &p) { p.codec = Codec::hevc, finish(p, [](F &f) { f.hardware = true; }); }, nullptr },
        Rule { "hardwareQuality0", [](P &p) { finish(p, [](F &f) { f.hardwareQuality = 0; }); }, finishing },
        Rule { "burnSize11", [](P &p) { finish(p, [](F &f) { f.burnSize = 11; }); }, finishing },
        Rule { "burnText401",
            [](P &p) { finish(p, [](F &f) { f.burnText = QString(401, QLatin1Char('x')); }); }, finishing },
        Rule { "burnText400",
            [](P &p) { finish(p, [](F &f) { f.burnText = QString(400, QLatin1Char('x')); }); }, nullptr },
        Rule { "burnPosition",
            [](P &p) { finish(p, [](F &f) { f.burnPosition = QStringLiteral("Middle"); }); }, finishing },
        Rule { "mapBadText",
            [](P &p) {
                tune(p, [](E &e) { e.audioTrack = 0; }),
                    finish(p, [](F &f) { f.channelMap = QStringLiteral("1,2,3"); });
            },
            channelText },
        Rule { "mapAllTracks", [](P &p) { finish(p, [](F &f) { f.channelMap = QStringLiteral("1,2"); }); },
            mapping },
        Rule { "mapPassthrough",
            [](P &p) {
                p.audio = AudioMode::passthrough, tune(p, [](E &e) { e.audioTrack = 0; }),
                finish(p, [](F &f) { f.channelMap = QStringLiteral("1"); });
            },
            mapping },
        Rule { "mapValid",
            [](P &p) {
                tune(p, [](E &e) { e.audioTrack = 0; }),
                    finish(p, [](F &f) { f.channelMap = QStringLiteral("2, 1"); });
            },
            nullptr },
        Rule { "oddCrop", [](P &p) { tune(p, [](E &e) { e.cropLeft = 3; }); }, crops },
        Rule { "negativeCrop", [](P &p) { tune(p, [](E &e) { e.cropTop = -2; }); }, crops },
        Rule { "hugeCrop", [](P &p) { tune(p, [](E &e) { e.cropBottom = 16386; }); }, crops },
        Rule { "maxHeight8", [](P &p) { tune(p, [](E &e) { e.maxHeight = 8; }); }, crops },
        Rule { "maxHeight16", [](P &p) { tune(p, [](E &e) { e.maxHeight = 16; }); }, nullptr },
        Rule { "maxHeight16385", [](P &p) { tune(p, [](E &e) { e.maxHeight = 16385; }); }, crops },
        Rule { "rotation45", [](P &p) { tune(p, [](E &e) { e.rotation = 45; }); }, processing },
        Rule { "frameRate12", [](P &p) { tune(p, [](E &e) { e.frameRate = QStringLiteral("12"); }); },
            processing },
        Rule {
            "speed", [](P &p) { tune(p, [](E &e) { e.speed = QStringLiteral("placebo"); }); }, processing },
        Rule {
            "denoise", [](P &p) { tune(p, [](E &e) { e.denoise = QStringLiteral("Heavy"); }); }, processing },
        Rule { "audioBitrate", [](P &p) { tune(p, [](E &e) { e.audioBitrate = 16; }); }, audioOptions },
        Rule { "audioTrack", [](P &p) { tune(p, [](E &e) { e.audioTrack = -2; }); }, audioOptions },
        Rule { "gain25Passthrough",
            [](P &p) { p.audio = AudioMode::passthrough, tune(p, [](E &e) { e.audioGain = 25; }); },
            audioOptions },
        Rule { "gain3Passthrough",
            [](P &p) { p.audio = AudioMode::passthrough, tune(p, [](E &e) { e.audioGain = 3; }); },
            "Audio gain requires PCM or AAC conversion." },
        Rule { "subtitlesMxf",
            [](P &p) {
                p.codec = Codec::dnxLB, p.container = QStringLiteral("mxf"), p.audio = AudioMode::pcm,
                tune(p, [](E &e) { e.subtitles = true; });
            },
            "Embedded text subtitles require MOV or MP4." },
        Rule { "absentEncodingUsesDefaults", [](P &p) { p.encoding.reset(); }, nullptr }),
    [](const testing::TestParamInfo<Rule> &info) { return std::string(info.param.name); });

TEST(ChannelMapping, ParsesOneBasedListsIntoSourceIndices)
{
    EXPECT_EQ(PresetService::channelMapping(QStringLiteral("1, 2")), (QList<int> { 0, 1 }));
    EXPECT_EQ(PresetService::channelMapping(QStringLiteral("\t3,4 ")), (QList<int> { 2, 3 }));
    EXPECT_EQ(PresetService::channelMapping(QStringLiteral("+64")), QList<int> { 63 });
    EXPECT_EQ(PresetService::channelMapping(QStringLiteral("8,7,6,5,4,3,2,1")),
        (QList<int> { 7, 6, 5, 4, 3, 2, 1, 0 }));
    for (const char *bad :
        { "1,2,3", "0,1", "65", "-1", "", "1,,2", "a", "1.5", "1,2,3,4,5", "1 2", "99999999999999999999" }) {
        try {
            PresetService::channelMapping(QString::fromLatin1(bad));
            ADD_FAILURE() << "accepted \"" << bad << '"';
        } catch (const VantorError &error) {
            EXPECT_EQ(error.message(), QString::fromUtf8(channelText)) << bad;
        }
    }
}

} // namespace
} // namespace vantor
