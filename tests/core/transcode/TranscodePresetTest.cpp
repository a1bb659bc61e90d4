#include "model/JsonCodec.h"
#include "model/VantorError.h"
#include "transcode/TranscodePreset.h"

#include <gtest/gtest.h>

namespace vantor {
namespace {

TranscodePreset named(const QString &name)
{
    return TranscodePreset(QUuid::createUuid(), name, Codec::proresProxy, "mov", 1920, 100, 20, 0, AudioMode::pcm,
        48000, 24, 0, "_proxy");
}

// A preset written the reference platform's way, without the two optional groups.
QJsonObject referencePreset()
{
    return QJsonObject { { "id", "6A1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8" }, { "name", "Review File" },
        { "codec", "H.264" }, { "container", "mp4" }, { "maxWidth", 1920 }, { "scalePercent", 100 },
        { "quality", 23 }, { "bitrateMbps", 0 }, { "audio", "AAC" }, { "sampleRate", 48000 }, { "bitDepth", 24 },
        { "channels", 2 }, { "suffix", "_review" }, { "preserveMetadata", true } };
}

TEST(TranscodePreset, MissingGroupsReadAsDefaultsAndStayAbsent)
{
    const TranscodePreset preset = TranscodePreset::fromJson(referencePreset());
    EXPECT_FALSE(preset.finishing.has_value());
    EXPECT_FALSE(preset.encoding.has_value());
    EXPECT_EQ(preset.finish(), FinishingOptions {});
    EXPECT_EQ(preset.tuning(), EncodingOptions {});
    EXPECT_EQ(preset.finish().burnPosition, "Bottom Left");
    EXPECT_EQ(preset.tuning().audioTrack, -1);
    EXPECT_EQ(preset.toJson(), referencePreset());
    // The initialiser makes encoding present and leaves finishing absent, which differs from defaults.
    TranscodePreset made = named("proxy");
    EXPECT_TRUE(made.toJson().contains("encoding"));
    EXPECT_FALSE(made.toJson().contains("finishing"));
    TranscodePreset withDefaults = made;
    withDefaults.setFinish(FinishingOptions {});
    EXPECT_NE(withDefaults, made);
}

TEST(TranscodePreset, FullPresetRoundTrips)
{
    TranscodePreset preset = named("Everything");
    preset.setFinish({ .hardware = true, .burnTimecode = true, .burnText = "DAILIES – not for broadcast", .channelMap = "2,1" });
    EncodingOptions tuning;
    tuning.cropTop = 8, tuning.rotation = 90, tuning.flipVertical = true, tuning.frameRate = "23.976";
    tuning.audioTrack = 1, tuning.chapters = false;
    preset.setTuning(tuning);
    EXPECT_EQ(TranscodePreset::fromJson(JsonCodec::parse(JsonCodec::pretty(preset.toJson()))), preset);
}

TEST(TranscodePreset, StrictDecodingRefusesBrokenRecords)
{
    for (const auto &[key, replacement] : std::vector<std::pair<const char *, QJsonValue>> { { "suffix", {} },
             { "preserveMetadata", {} }, { "id", {} }, { "channels", {} }, { "codec", "prores" }, { "codec", "h.264" },
             { "audio", "None" }, { "quality", "20" }, { "finishing", QJsonObject { { "hardware", false } } },
             { "encoding", QJsonObject { { "cropTop", 0 } } } }) {
        QJsonObject document = referencePreset();
        if (replacement.isNull())
            document.remove(key);
        else
            document.insert(key, replacement);
        EXPECT_THROW(TranscodePreset::fromJson(document), DecodingError) << key;
    }
}

TEST(TranscodePreset, DisplayNameAndBurnIns)
{
    EXPECT_EQ(named("prores proxy").displayName(), "ProRes Proxy");
    EXPECT_EQ(named("youtube 1080p").displayName(), "YouTube 1080P");
    EXPECT_EQ(named("PRORES HQ").displayName(), "ProRes Hq");
    EXPECT_FALSE(FinishingOptions {}.hasBurnIns());
    FinishingOptions blank, timecode;
    blank.burnText = " "; // blanks count too
    timecode.burnTimecode = true;
    EXPECT_TRUE(blank.hasBurnIns());
    EXPECT_TRUE(timecode.hasBurnIns());
}

} // namespace
} // namespace vantor
