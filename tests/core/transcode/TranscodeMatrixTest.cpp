// Every argument vector the presets can produce must run to completion with the real engine and
// give the file it promises: one case per accepted codec × container × audio mode, then one per
// processing option.
#include "TranscodeTesting.h"
#include "base/JobControl.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

namespace vantor {
namespace {

using P = TranscodePreset;
using E = EncodingOptions;
using F = FinishingOptions;
using Size = std::pair<qint64, qint64>;
enum class Source { plain, rich, rotated };

struct MatrixCase {
    std::string name {};
    P preset {};
    QString codec = "h264";
    QList<qint64> channels { 2, 6 };
    Source source = Source::rich;
    std::optional<Size> size {}; // from outputDimensions when absent
    QString rate = "25/1";
    QStringList subtitles {};
    qint64 chapters = 2;
};

std::vector<MatrixCase> formatCases()
{
    std::vector<MatrixCase> cases;
    for (const Codec::Value value : Codec::allCases) {
        const Codec codec(value);
        const QString probed = codec.isProRes() ? "prores" : codec.isDnxHR() ? "dnxhd" : value == Codec::hevc ? "hevc" : value == Codec::av1 ? "av1" : "h264";
        for (const QString container : { "mov", "mxf", "mp4" }) {
            for (const AudioMode::Value audio : AudioMode::allCases) {
                const P preset = test::preset(codec, container, audio, 0);
                if (test::refusal([&] { PresetService::validate(preset); }) != "(accepted)")
                    continue; // only what validation accepts can reach the engine
                const QString name = QString(codec.rawValue() + '_' + container + '_' + AudioMode(audio).rawValue()).replace(QRegularExpression("[^A-Za-z0-9]"), "_");
                cases.push_back({ name.toStdString(), preset, probed, audio == AudioMode::none ? QList<qint64> {} : QList<qint64> { 2 }, Source::plain, {}, "25/1", {}, 0 });
            }
        }
    }
    return cases;
}

// An H.264 MOV with AAC from the rich source (a stereo and a 5.1 track), changed by `change`.
MatrixCase option(const char *name, const test::PresetChange &change, MatrixCase expected = {})
{
    expected.name = name;
    expected.preset = test::preset(Codec::h264, "mov", AudioMode::aac, 0, change);
    return expected;
}

std::vector<MatrixCase> optionCases()
{
    const QStringList text { "mov_text" };
    return {
        option("crop", [](P &, E &e, F &) { e.cropTop = 20, e.cropBottom = 20, e.cropLeft = 40, e.cropRight = 40; }, { .size = Size(240, 140) }),
        option("rotate90", [](P &, E &e, F &) { e.rotation = 90; }, { .size = Size(180, 320) }),
        option("rotate180FlipH", [](P &, E &e, F &) { e.rotation = 180, e.flipHorizontal = true; }, { .size = Size(320, 180) }),
        option("rotate270FlipV", [](P &, E &e, F &) { e.rotation = 270, e.flipVertical = true; }, { .size = Size(180, 320) }),
        option("scale50", [](P &p, E &, F &) { p.scalePercent = 50; }, { .size = Size(160, 90) }),
        option("maxWidth", [](P &p, E &, F &) { p.maxWidth = 200; }, { .size = Size(200, 112) }),
        option("maxHeight", [](P &, E &e, F &) { e.maxHeight = 90; }, { .size = Size(160, 90) }),
        option("denoiseStrong", [](P &, E &e, F &) { e.denoise = "Strong"; }),
        option("sharpen", [](P &, E &e, F &) { e.sharpen = true; }),
        option("grayscale", [](P &, E &e, F &) { e.grayscale = true; }),
        option("deinterlace", [](P &, E &e, F &) { e.deinterlace = true; }),
        option("frameRate2997", [](P &, E &e, F &) { e.frameRate = "29.97"; }, { .rate = "30000/1001" }),
        option("audioTrack2", [](P &, E &e, F &) { e.audioTrack = 1; }, { .channels = { 6 } }),
        option("channelMapSwap", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2,1"; }, { .channels = { 2 } }),
        option("channelMapMono", [](P &, E &e, F &f) { e.audioTrack = 1, f.channelMap = "3"; }, { .channels = { 1 } }),
        option("channelMap6Pcm", [](P &p, E &e, F &f) { p.audio = AudioMode::pcm, e.audioTrack = 1, f.channelMap = "6,5,4,3,2,1"; }, { .channels = { 6 } }),
        option("downmixMono", [](P &p, E &, F &) { p.channels = 1; }, { .channels = { 1, 1 } }),
        option("gainDown", [](P &, E &e, F &) { e.audioGain = -6; }),
        option("bitrate", [](P &p, E &, F &) { p.bitrateMbps = 2; }),
        option("noMetadata", [](P &p, E &, F &) { p.preserveMetadata = false; }),
        option("subtitlesMov", [](P &, E &e, F &) { e.subtitles = true; }, { .subtitles = text }),
        option("subtitlesMp4", [](P &p, E &e, F &) { p.container = "mp4", e.subtitles = true; }, { .subtitles = text }),
        option("noChapters", [](P &, E &e, F &) { e.chapters = false; }, { .chapters = 0 }),
        option("sourceRotation", [](P &, E &, F &) {}, { .channels = {}, .source = Source::rotated, .size = Size(180, 320), .chapters = 0 }),
    };
}

class TranscodeMatrix : public testing::TestWithParam<MatrixCase> {
protected:
    static void SetUpTestSuite()
    {
        folder = new test::TempDir;
        sources = { { Source::plain, test::makeClip(folder->file("plain.mov"), { .timecode = "01:00:00:00" }) },
            { Source::rich, test::clips::rich(*folder) }, { Source::rotated, test::clips::rotated(*folder, 90) } };
    }
    static void TearDownTestSuite() { delete folder; }

    static inline test::TempDir *folder = nullptr;
    static inline std::map<Source, QString> sources;
    JobControl control;
};

TEST_P(TranscodeMatrix, EncodesAndProbesAsPromised)
{
    const MatrixCase &entry = GetParam();
    const MediaInfo source = TranscodeService::probe(sources.at(entry.source), QString(), control);
    const QString output = folder->file(QString::fromStdString(entry.name) + '.' + entry.preset.container);
    const QStringList vector = TranscodeService::arguments(sources.at(entry.source), output, entry.preset, source, {});
    const QString failure = test::refusal([&] { TranscodeService::run(TranscodeService::executable(QString(), false), vector, control, [](const QString &) {}); });
    ASSERT_EQ(failure, "(accepted)") << vector.join(' ').toStdString();
    const MediaInfo result = TranscodeService::probe(output, QString(), control);
    const auto [width, height] = entry.size.value_or(TranscodeService::outputDimensions(entry.preset, source));
    EXPECT_EQ(std::make_tuple(result.codec, result.width, result.height, result.frameRate, result.audioChannels, result.subtitleTracks, result.chapterCount),
        std::make_tuple(entry.codec, width, height, entry.rate, entry.channels, entry.subtitles, entry.chapters));
    EXPECT_GT(result.duration, 0.3);
}

std::string nameOf(const testing::TestParamInfo<MatrixCase> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Formats, TranscodeMatrix, testing::ValuesIn(formatCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Options, TranscodeMatrix, testing::ValuesIn(optionCases()), nameOf);

TEST(TranscodeMatrixSize, CoversEveryAcceptedFormat)
{
    // 5 ProRes × MOV × 4 modes, 4 DNxHR × (MOV × 4 + MXF × PCM), H.264 and HEVC × (MP4 × 3 + MOV × 4),
    // AV1 × MP4 × 3.
    EXPECT_EQ(formatCases().size(), 20u + 20u + 14u + 3u);
}

} // namespace
} // namespace vantor
