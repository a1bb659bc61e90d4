// Presets as records (strict JSON both ways) and the validation every preset passes before use.
#include "TranscodeTesting.h"
#include "model/JsonCodec.h"
#include "transcode/PresetService.h"

#include <gtest/gtest.h>
#include <set>

namespace vantor {
namespace {

using P = TranscodePreset;
using E = EncodingOptions;
using F = FinishingOptions;

// A preset written the reference platform's way, without the two optional groups.
QJsonObject referencePreset()
{
    return QJsonObject { { "id", "6A1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8" }, { "name", "Review File" },
        { "codec", "H.264" }, { "container", "mp4" }, { "maxWidth", 1920 }, { "scalePercent", 100 },
        { "quality", 23 }, { "bitrateMbps", 0 }, { "audio", "AAC" }, { "sampleRate", 48000 }, { "bitDepth", 24 },
        { "channels", 2 }, { "suffix", "_review" }, { "preserveMetadata", true } };
}

TEST(TranscodePresetJson, ReferenceRecordStaysWithoutGroupsAndFullRecordRoundTrips)
{
    const P reference = P::fromJson(referencePreset());
    EXPECT_FALSE(reference.finishing || reference.encoding);
    EXPECT_EQ(std::make_pair(reference.finish(), reference.tuning()), std::make_pair(F {}, E {}));
    EXPECT_EQ(reference.toJson(), referencePreset());
    const P full = test::changed([](P &, E &e, F &f) {
        f = { .hardware = true, .burnTimecode = true, .burnText = "DAILIES – not for broadcast", .channelMap = "2,1" };
        e.cropTop = 8, e.rotation = 90, e.flipVertical = true, e.frameRate = "23.976", e.audioTrack = 1, e.chapters = false;
    });
    EXPECT_EQ(P::fromJson(JsonCodec::parse(JsonCodec::pretty(full.toJson()))), full);
}

TEST(TranscodePresetJson, StrictDecodingRefusesBrokenRecords)
{
    for (const auto &[key, replacement] : std::vector<std::pair<const char *, QJsonValue>> { { "suffix", {} },
             { "id", {} }, { "codec", "h.264" }, { "audio", "None" }, { "quality", "20" },
             { "finishing", QJsonObject { { "hardware", false } } }, { "encoding", QJsonObject { { "cropTop", 0 } } } }) {
        QJsonObject document = referencePreset();
        if (replacement.isNull())
            document.remove(key);
        else
            document.insert(key, replacement);
        EXPECT_THROW(P::fromJson(document), DecodingError) << key;
    }
}

TEST(TranscodePresetJson, DisplayNameCapitalisesWordsAndRestoresBrands)
{
    P named = test::preset();
    named.name = "YOUTUBE 1080p prores hq";
    EXPECT_EQ(named.displayName(), "YouTube 1080P ProRes Hq");
}

TEST(PresetServiceDefaults, ValidBuiltInsWithFreshIdentities)
{
    std::set<QUuid> ids;
    for (const P &builtIn : PresetService::defaults() + PresetService::defaults()) {
        EXPECT_NO_THROW(PresetService::validate(builtIn)) << builtIn.name.toStdString();
        ids.insert(builtIn.id);
    }
    EXPECT_EQ(ids.size(), 14u);
}

struct Rule {
    const char *name;
    test::PresetChange change;
    const char *message = "(accepted)";
};

class PresetValidation : public testing::TestWithParam<Rule> { };

TEST_P(PresetValidation, FirstBrokenRuleDecides)
{
    const P checked = test::changed(GetParam().change);
    EXPECT_EQ(test::refusal([&] { PresetService::validate(checked); }), GetParam().message);
}

const char *const sizes = "Invalid resolution, scale, quality or bitrate.";
const char *const audioFormat = "Invalid audio format.";
const char *const finishing = "Invalid hardware quality or burn-in settings.";
const char *const mapping = "Select one audio track and PCM or AAC to map its channels.";
const char *const crops = "Use even, nonnegative crop values and a valid height limit.";
const char *const processing = "Invalid video processing options.";
const char *const channelText = "Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.";

INSTANTIATE_TEST_SUITE_P(Rules, PresetValidation,
    testing::Values(
        Rule { "av1InMov", [](P &p, E &, F &) { p.codec = Codec::av1, p.container = "mov"; }, "AV1 is not supported in MOV." },
        Rule { "proresInMp4", [](P &p, E &, F &) { p.codec = Codec::proresHQ; }, "ProRes 422 HQ is not supported in MP4." },
        Rule { "containerBeforeSizes", [](P &p, E &, F &) { p.container = "mxf", p.quality = 99; }, "H.264 is not supported in MXF." },
        Rule { "scale0", [](P &p, E &, F &) { p.scalePercent = 0; }, sizes },
        Rule { "quality52", [](P &p, E &, F &) { p.quality = 52; }, sizes },
        Rule { "maxWidth16385", [](P &p, E &, F &) { p.maxWidth = 16385; }, sizes },
        Rule { "sampleRate", [](P &p, E &, F &) { p.sampleRate = 32000; }, audioFormat },
        Rule { "channels6", [](P &p, E &, F &) { p.channels = 6; }, audioFormat },
        Rule { "pcmInMp4", [](P &p, E &, F &) { p.audio = AudioMode::pcm; }, "Choose AAC or passthrough audio for MP4." },
        Rule { "mxfWithoutAudio", [](P &p, E &, F &) { p.codec = Codec::dnxHQ, p.container = "mxf", p.audio = AudioMode::none; }, "MXF output requires PCM audio in this version." },
        Rule { "hardwareProRes", [](P &p, E &, F &f) { p.codec = Codec::prores422, p.container = "mov", f.hardware = true; }, "Hardware encoding supports H.264 and HEVC." },
        Rule { "hardwareHevc", [](P &p, E &, F &f) { p.codec = Codec::hevc, f.hardware = true; } },
        Rule { "hardwareQuality0", [](P &, E &, F &f) { f.hardwareQuality = 0; }, finishing },
        Rule { "burnSize11", [](P &, E &, F &f) { f.burnSize = 11; }, finishing },
        Rule { "burnText401", [](P &, E &, F &f) { f.burnText = QString(401, 'x'); }, finishing },
        Rule { "burnPosition", [](P &, E &, F &f) { f.burnPosition = "Middle"; }, finishing },
        Rule { "mapBadText", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "1,2,3"; }, channelText },
        Rule { "mapAllTracks", [](P &, E &, F &f) { f.channelMap = "1,2"; }, mapping },
        Rule { "mapPassthrough", [](P &p, E &e, F &f) { p.audio = AudioMode::passthrough, e.audioTrack = 0, f.channelMap = "1"; }, mapping },
        Rule { "mapValid", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2, 1"; } },
        Rule { "oddCrop", [](P &, E &e, F &) { e.cropLeft = 3; }, crops },
        Rule { "hugeCrop", [](P &, E &e, F &) { e.cropBottom = 16386; }, crops },
        Rule { "maxHeight8", [](P &, E &e, F &) { e.maxHeight = 8; }, crops },
        Rule { "rotation45", [](P &, E &e, F &) { e.rotation = 45; }, processing },
        Rule { "denoise", [](P &, E &e, F &) { e.denoise = "Heavy"; }, processing },
        Rule { "gain25Passthrough", [](P &p, E &e, F &) { p.audio = AudioMode::passthrough, e.audioGain = 25; }, "Invalid audio bitrate, gain or track selection." },
        Rule { "gain3Passthrough", [](P &p, E &e, F &) { p.audio = AudioMode::passthrough, e.audioGain = 3; }, "Audio gain requires PCM or AAC conversion." },
        Rule { "subtitlesMxf", [](P &p, E &e, F &) { p.codec = Codec::dnxLB, p.container = "mxf", p.audio = AudioMode::pcm, e.subtitles = true; }, "Embedded text subtitles require MOV or MP4." },
        Rule { "absentEncodingUsesDefaults", [](P &p, E &, F &) { p.encoding.reset(); } }),
    [](const testing::TestParamInfo<Rule> &info) { return std::string(info.param.name); });

TEST(ChannelMapping, ParsesOneBasedListsIntoSourceIndices)
{
    EXPECT_EQ(PresetService::channelMapping("\t3,4 "), (QList<int> { 2, 3 }));
    EXPECT_EQ(PresetService::channelMapping("8,7,6,5,4,3,2,+64"), (QList<int> { 7, 6, 5, 4, 3, 2, 1, 63 }));
    for (const char *bad : { "1,2,3", "0,1", "65", "-1", "", "1,,2", "a", "1.5", "1 2", "99999999999999999999" })
        EXPECT_EQ(test::refusal([&] { PresetService::channelMapping(bad); }), channelText) << bad;
}

} // namespace
} // namespace vantor
