#include "model/JsonCodec.h"
#include "model/VantorError.h"
#include "transcode/TranscodePreset.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

TranscodePreset namedPreset(const QString &name)
{
    return TranscodePreset(QUuid::createUuid(), name, Codec::proresProxy, QStringLiteral("mov"), 1920, 100, 20, 0,
                           AudioMode::pcm, 48000, 24, 0, QStringLiteral("_proxy"));
}

// A preset written the reference platform's way, without the two optional groups.
QJsonObject referencePreset()
{
    return QJsonObject{{"id", "6A1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8"},
                       {"name", "Review File"},
                       {"codec", "H.264"},
                       {"container", "mp4"},
                       {"maxWidth", 1920},
                       {"scalePercent", 100},
                       {"quality", 23},
                       {"bitrateMbps", 0},
                       {"audio", "AAC"},
                       {"sampleRate", 48000},
                       {"bitDepth", 24},
                       {"channels", 2},
                       {"suffix", "_review"},
                       {"preserveMetadata", true}};
}

} // namespace

struct CodecRow {
    Codec codec;
    const char *raw;
    std::optional<int> prores;
    const char *dnx;
    const char *encoder;
    QStringList containers;
};

class CodecTableTest : public ::testing::TestWithParam<CodecRow> {};

TEST_P(CodecTableTest, DerivedPropertiesFollowTheTable)
{
    const CodecRow &row = GetParam();
    EXPECT_EQ(row.codec.rawValue(), QLatin1String(row.raw));
    EXPECT_EQ(Codec::fromRawValue(QLatin1String(row.raw)), row.codec);
    EXPECT_EQ(row.codec.proresProfile(), row.prores);
    EXPECT_EQ(row.codec.dnxProfile(), row.dnx ? std::optional(QString::fromLatin1(row.dnx)) : std::nullopt);
    EXPECT_EQ(row.codec.encoder(), QLatin1String(row.encoder));
    EXPECT_EQ(row.codec.containers(), row.containers);
}

INSTANTIATE_TEST_SUITE_P(
    AllCodecs, CodecTableTest,
    ::testing::Values(CodecRow{Codec::proresProxy, "ProRes Proxy", 0, nullptr, "prores_ks", {"mov"}},
                      CodecRow{Codec::proresLT, "ProRes LT", 1, nullptr, "prores_ks", {"mov"}},
                      CodecRow{Codec::prores422, "ProRes 422", 2, nullptr, "prores_ks", {"mov"}},
                      CodecRow{Codec::proresHQ, "ProRes 422 HQ", 3, nullptr, "prores_ks", {"mov"}},
                      CodecRow{Codec::prores4444, "ProRes 4444", 4, nullptr, "prores_ks", {"mov"}},
                      CodecRow{Codec::dnxLB, "DNxHR LB", std::nullopt, "dnxhr_lb", "dnxhd", {"mov", "mxf"}},
                      CodecRow{Codec::dnxSQ, "DNxHR SQ", std::nullopt, "dnxhr_sq", "dnxhd", {"mov", "mxf"}},
                      CodecRow{Codec::dnxHQ, "DNxHR HQ", std::nullopt, "dnxhr_hq", "dnxhd", {"mov", "mxf"}},
                      CodecRow{Codec::dnxHQX, "DNxHR HQX", std::nullopt, "dnxhr_hqx", "dnxhd", {"mov", "mxf"}},
                      CodecRow{Codec::h264, "H.264", std::nullopt, nullptr, "libx264", {"mp4", "mov"}},
                      CodecRow{Codec::hevc, "HEVC", std::nullopt, nullptr, "libx265", {"mp4", "mov"}},
                      CodecRow{Codec::av1, "AV1", std::nullopt, nullptr, "libsvtav1", {"mp4"}}));

TEST(TranscodePresetTest, MissingGroupsLoadAndReadAsDefaults)
{
    const TranscodePreset preset = TranscodePreset::fromJson(referencePreset());
    EXPECT_FALSE(preset.finishing.has_value());
    EXPECT_FALSE(preset.encoding.has_value());
    const FinishingOptions finish = preset.finish();
    EXPECT_EQ(finish.burnPosition, QStringLiteral("Bottom Left"));
    EXPECT_EQ(finish.burnSize, 28);
    EXPECT_EQ(finish.hardwareQuality, 65);
    const EncodingOptions tuning = preset.tuning();
    EXPECT_EQ(tuning.frameRate, QStringLiteral("Source"));
    EXPECT_EQ(tuning.speed, QStringLiteral("medium"));
    EXPECT_EQ(tuning.denoise, QStringLiteral("Off"));
    EXPECT_EQ(tuning.audioBitrate, 256);
    EXPECT_EQ(tuning.audioTrack, -1);
    EXPECT_TRUE(tuning.chapters);
    // Absent groups stay absent when written back.
    EXPECT_EQ(preset.toJson(), referencePreset());
}

TEST(TranscodePresetTest, InitialiserMakesEncodingPresentAndFinishingAbsent)
{
    TranscodePreset preset = namedPreset(QStringLiteral("proxy"));
    EXPECT_TRUE(preset.encoding.has_value());
    EXPECT_FALSE(preset.finishing.has_value());
    EXPECT_TRUE(preset.toJson().contains(QStringLiteral("encoding")));
    EXPECT_FALSE(preset.toJson().contains(QStringLiteral("finishing")));

    TranscodePreset withDefaults = preset;
    withDefaults.setFinish(FinishingOptions{});
    EXPECT_NE(withDefaults, preset) << "absent finishing differs from finishing with defaults";
    EXPECT_EQ(withDefaults.finish(), preset.finish());
}

TEST(TranscodePresetTest, FullPresetRoundTrips)
{
    TranscodePreset preset = namedPreset(QStringLiteral("Everything"));
    FinishingOptions finish;
    finish.hardware = true;
    finish.burnText = QStringLiteral("DAILIES – not for broadcast");
    finish.burnTimecode = true;
    finish.channelMap = QStringLiteral("2,1");
    preset.setFinish(finish);
    EncodingOptions tuning;
    tuning.cropTop = 8;
    tuning.rotation = 90;
    tuning.flipVertical = true;
    tuning.frameRate = QStringLiteral("23.976");
    tuning.audioTrack = 1;
    tuning.chapters = false;
    preset.setTuning(tuning);
    const TranscodePreset decoded = TranscodePreset::fromJson(JsonCodec::parse(JsonCodec::pretty(preset.toJson())));
    EXPECT_EQ(decoded, preset);
}

class PresetStrictDecodingTest : public ::testing::TestWithParam<std::pair<const char *, QJsonValue>> {};

TEST_P(PresetStrictDecodingTest, RefusesThePreset)
{
    QJsonObject document = referencePreset();
    const auto &[key, replacement] = GetParam();
    if (replacement.isUndefined())
        document.remove(QLatin1String(key));
    else
        document.insert(QLatin1String(key), replacement);
    EXPECT_THROW(TranscodePreset::fromJson(document), DecodingError) << key;
}

INSTANTIATE_TEST_SUITE_P(
    BadPresets, PresetStrictDecodingTest,
    ::testing::Values(std::pair("suffix", QJsonValue()), std::pair("preserveMetadata", QJsonValue()),
                      std::pair("id", QJsonValue()), std::pair("channels", QJsonValue()),
                      std::pair("codec", QJsonValue(QStringLiteral("prores"))),
                      std::pair("codec", QJsonValue(QStringLiteral("h.264"))),
                      std::pair("audio", QJsonValue(QStringLiteral("None"))),
                      std::pair("quality", QJsonValue(QStringLiteral("20"))),
                      std::pair("finishing", QJsonValue(QJsonObject{{"hardware", false}})),
                      std::pair("encoding", QJsonValue(QJsonObject{{"cropTop", 0}}))));

TEST(TranscodePresetTest, DisplayNameCapitalisesThenRestoresBrands)
{
    EXPECT_EQ(namedPreset(QStringLiteral("prores proxy")).displayName(), QStringLiteral("ProRes Proxy"));
    EXPECT_EQ(namedPreset(QStringLiteral("youtube 1080p")).displayName(), QStringLiteral("YouTube 1080P"));
    EXPECT_EQ(namedPreset(QStringLiteral("PRORES HQ")).displayName(), QStringLiteral("ProRes Hq"));
}

TEST(TranscodePresetTest, BurnInsCountAnyTextEvenBlanks)
{
    FinishingOptions finish;
    EXPECT_FALSE(finish.hasBurnIns());
    finish.burnText = QStringLiteral(" ");
    EXPECT_TRUE(finish.hasBurnIns());
    finish = FinishingOptions{};
    finish.burnTimecode = true;
    EXPECT_TRUE(finish.hasBurnIns());
}
