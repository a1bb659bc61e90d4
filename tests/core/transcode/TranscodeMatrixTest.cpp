// Every argument vector the presets can produce must run to completion with the real engine
// and give the file it promises. One case per accepted codec × container × audio mode, then
// one per processing option.
#include "SampleClips.h"
#include "model/JobControl.h"
#include "model/VantorError.h"
#include "transcode/PresetService.h"
#include "transcode/TranscodeService.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>

namespace vantor {
namespace {

using test::TempDir;

enum class Source { plain, rich, rotated };

struct MatrixCase {
    std::string name;
    TranscodePreset preset;
    Source source = Source::plain;
    QString expectedCodec;
    QString expectedRate = QStringLiteral("25/1");
    std::optional<std::pair<qint64, qint64>> expectedSize; // from outputDimensions when absent
    QList<qint64> expectedChannels;
    std::optional<QStringList> expectedSubtitles;
    std::optional<qint64> expectedChapters;
};

QString probedCodecName(Codec codec)
{
    if (codec.isProRes())
        return QStringLiteral("prores");
    if (codec.isDnxHR())
        return QStringLiteral("dnxhd");
    switch (codec.value) {
    case Codec::hevc:
        return QStringLiteral("hevc");
    case Codec::av1:
        return QStringLiteral("av1");
    default:
        return QStringLiteral("h264");
    }
}

std::string caseName(QString text)
{
    for (QChar &character : text)
        if (!character.isLetterOrNumber())
            character = QLatin1Char('_');
    return text.toStdString();
}

TranscodePreset basePreset(Codec codec, const QString &container, AudioMode audio)
{
    return TranscodePreset(QUuid::createUuid(), QStringLiteral("Matrix"), codec, container, 0, 100, 20, 0,
        audio, 48000, 24, 0, QStringLiteral("_M"));
}

std::vector<MatrixCase> formatCases()
{
    std::vector<MatrixCase> cases;
    for (const Codec::Value codecValue : Codec::allCases) {
        const Codec codec(codecValue);
        for (const QString &container :
            { QStringLiteral("mov"), QStringLiteral("mxf"), QStringLiteral("mp4") }) {
            for (const AudioMode::Value audio : AudioMode::allCases) {
                const TranscodePreset preset = basePreset(codec, container, audio);
                try {
                    PresetService::validate(preset);
                } catch (const VantorError &) {
                    continue; // only what validation accepts can reach the engine
                }
                MatrixCase entry;
                entry.name = caseName(codec.rawValue() + QLatin1Char('_') + container + QLatin1Char('_')
                    + AudioMode(audio).rawValue());
                entry.preset = preset;
                entry.expectedCodec = probedCodecName(codec);
                if (audio != AudioMode::none)
                    entry.expectedChannels = { 2 };
                cases.push_back(entry);
            }
        }
    }
    return cases;
}

// An H.264 MOV with AAC from the rich source (two tracks: stereo and 5.1), changed by `change`.
MatrixCase option(const char *name, const std::function<void(TranscodePreset &, EncodingOptions &)> &change,
    const std::function<void(MatrixCase &)> &expect = {})
{
    MatrixCase entry;
    entry.name = name;
    entry.source = Source::rich;
    entry.preset = basePreset(Codec::h264, QStringLiteral("mov"), AudioMode::aac);
    EncodingOptions tuning = entry.preset.tuning();
    change(entry.preset, tuning);
    entry.preset.setTuning(tuning);
    entry.expectedCodec = QStringLiteral("h264");
    entry.expectedChannels = { 2, 6 };
    if (expect)
        expect(entry);
    return entry;
}

void mapChannels(TranscodePreset &preset, const char *map)
{
    FinishingOptions finish = preset.finish();
    finish.channelMap = QString::fromLatin1(map);
    preset.setFinish(finish);
}

std::vector<MatrixCase> optionCases()
{
    using P = TranscodePreset;
    using E = EncodingOptions;
    auto size = [](qint64 w, qint64 h) {
        return [=](MatrixCase &c) { c.expectedSize = std::pair { w, h }; };
    };
    auto channels = [](QList<qint64> list) { return [=](MatrixCase &c) { c.expectedChannels = list; }; };
    std::vector<MatrixCase> cases {
        option(
            "crop", [](P &, E &e) { e.cropTop = 20, e.cropBottom = 20, e.cropLeft = 40, e.cropRight = 40; },
            size(240, 140)),
        option(
            "rotate90", [](P &, E &e) { e.rotation = 90; }, size(180, 320)),
        option(
            "rotate180", [](P &, E &e) { e.rotation = 180; }, size(320, 180)),
        option(
            "rotate270", [](P &, E &e) { e.rotation = 270; }, size(180, 320)),
        option("flips", [](P &, E &e) { e.flipHorizontal = true, e.flipVertical = true; }),
        option(
            "scale50", [](P &p, E &) { p.scalePercent = 50; }, size(160, 90)),
        option(
            "maxWidth", [](P &p, E &) { p.maxWidth = 200; }, size(200, 112)),
        option(
            "maxHeight", [](P &, E &e) { e.maxHeight = 90; }, size(160, 90)),
        option("denoiseLight", [](P &, E &e) { e.denoise = QStringLiteral("Light"); }),
        option("denoiseMedium", [](P &, E &e) { e.denoise = QStringLiteral("Medium"); }),
        option("denoiseStrong", [](P &, E &e) { e.denoise = QStringLiteral("Strong"); }),
        option("sharpen", [](P &, E &e) { e.sharpen = true; }),
        option("grayscale", [](P &, E &e) { e.grayscale = true; }),
        option("deinterlace", [](P &, E &e) { e.deinterlace = true; }),
        option(
            "frameRate30", [](P &, E &e) { e.frameRate = QStringLiteral("30"); },
            [](MatrixCase &c) { c.expectedRate = QStringLiteral("30/1"); }),
        option(
            "frameRate2997", [](P &, E &e) { e.frameRate = QStringLiteral("29.97"); },
            [](MatrixCase &c) { c.expectedRate = QStringLiteral("30000/1001"); }),
        option(
            "audioTrack2", [](P &, E &e) { e.audioTrack = 1; }, channels({ 6 })),
        option(
            "channelMapSwap", [](P &p, E &e) { e.audioTrack = 0, mapChannels(p, "2,1"); }, channels({ 2 })),
        option(
            "channelMapMono", [](P &p, E &e) { e.audioTrack = 1, mapChannels(p, "3"); }, channels({ 1 })),
        option(
            "channelMap4", [](P &p, E &e) { e.audioTrack = 1, mapChannels(p, "1,2,5,6"); }, channels({ 4 })),
        option(
            "channelMap6Pcm",
            [](P &p, E &e) { p.audio = AudioMode::pcm, e.audioTrack = 1, mapChannels(p, "6,5,4,3,2,1"); },
            channels({ 6 })),
        option(
            "downmixMono", [](P &p, E &) { p.channels = 1; }, channels({ 1, 1 })),
        option("gainDown", [](P &, E &e) { e.audioGain = -6; }),
        option("gainUpPcm", [](P &p, E &e) { p.audio = AudioMode::pcm, p.bitDepth = 16, e.audioGain = 3; }),
        option("bitrate", [](P &p, E &) { p.bitrateMbps = 2; }),
        option("noMetadata", [](P &p, E &) { p.preserveMetadata = false; }),
        option(
            "subtitlesMov", [](P &, E &e) { e.subtitles = true; },
            [](MatrixCase &c) { c.expectedSubtitles = QStringList { QStringLiteral("mov_text") }; }),
        option(
            "subtitlesMp4", [](P &p, E &e) { p.container = QStringLiteral("mp4"), e.subtitles = true; },
            [](MatrixCase &c) { c.expectedSubtitles = QStringList { QStringLiteral("mov_text") }; }),
        option(
            "noSubtitles", [](P &, E &) {}, [](MatrixCase &c) { c.expectedSubtitles = QStringList {}; }),
        option(
            "chapters", [](P &, E &) {}, [](MatrixCase &c) { c.expectedChapters = 2; }),
        option(
            "noChapters", [](P &, E &e) { e.chapters = false; },
            [](MatrixCase &c) { c.expectedChapters = 0; }),
    };
    MatrixCase turned = option(
        "sourceRotation", [](P &, E &) {}, size(180, 320));
    turned.source = Source::rotated;
    turned.expectedChannels = {};
    cases.push_back(turned);
    return cases;
}

class TranscodeMatrix : public testing::TestWithParam<MatrixCase> {
protected:
    static void SetUpTestSuite()
    {
        folder = new TempDir;
        test::ClipSpec plain;
        plain.timecode = QStringLiteral("01:00:00:00");
        sources[Source::plain] = test::makeClip(folder->file(QStringLiteral("plain.mov")), plain);
        sources[Source::rich] = test::clips::rich(*folder);
        sources[Source::rotated] = test::clips::rotated(*folder, 90);
        for (const auto &[kind, path] : sources) {
            JobControl control;
            infos[kind] = TranscodeService::probe(path, QString(), control);
        }
    }
    static void TearDownTestSuite()
    {
        delete folder;
        folder = nullptr;
    }

    static inline TempDir *folder = nullptr;
    static inline std::map<Source, QString> sources;
    static inline std::map<Source, MediaInfo> infos;
};

TEST_P(TranscodeMatrix, EncodesAndProbesAsPromised)
{
    const MatrixCase &entry = GetParam();
    const MediaInfo &source = infos.at(entry.source);
    const QString output
        = folder->file(QString::fromStdString(entry.name) + QLatin1Char('.') + entry.preset.container);
    const QStringList vector
        = TranscodeService::arguments(sources.at(entry.source), output, entry.preset, source, {});
    JobControl control;
    try {
        TranscodeService::run(
            TranscodeService::executable(QString(), false), vector, control, [](const QString &) {});
    } catch (const VantorError &error) {
        FAIL() << error.message().toStdString()
               << "\nvector: " << vector.join(QLatin1Char(' ')).toStdString();
    }

    const MediaInfo result = TranscodeService::probe(output, QString(), control);
    const auto [width, height]
        = entry.expectedSize.value_or(TranscodeService::outputDimensions(entry.preset, source));
    EXPECT_EQ(result.codec, entry.expectedCodec);
    EXPECT_EQ(result.width, width);
    EXPECT_EQ(result.height, height);
    EXPECT_EQ(result.frameRate, entry.expectedRate);
    EXPECT_EQ(result.audioChannels, entry.expectedChannels);
    EXPECT_GT(result.duration, 0.3);
    if (entry.expectedSubtitles) {
        EXPECT_EQ(result.subtitleTracks, *entry.expectedSubtitles);
    }
    if (entry.expectedChapters) {
        EXPECT_EQ(result.chapterCount, *entry.expectedChapters);
    }
}

std::string nameOf(const testing::TestParamInfo<MatrixCase> &info)
{
    return info.param.name;
}

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
