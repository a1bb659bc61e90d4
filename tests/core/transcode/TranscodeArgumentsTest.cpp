#include "model/VantorError.h"
#include "transcode/TranscodeService.h"

#include <gtest/gtest.h>

namespace vantor {
namespace {

const QString source = QStringLiteral("/media/A001/Clip 1.mov");
const QString output = QStringLiteral("/media/out/.vantor-5D1B-encode.partial");

MediaInfo hdSource()
{
    MediaInfo info;
    info.duration = 10;
    info.width = 1920;
    info.height = 1080;
    info.codec = QStringLiteral("h264");
    info.timecode = QStringLiteral("01:00:00:00");
    info.frameRate = QStringLiteral("24000/1001");
    info.audioTracks = { QStringLiteral("Track 1 · pcm_s24le · 2 ch") };
    info.audioChannels = { 2 };
    info.audioLayouts = { QStringLiteral("stereo") };
    info.audioSampleRates = { QStringLiteral("48000") };
    return info;
}

MediaInfo sized(qint64 width, qint64 height)
{
    MediaInfo info = hdSource();
    info.width = width;
    info.height = height;
    return info;
}

TranscodePreset proxyPreset()
{
    return TranscodePreset(QUuid::createUuid(), QStringLiteral("Proxy"), Codec::proresProxy,
        QStringLiteral("mov"), 1280, 100, 20, 0, AudioMode::pcm, 48000, 24, 0, QStringLiteral("_PROXY"));
}

TranscodePreset h264Preset()
{
    return TranscodePreset(QUuid::createUuid(), QStringLiteral("Review"), Codec::h264, QStringLiteral("mp4"),
        1920, 100, 20, 0, AudioMode::aac, 48000, 24, 0, QStringLiteral("_REVIEW"));
}

template <typename Change> TranscodePreset tuned(TranscodePreset preset, Change change)
{
    EncodingOptions tuning = preset.tuning();
    change(tuning);
    preset.setTuning(tuning);
    return preset;
}

template <typename Change> TranscodePreset finished(TranscodePreset preset, Change change)
{
    FinishingOptions finish = preset.finish();
    change(finish);
    preset.setFinish(finish);
    return preset;
}

QString refusal(const std::function<void()> &call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return QStringLiteral("(accepted)");
}

QStringList split(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}

// Everything after the pair starting with `key`, up to `count` values.
QStringList valuesAfter(const QStringList &vector, const QString &key, qsizetype count = 1)
{
    const qsizetype at = vector.indexOf(key);
    return at < 0 ? QStringList {} : vector.mid(at + 1, count);
}

TEST(TranscodeArguments, ProResProxyWorkedVector)
{
    QStringList expected
        = split("-hide_banner -nostdin -n -loglevel warning -progress pipe:1 -stats_period 0.25 -i");
    expected << source
             << split("-map 0:v:0 -map_metadata 0 -fps_mode passthrough -c:v prores_ks -threads 4 -map 0:a? "
                      "-map_chapters 0 -profile:v 0 -pix_fmt yuv422p10le -vendor apl0 -vf "
                      "scale=1280:720:flags=lanczos -c:a pcm_s24le -ar 48000 -timecode 01:00:00:00 -movflags "
                      "+faststart+use_metadata_tags -f mov")
             << output;
    EXPECT_EQ(TranscodeService::arguments(source, output, proxyPreset(), hdSource(), {}), expected);
}

TEST(TranscodeArguments, H264WorkedVector)
{
    QStringList expected
        = split("-hide_banner -nostdin -n -loglevel warning -progress pipe:1 -stats_period 0.25 -i");
    expected
        << source
        << split("-map 0:v:0 -map_metadata 0 -fps_mode passthrough -c:v libx264 -threads 4 -map 0:a? "
                 "-map_chapters 0 -pix_fmt yuv420p -crf 20 -preset medium -vf scale=1920:1080:flags=lanczos "
                 "-c:a aac -b:a 256k -ar 48000 -movflags +faststart+use_metadata_tags -f mp4")
        << output;
    EXPECT_EQ(TranscodeService::arguments(source, output, h264Preset(), hdSource(), {}), expected);
}

TEST(TranscodeArguments, CodecFamilies)
{
    auto codecPart = [](Codec codec, const QString &container, auto change) {
        TranscodePreset preset = h264Preset();
        preset.codec = codec;
        preset.container = container;
        change(preset);
        const QStringList vector = TranscodeService::arguments(source, output, preset, hdSource(), {});
        const qsizetype from = vector.indexOf(QStringLiteral("-map_chapters")) + 2;
        return QStringList { vector.value(vector.indexOf(QStringLiteral("-c:v")) + 1) }
        + vector.mid(from, vector.indexOf(QStringLiteral("-vf")) - from);
    };
    auto keep = [](TranscodePreset &) {};
    const QString mov = QStringLiteral("mov");
    const QString mp4 = QStringLiteral("mp4");
    EXPECT_EQ(codecPart(Codec::prores4444, mov, keep),
        split("prores_ks -profile:v 4 -pix_fmt yuva444p10le -vendor apl0"));
    EXPECT_EQ(codecPart(Codec::dnxHQX, mov, keep), split("dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10le"));
    EXPECT_EQ(codecPart(Codec::dnxSQ, mov, keep), split("dnxhd -profile:v dnxhr_sq -pix_fmt yuv422p"));
    EXPECT_EQ(codecPart(Codec::hevc, mp4, [](TranscodePreset &p) { p.bitrateMbps = 12; }),
        split("libx265 -pix_fmt yuv420p -b:v 12M -preset medium -tag:v hvc1 -x265-params "
              "pools=4:frame-threads=2"));
    EXPECT_EQ(codecPart(Codec::av1, mp4,
                  [](TranscodePreset &p) {
                      p = tuned(p, [](EncodingOptions &e) { e.speed = QStringLiteral("slow"); });
                  }),
        split("libsvtav1 -pix_fmt yuv420p -crf 20 -preset 5 -svtav1-params lp=4"));
    EXPECT_EQ(codecPart(Codec::av1, mp4,
                  [](TranscodePreset &p) {
                      p = tuned(p, [](EncodingOptions &e) { e.speed = QStringLiteral("ultrafast"); });
                  }),
        split("libsvtav1 -pix_fmt yuv420p -crf 20 -preset 12 -svtav1-params lp=4"));
    // Hardware: quality 1..100 onto -cq 51..1, never -allow_sw.
    auto hardware = [](qint64 quality, qint64 bitrate) {
        return [=](TranscodePreset &p) {
            p.bitrateMbps = bitrate;
            p = finished(p, [=](FinishingOptions &f) { f.hardware = true, f.hardwareQuality = quality; });
        };
    };
    EXPECT_EQ(codecPart(Codec::h264, mp4, hardware(1, 0)), split("h264_nvenc -pix_fmt nv12 -rc vbr -cq 51"));
    EXPECT_EQ(codecPart(Codec::h264, mp4, hardware(100, 0)), split("h264_nvenc -pix_fmt nv12 -rc vbr -cq 1"));
    EXPECT_EQ(codecPart(Codec::h264, mp4, hardware(65, 0)), split("h264_nvenc -pix_fmt nv12 -rc vbr -cq 19"));
    EXPECT_EQ(
        codecPart(Codec::hevc, mov, hardware(65, 8)), split("hevc_nvenc -pix_fmt nv12 -b:v 8M -tag:v hvc1"));
}

TEST(TranscodeArguments, AudioModesTracksAndChannelMaps)
{
    const MediaInfo info = hdSource();
    auto vector = [&](const TranscodePreset &preset) {
        return TranscodeService::arguments(source, output, preset, info, {});
    };

    TranscodePreset none = h264Preset();
    none.audio = AudioMode::none;
    none.channels = 2;
    const QStringList silent = vector(none);
    EXPECT_TRUE(silent.contains(QStringLiteral("-an")));
    EXPECT_FALSE(silent.contains(QStringLiteral("0:a?")));
    EXPECT_FALSE(silent.contains(QStringLiteral("-ac")));

    TranscodePreset passthrough = h264Preset();
    passthrough.audio = AudioMode::passthrough;
    passthrough.channels = 2;
    const QStringList copied = vector(passthrough);
    EXPECT_EQ(valuesAfter(copied, QStringLiteral("-c:a")), QStringList { QStringLiteral("copy") });
    EXPECT_FALSE(copied.contains(QStringLiteral("-ac")));

    TranscodePreset mono = h264Preset();
    mono.channels = 1;
    EXPECT_EQ(valuesAfter(vector(mono), QStringLiteral("-ac")), QStringList { QStringLiteral("1") });

    const TranscodePreset track
        = tuned(h264Preset(), [](EncodingOptions &e) { e.audioTrack = 0, e.audioGain = -6; });
    const TranscodePreset mapped
        = finished(track, [](FinishingOptions &f) { f.channelMap = QStringLiteral("2,1"); });
    const QStringList mappedVector = vector(mapped);
    EXPECT_EQ(valuesAfter(mappedVector, QStringLiteral("-map"), 4), split("0:v:0 -map_metadata 0 -fps_mode"));
    EXPECT_TRUE(mappedVector.join(QLatin1Char(' ')).contains(QStringLiteral("-map 0:a:0 -map_chapters")));
    EXPECT_EQ(valuesAfter(mappedVector, QStringLiteral("-af")),
        QStringList { QStringLiteral("pan=stereo|c0=c1|c1=c0,volume=-6dB") });

    MediaInfo surround = info;
    surround.audioChannels = { 2, 6 };
    surround.audioTracks << QStringLiteral("Track 2 · aac · 6 ch");
    const TranscodePreset six = finished(tuned(h264Preset(), [](EncodingOptions &e) { e.audioTrack = 1; }),
        [](FinishingOptions &f) { f.channelMap = QStringLiteral("1,2,3,4,5,6"); });
    EXPECT_EQ(
        valuesAfter(TranscodeService::arguments(source, output, six, surround, {}), QStringLiteral("-af")),
        QStringList { QStringLiteral("pan=6c|c0=c0|c1=c1|c2=c2|c3=c3|c4=c4|c5=c5") });
    const TranscodePreset single = finished(tuned(h264Preset(), [](EncodingOptions &e) { e.audioTrack = 1; }),
        [](FinishingOptions &f) { f.channelMap = QStringLiteral("4"); });
    EXPECT_EQ(
        valuesAfter(TranscodeService::arguments(source, output, single, surround, {}), QStringLiteral("-af")),
        QStringList { QStringLiteral("pan=mono|c0=c3") });

    const QString missingChannel = QStringLiteral(
        "The channel map references a channel that is missing from the selected audio track.");
    EXPECT_EQ(refusal([&] {
        vector(finished(track, [](FinishingOptions &f) { f.channelMap = QStringLiteral("3"); }));
    }),
        missingChannel);
    // Validation refuses a map without a selected track first; the builder refuses it too when
    // the probed track has no channel list.
    MediaInfo noChannels = info;
    noChannels.audioChannels.clear();
    EXPECT_EQ(refusal([&] { TranscodeService::arguments(source, output, mapped, noChannels, {}); }),
        missingChannel);
    EXPECT_EQ(refusal([&] {
        vector(finished(h264Preset(), [](FinishingOptions &f) { f.channelMap = QStringLiteral("1"); }));
    }),
        QStringLiteral("Select one audio track and PCM or AAC to map its channels."));
    EXPECT_EQ(refusal([&] { vector(tuned(h264Preset(), [](EncodingOptions &e) { e.audioTrack = 1; })); }),
        QStringLiteral("The selected audio track is not present in this source."));
}

TEST(TranscodeArguments, SubtitlesIdentityAndContainers)
{
    MediaInfo info = hdSource();
    info.reel = QStringLiteral("A001");
    info.subtitleTracks = { QStringLiteral("mov_text"), QStringLiteral("subrip") };
    const TranscodePreset subtitles
        = tuned(h264Preset(), [](EncodingOptions &e) { e.subtitles = true, e.chapters = false; });
    const QStringList vector = TranscodeService::arguments(source, output, subtitles, info, {});
    EXPECT_TRUE(vector.join(QLatin1Char(' '))
                    .contains(QStringLiteral("-map_chapters -1 -map 0:s? -c:s mov_text -pix_fmt")));
    EXPECT_TRUE(
        vector.join(QLatin1Char(' '))
            .contains(QStringLiteral("-metadata reel_name=A001 -metadata:s:v:0 reel_name=A001 -movflags")));
    EXPECT_FALSE(vector.contains(QStringLiteral("-timecode")));

    info.subtitleTracks << QStringLiteral("dvd_subtitle");
    EXPECT_EQ(refusal([&] { TranscodeService::arguments(source, output, subtitles, info, {}); }),
        QStringLiteral("This source contains bitmap subtitles. Disable subtitles for this encode."));
    EXPECT_NO_THROW(TranscodeService::arguments(source, output, h264Preset(), info, {}));

    TranscodePreset mxf = proxyPreset();
    mxf.codec = Codec::dnxLB;
    mxf.container = QStringLiteral("mxf");
    const QStringList mxfVector = TranscodeService::arguments(source, output, mxf, info, {});
    EXPECT_EQ(
        valuesAfter(mxfVector, QStringLiteral("-timecode")), QStringList { QStringLiteral("01:00:00:00") });
    EXPECT_FALSE(mxfVector.contains(QStringLiteral("-movflags")));
    EXPECT_EQ(mxfVector.mid(mxfVector.size() - 3),
        (QStringList { QStringLiteral("-f"), QStringLiteral("mxf"), output }));

    mxf.preserveMetadata = false;
    const QStringList anonymous = TranscodeService::arguments(source, output, mxf, info, {});
    EXPECT_EQ(valuesAfter(anonymous, QStringLiteral("-map_metadata")), QStringList { QStringLiteral("-1") });
    EXPECT_FALSE(anonymous.contains(QStringLiteral("-timecode")));
    EXPECT_FALSE(anonymous.contains(QStringLiteral("-metadata")));

    TranscodePreset invalid = h264Preset();
    invalid.container = QStringLiteral("mov");
    invalid.codec = Codec::av1;
    EXPECT_EQ(refusal([&] { TranscodeService::arguments(source, output, invalid, info, {}); }),
        QStringLiteral("AV1 is not supported in MOV."));
}

TEST(TranscodeArguments, BurnInFiltersFollowTheWholeChain)
{
    const TranscodePreset preset = tuned(h264Preset(), [](EncodingOptions &e) { e.grayscale = true; });
    const QStringList vector = TranscodeService::arguments(source, output, preset, hdSource(),
        { QStringLiteral("drawtext=text=A"), QStringLiteral("drawtext=text=B") });
    EXPECT_EQ(valuesAfter(vector, QStringLiteral("-vf")),
        QStringList {
            QStringLiteral("scale=1920:1080:flags=lanczos,hue=s=0,drawtext=text=A,drawtext=text=B") });
}

struct ChainCase {
    const char *name;
    MediaInfo info;
    std::function<void(TranscodePreset &, EncodingOptions &)> change;
    const char *chain; // or the refusal
    const char *mode = "passthrough"; // nullptr: a chain validation would not let through
};

class VideoChain : public testing::TestWithParam<ChainCase> { };

TEST_P(VideoChain, FiltersAndModeInOrder)
{
    TranscodePreset preset = h264Preset();
    preset.maxWidth = 0;
    EncodingOptions tuning = preset.tuning();
    GetParam().change(preset, tuning);
    preset.setTuning(tuning);
    const QString result
        = refusal([&] { throw VantorError(TranscodeService::videoFilters(preset, GetParam().info)); });
    EXPECT_EQ(result, QString::fromUtf8(GetParam().chain));
    if (GetParam().mode && result.contains(QStringLiteral("scale="))) {
        const QStringList vector = TranscodeService::arguments(source, output, preset, GetParam().info, {});
        EXPECT_EQ(valuesAfter(vector, QStringLiteral("-fps_mode")),
            QStringList { QString::fromLatin1(GetParam().mode) });
    }
}

using P = TranscodePreset;
using E = EncodingOptions;

INSTANTIATE_TEST_SUITE_P(Chains, VideoChain,
    testing::Values(ChainCase { "plain", hdSource(), [](P &, E &) {}, "scale=1920:1080:flags=lanczos" },
        ChainCase { "rotate90", hdSource(), [](P &, E &e) { e.rotation = 90; },
            "transpose=clock,scale=1080:1920:flags=lanczos" },
        ChainCase { "rotate180Flipped", hdSource(),
            [](P &, E &e) { e.rotation = 180, e.flipHorizontal = true; },
            "hflip,vflip,hflip,scale=1920:1080:flags=lanczos" },
        ChainCase { "rotate270", hdSource(), [](P &, E &e) { e.rotation = 270, e.flipVertical = true; },
            "transpose=cclock,vflip,scale=1080:1920:flags=lanczos" },
        ChainCase { "rotate45", hdSource(), [](P &, E &e) { e.rotation = 45; },
            "scale=1920:1080:flags=lanczos", nullptr },
        ChainCase { "everything", hdSource(),
            [](P &, E &e) {
                e.deinterlace = true, e.cropTop = 40, e.cropBottom = 40, e.cropLeft = 100, e.cropRight = 20;
                e.denoise = QStringLiteral("Light"), e.sharpen = true, e.grayscale = true;
                e.frameRate = QStringLiteral("25");
            },
            "bwdif=mode=send_frame:parity=auto:deint=all,crop=1800:1000:100:40,scale=1800:1000:flags=lanczos,"
            "hqdn3d=1.5:1.5:3:3,unsharp=5:5:0.6:5:5:0,hue=s=0,fps=25",
            "cfr" },
        ChainCase { "denoiseMedium", hdSource(), [](P &, E &e) { e.denoise = QStringLiteral("Medium"); },
            "scale=1920:1080:flags=lanczos,hqdn3d=3:3:6:6" },
        ChainCase { "denoiseStrong", hdSource(), [](P &, E &e) { e.denoise = QStringLiteral("Strong"); },
            "scale=1920:1080:flags=lanczos,hqdn3d=6:6:9:9" },
        ChainCase { "ntsc", hdSource(), [](P &, E &e) { e.frameRate = QStringLiteral("29.97"); },
            "scale=1920:1080:flags=lanczos,fps=30000/1001", "cfr" },
        ChainCase { "film", hdSource(), [](P &, E &e) { e.frameRate = QStringLiteral("23.976"); },
            "scale=1920:1080:flags=lanczos,fps=24000/1001", "cfr" },
        ChainCase { "fast", hdSource(), [](P &, E &e) { e.frameRate = QStringLiteral("59.94"); },
            "scale=1920:1080:flags=lanczos,fps=60000/1001", "cfr" },
        ChainCase { "halfOdd", sized(1919, 1079), [](P &p, E &) { p.scalePercent = 50; },
            "scale=958:538:flags=lanczos" },
        ChainCase {
            "tiny", sized(20, 20), [](P &p, E &) { p.scalePercent = 10; }, "scale=16:16:flags=lanczos" },
        ChainCase {
            "widthLimit", hdSource(), [](P &p, E &) { p.maxWidth = 1280; }, "scale=1280:720:flags=lanczos" },
        ChainCase { "heightLimit", hdSource(), [](P &p, E &e) { p.maxWidth = 1280, e.maxHeight = 540; },
            "scale=960:540:flags=lanczos" },
        ChainCase { "limitsAfterRotation", hdSource(), [](P &p, E &e) { p.maxWidth = 540, e.rotation = 90; },
            "transpose=clock,scale=540:960:flags=lanczos" },
        ChainCase { "noEnlarging", sized(640, 360), [](P &p, E &) { p.maxWidth = 1920; },
            "scale=640:360:flags=lanczos" },
        ChainCase { "cropTooFar", sized(1000, 1000), [](P &, E &e) { e.cropLeft = 600, e.cropRight = 390; },
            "Crop settings remove the entire picture or leave fewer than 16 pixels." },
        ChainCase { "tinySource", sized(1920, 12), [](P &, E &) {},
            "Crop settings remove the entire picture or leave fewer than 16 pixels." }),
    [](const testing::TestParamInfo<ChainCase> &info) { return std::string(info.param.name); });

TEST(OutputDimensions, SizesAndRefusal)
{
    TranscodePreset preset = h264Preset();
    preset.maxWidth = 0;
    EXPECT_EQ(TranscodeService::outputDimensions(tuned(preset, [](E &e) { e.rotation = 90; }), hdSource()),
        (std::pair<qint64, qint64> { 1080, 1920 }));
    // The source's own rotation is already in its probed size.
    MediaInfo portrait = sized(1080, 1920);
    portrait.sourceRotation = -90;
    EXPECT_EQ(
        TranscodeService::outputDimensions(preset, portrait), (std::pair<qint64, qint64> { 1080, 1920 }));
    EXPECT_EQ(refusal([&] {
        TranscodeService::outputDimensions(
            tuned(preset, [](E &e) { e.cropLeft = 600, e.cropRight = 390; }), sized(1000, 1000));
    }),
        QStringLiteral("Crop settings leave fewer than 16 pixels."));
}

} // namespace
} // namespace vantor
