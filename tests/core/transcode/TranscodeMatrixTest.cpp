// Every argument vector the presets can produce must run to completion with the real engine and
// give the file it promises: one case per accepted codec × container × audio mode, then one per
// processing option.
#include "SampleClips.h"
#include "model/JobControl.h"
#include "model/VantorError.h"
#include "transcode/PresetService.h"
#include "transcode/TranscodeService.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

namespace vantor {
namespace {

using P = TranscodePreset;
using E = EncodingOptions;
enum class Source { plain, rich, rotated };

struct MatrixCase {
    std::string name;
    TranscodePreset preset;
    Source source = Source::plain;
    QString codec;
    QList<qint64> channels;
    std::optional<std::pair<qint64, qint64>> size {}; // from outputDimensions when absent
    QString rate = "25/1";
    std::optional<QStringList> subtitles {};
    std::optional<qint64> chapters {};
};

P basePreset(Codec codec, const QString &container, AudioMode audio)
{
    return P(QUuid::createUuid(), "Matrix", codec, container, 0, 100, 20, 0, audio, 48000, 24, 0, "_M");
}

std::vector<MatrixCase> formatCases()
{
    std::vector<MatrixCase> cases;
    for (const Codec::Value value : Codec::allCases) {
        const Codec codec(value);
        const QString probed = codec.isProRes() ? "prores"
            : codec.isDnxHR()                   ? "dnxhd"
            : value == Codec::hevc              ? "hevc"
            : value == Codec::av1               ? "av1"
                                                : "h264";
        for (const QString container : { "mov", "mxf", "mp4" }) {
            for (const AudioMode::Value audio : AudioMode::allCases) {
                const P preset = basePreset(codec, container, audio);
                try {
                    PresetService::validate(preset);
                } catch (const VantorError &) {
                    continue; // only what validation accepts can reach the engine
                }
                QString name = codec.rawValue() + '_' + container + '_' + AudioMode(audio).rawValue();
                name.replace(QRegularExpression("[^A-Za-z0-9]"), "_");
                cases.push_back({ name.toStdString(), preset, Source::plain, probed,
                    audio == AudioMode::none ? QList<qint64> {} : QList<qint64> { 2 } });
            }
        }
    }
    return cases;
}

// An H.264 MOV with AAC from the rich source (a stereo and a 5.1 track), changed by `change`.
MatrixCase option(const char *name, const std::function<void(P &, E &, FinishingOptions &)> &change,
    const std::function<void(MatrixCase &)> &expect = {})
{
    MatrixCase entry { name, basePreset(Codec::h264, "mov", AudioMode::aac), Source::rich, "h264", { 2, 6 } };
    E tuning = entry.preset.tuning();
    FinishingOptions finish = entry.preset.finish();
    change(entry.preset, tuning, finish);
    entry.preset.setTuning(tuning);
    entry.preset.setFinish(finish);
    if (expect)
        expect(entry);
    return entry;
}

std::vector<MatrixCase> optionCases()
{
    using F = FinishingOptions;
    auto size = [](qint64 w, qint64 h) { return [=](MatrixCase &c) { c.size = std::pair { w, h }; }; };
    auto channels = [](QList<qint64> list) { return [=](MatrixCase &c) { c.channels = list; }; };
    auto rate = [](const char *r) { return [=](MatrixCase &c) { c.rate = r; }; };
    auto subtitles = [](QStringList list) { return [=](MatrixCase &c) { c.subtitles = list; }; };
    auto chapters = [](qint64 count) { return [=](MatrixCase &c) { c.chapters = count; }; };
    std::vector<MatrixCase> cases {
        option("crop", [](P &, E &e, F &) { e.cropTop = 20, e.cropBottom = 20, e.cropLeft = 40, e.cropRight = 40; }, size(240, 140)),
        option("rotate90", [](P &, E &e, F &) { e.rotation = 90; }, size(180, 320)),
        option("rotate180", [](P &, E &e, F &) { e.rotation = 180; }, size(320, 180)),
        option("rotate270", [](P &, E &e, F &) { e.rotation = 270; }, size(180, 320)),
        option("flips", [](P &, E &e, F &) { e.flipHorizontal = true, e.flipVertical = true; }),
        option("scale50", [](P &p, E &, F &) { p.scalePercent = 50; }, size(160, 90)),
        option("maxWidth", [](P &p, E &, F &) { p.maxWidth = 200; }, size(200, 112)),
        option("maxHeight", [](P &, E &e, F &) { e.maxHeight = 90; }, size(160, 90)),
        option("denoiseStrong", [](P &, E &e, F &) { e.denoise = "Strong"; }),
        option("sharpen", [](P &, E &e, F &) { e.sharpen = true; }),
        option("grayscale", [](P &, E &e, F &) { e.grayscale = true; }),
        option("deinterlace", [](P &, E &e, F &) { e.deinterlace = true; }),
        option("frameRate2997", [](P &, E &e, F &) { e.frameRate = "29.97"; }, rate("30000/1001")),
        option("audioTrack2", [](P &, E &e, F &) { e.audioTrack = 1; }, channels({ 6 })),
        option("channelMapSwap", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2,1"; }, channels({ 2 })),
        option("channelMapMono", [](P &, E &e, F &f) { e.audioTrack = 1, f.channelMap = "3"; }, channels({ 1 })),
        option("channelMap6Pcm", [](P &p, E &e, F &f) { p.audio = AudioMode::pcm, e.audioTrack = 1, f.channelMap = "6,5,4,3,2,1"; }, channels({ 6 })),
        option("downmixMono", [](P &p, E &, F &) { p.channels = 1; }, channels({ 1, 1 })),
        option("gainDown", [](P &, E &e, F &) { e.audioGain = -6; }),
        option("bitrate", [](P &p, E &, F &) { p.bitrateMbps = 2; }),
        option("noMetadata", [](P &p, E &, F &) { p.preserveMetadata = false; }),
        option("subtitlesMov", [](P &, E &e, F &) { e.subtitles = true; }, subtitles({ "mov_text" })),
        option("subtitlesMp4", [](P &p, E &e, F &) { p.container = "mp4", e.subtitles = true; }, subtitles({ "mov_text" })),
        option("chapters", [](P &, E &, F &) {}, chapters(2)),
        option("noChapters", [](P &, E &e, F &) { e.chapters = false; }, chapters(0)),
        option("sourceRotation", [](P &, E &, F &) {}, [](MatrixCase &c) { c.source = Source::rotated, c.channels = {}, c.size = std::pair { 180, 320 }; }),
    };
    return cases;
}

class TranscodeMatrix : public testing::TestWithParam<MatrixCase> {
protected:
    static void SetUpTestSuite()
    {
        folder = new test::TempDir;
        sources[Source::plain] = test::makeClip(folder->file("plain.mov"), { .timecode = "01:00:00:00" });
        sources[Source::rich] = test::clips::rich(*folder);
        sources[Source::rotated] = test::clips::rotated(*folder, 90);
        for (const auto &[kind, path] : sources) {
            JobControl control;
            infos[kind] = TranscodeService::probe(path, QString(), control);
        }
    }
    static void TearDownTestSuite() { delete folder; }

    static inline test::TempDir *folder = nullptr;
    static inline std::map<Source, QString> sources;
    static inline std::map<Source, MediaInfo> infos;
};

TEST_P(TranscodeMatrix, EncodesAndProbesAsPromised)
{
    const MatrixCase &entry = GetParam();
    const MediaInfo &source = infos.at(entry.source);
    const QString output = folder->file(QString::fromStdString(entry.name) + '.' + entry.preset.container);
    const QStringList vector = TranscodeService::arguments(sources.at(entry.source), output, entry.preset, source, {});
    JobControl control;
    try {
        TranscodeService::run(TranscodeService::executable(QString(), false), vector, control, [](const QString &) {});
    } catch (const VantorError &error) {
        FAIL() << error.message().toStdString() << "\nvector: " << vector.join(' ').toStdString();
    }
    const MediaInfo result = TranscodeService::probe(output, QString(), control);
    const auto [width, height] = entry.size.value_or(TranscodeService::outputDimensions(entry.preset, source));
    EXPECT_EQ(result.codec, entry.codec);
    EXPECT_EQ(result.width, width);
    EXPECT_EQ(result.height, height);
    EXPECT_EQ(result.frameRate, entry.rate);
    EXPECT_EQ(result.audioChannels, entry.channels);
    EXPECT_GT(result.duration, 0.3);
    EXPECT_EQ(result.subtitleTracks, entry.subtitles.value_or(result.subtitleTracks));
    EXPECT_EQ(result.chapterCount, entry.chapters.value_or(result.chapterCount));
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
