#include "model/VantorError.h"
#include "transcode/PresetService.h"

#include <gtest/gtest.h>
#include <set>

namespace vantor {
namespace {

using P = TranscodePreset;
using E = EncodingOptions;
using F = FinishingOptions;

TEST(PresetServiceDefaults, SevenValidBuiltInsWithFreshIdentities)
{
    std::set<QUuid> ids;
    for (const P &preset : PresetService::defaults() + PresetService::defaults()) {
        EXPECT_NO_THROW(PresetService::validate(preset)) << preset.name.toStdString();
        ids.insert(preset.id);
    }
    EXPECT_EQ(ids.size(), 14u);
}

struct Rule {
    const char *name;
    std::function<void(P &, E &, F &)> change;
    const char *message; // nullptr: accepted
};

class PresetValidation : public testing::TestWithParam<Rule> { };

TEST_P(PresetValidation, FirstBrokenRuleDecides)
{
    P preset(QUuid::createUuid(), "Test", Codec::h264, "mp4", 1920, 100, 20, 0, AudioMode::aac, 48000, 24, 0, "_T");
    E tuning = preset.tuning();
    F finish = preset.finish();
    GetParam().change(preset, tuning, finish);
    if (tuning != preset.tuning())
        preset.setTuning(tuning);
    if (finish != F {})
        preset.setFinish(finish);
    QString result = "(accepted)";
    try {
        PresetService::validate(preset);
    } catch (const VantorError &error) {
        result = error.message();
    }
    EXPECT_EQ(result, QString(GetParam().message ? GetParam().message : "(accepted)"));
}

const char *const sizes = "Invalid resolution, scale, quality or bitrate.";
const char *const audioFormat = "Invalid audio format.";
const char *const finishing = "Invalid hardware quality or burn-in settings.";
const char *const mapping = "Select one audio track and PCM or AAC to map its channels.";
const char *const channelText = "Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.";
const char *const crops = "Use even, nonnegative crop values and a valid height limit.";
const char *const processing = "Invalid video processing options.";
const char *const audioOptions = "Invalid audio bitrate, gain or track selection.";

INSTANTIATE_TEST_SUITE_P(Rules, PresetValidation,
    testing::Values(
        Rule { "av1InMov", [](P &p, E &, F &) { p.codec = Codec::av1, p.container = "mov"; }, "AV1 is not supported in MOV." },
        Rule { "proresInMp4", [](P &p, E &, F &) { p.codec = Codec::proresHQ; }, "ProRes 422 HQ is not supported in MP4." },
        Rule { "containerBeforeSizes", [](P &p, E &, F &) { p.container = "mxf", p.quality = 99; }, "H.264 is not supported in MXF." },
        Rule { "scale0", [](P &p, E &, F &) { p.scalePercent = 0; }, sizes },
        Rule { "quality52", [](P &p, E &, F &) { p.quality = 52; }, sizes },
        Rule { "maxWidth8", [](P &p, E &, F &) { p.maxWidth = 8; }, sizes },
        Rule { "maxWidth16385", [](P &p, E &, F &) { p.maxWidth = 16385; }, sizes },
        Rule { "bitrate1001", [](P &p, E &, F &) { p.bitrateMbps = 1001; }, sizes },
        Rule { "sampleRate", [](P &p, E &, F &) { p.sampleRate = 32000; }, audioFormat },
        Rule { "channels6", [](P &p, E &, F &) { p.channels = 6; }, audioFormat },
        Rule { "pcmInMp4", [](P &p, E &, F &) { p.audio = AudioMode::pcm; }, "Choose AAC or passthrough audio for MP4." },
        Rule { "mxfWithoutAudio", [](P &p, E &, F &) { p.codec = Codec::dnxHQ, p.container = "mxf", p.audio = AudioMode::none; }, "MXF output requires PCM audio in this version." },
        Rule { "hardwareProRes", [](P &p, E &, F &f) { p.codec = Codec::prores422, p.container = "mov", f.hardware = true; }, "Hardware encoding supports H.264 and HEVC." },
        Rule { "hardwareHevc", [](P &p, E &, F &f) { p.codec = Codec::hevc, f.hardware = true; }, nullptr },
        Rule { "hardwareQuality0", [](P &, E &, F &f) { f.hardwareQuality = 0; }, finishing },
        Rule { "burnSize11", [](P &, E &, F &f) { f.burnSize = 11; }, finishing },
        Rule { "burnText401", [](P &, E &, F &f) { f.burnText = QString(401, 'x'); }, finishing },
        Rule { "burnPosition", [](P &, E &, F &f) { f.burnPosition = "Middle"; }, finishing },
        Rule { "mapBadText", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "1,2,3"; }, channelText },
        Rule { "mapAllTracks", [](P &, E &, F &f) { f.channelMap = "1,2"; }, mapping },
        Rule { "mapPassthrough", [](P &p, E &e, F &f) { p.audio = AudioMode::passthrough, e.audioTrack = 0, f.channelMap = "1"; }, mapping },
        Rule { "mapValid", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2, 1"; }, nullptr },
        Rule { "oddCrop", [](P &, E &e, F &) { e.cropLeft = 3; }, crops },
        Rule { "hugeCrop", [](P &, E &e, F &) { e.cropBottom = 16386; }, crops },
        Rule { "maxHeight8", [](P &, E &e, F &) { e.maxHeight = 8; }, crops },
        Rule { "maxHeight16385", [](P &, E &e, F &) { e.maxHeight = 16385; }, crops },
        Rule { "rotation45", [](P &, E &e, F &) { e.rotation = 45; }, processing },
        Rule { "denoise", [](P &, E &e, F &) { e.denoise = "Heavy"; }, processing },
        Rule { "audioBitrate", [](P &, E &e, F &) { e.audioBitrate = 16; }, audioOptions },
        Rule { "gain25Passthrough", [](P &p, E &e, F &) { p.audio = AudioMode::passthrough, e.audioGain = 25; }, audioOptions },
        Rule { "gain3Passthrough", [](P &p, E &e, F &) { p.audio = AudioMode::passthrough, e.audioGain = 3; }, "Audio gain requires PCM or AAC conversion." },
        Rule { "subtitlesMxf", [](P &p, E &e, F &) { p.codec = Codec::dnxLB, p.container = "mxf", p.audio = AudioMode::pcm, e.subtitles = true; }, "Embedded text subtitles require MOV or MP4." },
        Rule { "absentEncodingUsesDefaults", [](P &p, E &, F &) { p.encoding.reset(); }, nullptr }),
    [](const testing::TestParamInfo<Rule> &info) { return std::string(info.param.name); });

TEST(ChannelMapping, ParsesOneBasedListsIntoSourceIndices)
{
    EXPECT_EQ(PresetService::channelMapping("1, 2"), (QList<int> { 0, 1 }));
    EXPECT_EQ(PresetService::channelMapping("\t3,4 "), (QList<int> { 2, 3 }));
    EXPECT_EQ(PresetService::channelMapping("+64"), QList<int> { 63 });
    EXPECT_EQ(PresetService::channelMapping("8,7,6,5,4,3,2,1"), (QList<int> { 7, 6, 5, 4, 3, 2, 1, 0 }));
    for (const char *bad : { "1,2,3", "0,1", "65", "-1", "", "1,,2", "a", "1.5", "1,2,3,4,5", "1 2", "99999999999999999999" }) {
        try {
            PresetService::channelMapping(bad);
            ADD_FAILURE() << "accepted \"" << bad << '"';
        } catch (const VantorError &error) {
            EXPECT_EQ(error.message(), QString(channelText)) << bad;
        }
    }
}

} // namespace
} // namespace vantor
