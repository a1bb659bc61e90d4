// Presets as records (strict JSON both ways), the validation every preset passes before use, and
// the engine's argument vector and video filter chain built from a preset and a probed source.
#include "TranscodeTesting.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"

#include <gtest/gtest.h>
#include <limits>
#include <set>

namespace vantor {
namespace {

using P = TranscodePreset;
using E = EncodingOptions;
using F = FinishingOptions;
using test::changed;
using test::preset;

const QString source = "/media/A001/Clip 1.mov";
const QString output = "/media/out/.vantor-5D1B-encode.partial";

MediaInfo hdSource(qint64 width = 1920, qint64 height = 1080)
{
    MediaInfo info;
    info.duration = 10, info.width = width, info.height = height, info.codec = "h264";
    info.timecode = QString("01:00:00:00");
    info.frameRate = "24000/1001";
    info.audioTracks = { "Track 1 · pcm_s24le · 2 ch" };
    info.audioChannels = { 2 };
    return info;
}

// The joined vector, or the refusal.
QString joined(const P &p, const MediaInfo &info = hdSource(), const QStringList &burnIns = {})
{
    QString result;
    const QString refused = test::refusal([&] { result = TranscodeService::arguments(source, output, p, info, burnIns).join(' '); });
    return result.isEmpty() ? refused : result;
}

TEST(TranscodeArguments, WorkedVectors)
{
    const QString head = "-hide_banner -nostdin -n -loglevel warning -progress pipe:1 -stats_period 0.25 -i " + source;
    EXPECT_EQ(joined(preset(Codec::proresProxy, "mov", AudioMode::pcm, 1280)),
        head + " -map 0:v:0 -map_metadata 0 -fps_mode passthrough -c:v prores_ks -threads 4 -map 0:a? "
               "-map_chapters 0 -profile:v 0 -pix_fmt yuv422p10le -vendor apl0 -vf scale=1280:720:flags=lanczos "
               "-c:a pcm_s24le -ar 48000 -timecode 01:00:00:00 -movflags +faststart+use_metadata_tags -f mov " + output);
    EXPECT_EQ(joined(preset()),
        head + " -map 0:v:0 -map_metadata 0 -fps_mode passthrough -c:v libx264 -threads 4 -map 0:a? "
               "-map_chapters 0 -pix_fmt yuv420p -crf 20 -preset medium -vf scale=1920:1080:flags=lanczos "
               "-c:a aac -b:a 256k -ar 48000 -movflags +faststart+use_metadata_tags -f mp4 " + output);
    EXPECT_TRUE(joined(changed([](P &, E &e, F &) { e.grayscale = true; }), hdSource(), { "drawtext=text=A", "drawtext=text=B" })
                    .contains("-vf scale=1920:1080:flags=lanczos,hue=s=0,drawtext=text=A,drawtext=text=B -c:a"));
}

struct Row {
    const char *name;
    P preset;
    QStringList expected; // stretches of the joined vector, or the refusal
    MediaInfo info = hdSource();
    QStringList absent {};
};

class Arguments : public testing::TestWithParam<Row> { };

TEST_P(Arguments, ContainTheirStretches)
{
    const QString result = joined(GetParam().preset, GetParam().info);
    for (const QString &stretch : GetParam().expected)
        EXPECT_TRUE(result.contains(stretch)) << result.toStdString();
    for (const QString &stretch : GetParam().absent)
        EXPECT_FALSE(result.contains(stretch)) << result.toStdString();
}

MediaInfo surround()
{
    MediaInfo info = hdSource();
    info.audioChannels = { 2, 6 };
    info.audioTracks << "Track 2 · aac · 6 ch";
    return info;
}

MediaInfo tagged(const QStringList &subtitles, bool noChannels = false)
{
    MediaInfo info = hdSource();
    info.reel = QString("A001");
    info.subtitleTracks = subtitles;
    if (noChannels)
        info.audioChannels.clear();
    return info;
}

// The filter chain between -vf and the audio options, and the frame rate mode it needs.
QStringList vf(const QString &chain, const QString &mode = "passthrough") { return { "-fps_mode " + mode, "-vf " + chain + " -c:a" }; }

const QString tooSmall = "Crop settings remove the entire picture or leave fewer than 16 pixels.";
const QString missingChannel = "The channel map references a channel that is missing from the selected audio track.";

INSTANTIATE_TEST_SUITE_P(Rows, Arguments,
    testing::Values(
        Row { "prores4444", preset(Codec::prores4444, "mov"), { "-c:v prores_ks -threads 4 -map 0:a? -map_chapters 0 -profile:v 4 -pix_fmt yuva444p10le -vendor apl0 -vf" } },
        Row { "dnxHQX", preset(Codec::dnxHQX, "mov"), { "-c:v dnxhd -threads 4 -map 0:a? -map_chapters 0 -profile:v dnxhr_hqx -pix_fmt yuv422p10le -vf" } },
        Row { "hevcBitrate", changed([](P &p, E &, F &) { p.codec = Codec::hevc, p.bitrateMbps = 12; }), { "-c:v libx265 -threads 4 -map 0:a? -map_chapters 0 -pix_fmt yuv420p -b:v 12M -preset medium -tag:v hvc1 -x265-params pools=4:frame-threads=2 -vf" } },
        Row { "av1Slow", changed([](P &p, E &e, F &) { p.codec = Codec::av1, e.speed = "slow"; }), { "-c:v libsvtav1 -threads 4 -map 0:a? -map_chapters 0 -pix_fmt yuv420p -crf 20 -preset 5 -svtav1-params lp=4 -vf" } },
        // Hardware quality 1..100 runs onto -cq 51..1, and never with -allow_sw.
        Row { "nvencLow", changed([](P &, E &, F &f) { f.hardware = true, f.hardwareQuality = 1; }), { "-c:v h264_nvenc -threads 4 -map 0:a? -map_chapters 0 -pix_fmt nv12 -rc vbr -cq 51 -vf" }, hdSource(), { "allow_sw" } },
        Row { "nvencBitrate", preset(Codec::hevc, "mov", AudioMode::aac, 1920, [](P &p, E &, F &f) { f.hardware = true, p.bitrateMbps = 8; }), { "-c:v hevc_nvenc -threads 4 -map 0:a? -map_chapters 0 -pix_fmt nv12 -b:v 8M -tag:v hvc1 -vf" } },
        Row { "noAudio", changed([](P &p, E &, F &) { p.audio = AudioMode::none, p.channels = 2; }), { "-an" }, hdSource(), { "0:a?", "-ac" } },
        Row { "passthrough", changed([](P &p, E &, F &) { p.audio = AudioMode::passthrough, p.channels = 2; }), { "-c:a copy" }, hdSource(), { "-ac" } },
        Row { "mono", changed([](P &p, E &, F &) { p.channels = 1; }), { "-ac 1" } },
        Row { "trackMapGain", changed([](P &, E &e, F &f) { e.audioTrack = 0, e.audioGain = -6, f.channelMap = "2,1"; }),
            { "-c:v libx264 -threads 4 -map 0:a:0 -map_chapters", "-af pan=stereo|c0=c1|c1=c0,volume=-6dB" }, hdSource(), { "0:a?" } },
        Row { "sixChannels", changed([](P &, E &e, F &f) { e.audioTrack = 1, f.channelMap = "1,2,3,4,5,6"; }), { "-af pan=6c|c0=c0|c1=c1|c2=c2|c3=c3|c4=c4|c5=c5" }, surround() },
        Row { "mapBeyondTrack", changed([](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "3"; }), { missingChannel } },
        Row { "noProbedChannels", changed([](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2,1"; }), { missingChannel }, tagged({}, true) },
        Row { "absentTrack", changed([](P &, E &e, F &) { e.audioTrack = 1; }), { "The selected audio track is not present in this source." } },
        Row { "subtitles", changed([](P &, E &e, F &) { e.subtitles = true, e.chapters = false; }), { "-map_chapters -1 -map 0:s? -c:s mov_text -pix_fmt" }, tagged({ "mov_text", "subrip" }) },
        Row { "reel", preset(), { "-metadata reel_name=A001 -metadata:s:v:0 reel_name=A001 -movflags" }, tagged({}), { "-timecode" } },
        Row { "bitmapSubtitles", changed([](P &, E &e, F &) { e.subtitles = true; }), { "This source contains bitmap subtitles. Disable subtitles for this encode." }, tagged({ "mov_text", "dvd_subtitle" }) },
        Row { "mxf", preset(Codec::dnxLB, "mxf", AudioMode::pcm), { "-timecode 01:00:00:00", "-f mxf " + output }, tagged({}), { "-movflags" } },
        Row { "anonymous", preset(Codec::dnxLB, "mxf", AudioMode::pcm, 1920, [](P &p, E &, F &) { p.preserveMetadata = false; }), { "-map_metadata -1" }, tagged({}), { "-metadata" } },
        Row { "rotate90", changed([](P &, E &e, F &) { e.rotation = 90; }), vf("transpose=clock,scale=1080:1920:flags=lanczos") },
        Row { "rotate180Flipped", changed([](P &, E &e, F &) { e.rotation = 180, e.flipHorizontal = true; }), vf("hflip,vflip,hflip,scale=1920:1080:flags=lanczos") },
        Row { "rotate270", changed([](P &, E &e, F &) { e.rotation = 270, e.flipVertical = true; }), vf("transpose=cclock,vflip,scale=1080:1920:flags=lanczos") },
        Row { "everything",
            changed([](P &, E &e, F &) {
                e.deinterlace = true, e.cropTop = 40, e.cropBottom = 40, e.cropLeft = 100, e.cropRight = 20;
                e.denoise = "Light", e.sharpen = true, e.grayscale = true, e.frameRate = "25";
            }),
            vf("bwdif=mode=send_frame:parity=auto:deint=all,crop=1800:1000:100:40,scale=1800:1000:flags=lanczos,"
               "hqdn3d=1.5:1.5:3:3,unsharp=5:5:0.6:5:5:0,hue=s=0,fps=25", "cfr") },
        Row { "denoiseStrong", changed([](P &, E &e, F &) { e.denoise = "Strong"; }), vf("scale=1920:1080:flags=lanczos,hqdn3d=6:6:9:9") },
        Row { "ntsc", changed([](P &, E &e, F &) { e.frameRate = "29.97"; }), vf("scale=1920:1080:flags=lanczos,fps=30000/1001", "cfr") },
        Row { "halfOdd", changed([](P &p, E &, F &) { p.scalePercent = 50; }), vf("scale=958:538:flags=lanczos"), hdSource(1919, 1079) },
        Row { "heightLimit", changed([](P &p, E &e, F &) { p.maxWidth = 1280, e.maxHeight = 540; }), vf("scale=960:540:flags=lanczos") },
        Row { "limitsAfterRotation", changed([](P &p, E &e, F &) { p.maxWidth = 540, e.rotation = 90; }), vf("transpose=clock,scale=540:960:flags=lanczos") },
        Row { "noEnlarging", preset(), vf("scale=640:360:flags=lanczos"), hdSource(640, 360) },
        Row { "cropTooFar", changed([](P &, E &e, F &) { e.cropLeft = 600, e.cropRight = 390; }), { tooSmall }, hdSource(1000, 1000) },
        Row { "tinySource", preset(), { tooSmall }, hdSource(1920, 12) },
        // A probed size no arithmetic can hold ends in a refusal naming the setting, not an overflow.
        Row { "cropBeyondRange", changed([](P &, E &e, F &) { e.cropLeft = 2; }), { "The crop values do not fit this picture's size." },
              hdSource(std::numeric_limits<qint64>::min(), 1080) },
        Row { "scaleBeyondRange", preset(Codec::h264, "mp4", AudioMode::aac, 0),
              { "The scale or size limit gives a picture size out of range for this source." }, hdSource(std::numeric_limits<qint64>::max(), 1080) },
        Row { "av1InMov", preset(Codec::av1, "mov"), { "AV1 is not supported in MOV." } }),
    [](const testing::TestParamInfo<Row> &info) { return std::string(info.param.name); });

TEST(OutputDimensions, SizesAndRefusal)
{
    using Size = std::pair<qint64, qint64>;
    // The source's own rotation is already in its probed size.
    MediaInfo portrait = hdSource(1080, 1920);
    portrait.sourceRotation = -90;
    EXPECT_EQ(TranscodeService::outputDimensions(preset(Codec::h264, "mp4", AudioMode::aac, 0), portrait), Size(1080, 1920));
    EXPECT_EQ(test::refusal([&] { TranscodeService::outputDimensions(changed([](P &, E &e, F &) { e.cropLeft = 600, e.cropRight = 390; }), hdSource(1000, 1000)); }),
        "Crop settings leave fewer than 16 pixels.");
}

TEST(TranscodePresetJson, DisplayNameCapitalisesWordsAndRestoresBrands)
{
    P named = test::preset();
    named.name = "YOUTUBE 1080p prores hq";
    EXPECT_EQ(named.displayName(), "YouTube 1080P ProRes Hq");
}

// Validity of each built-in is shown by transcoding with it from the command line.
TEST(PresetServiceDefaults, FreshIdentitiesOnEveryCall)
{
    std::set<QUuid> ids;
    for (const P &builtIn : PresetService::defaults() + PresetService::defaults())
        ids.insert(builtIn.id);
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
const char *const suffix = "Use a suffix without \u201C/\u201D, \u201C..\u201D or control characters.";
const char *const finishing = "Invalid hardware quality or burn-in settings.";
const char *const mapping = "Select one audio track and PCM or AAC to map its channels.";
const char *const crops = "Use even, nonnegative crop values and a valid height limit.";
const char *const channelText = "Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1.";

INSTANTIATE_TEST_SUITE_P(Rules, PresetValidation,
    testing::Values(
        Rule { "av1InMov", [](P &p, E &, F &) { p.codec = Codec::av1, p.container = "mov"; }, "AV1 is not supported in MOV." },
        Rule { "proresInMp4", [](P &p, E &, F &) { p.codec = Codec::proresHQ; }, "ProRes 422 HQ is not supported in MP4." },
        Rule { "containerBeforeSizes", [](P &p, E &, F &) { p.container = "mxf", p.quality = 99; }, "H.264 is not supported in MXF." },
        Rule { "suffixWithSlash", [](P &p, E &, F &) { p.suffix = "/sub"; p.scalePercent = 0; }, suffix },
        Rule { "suffixClimbing", [](P &p, E &, F &) { p.suffix = "_.."; }, suffix },
        Rule { "suffixWithNewline", [](P &p, E &, F &) { p.suffix = "_a\nb"; }, suffix },
        Rule { "suffixWithDot", [](P &p, E &, F &) { p.suffix = ".v2"; } },
        Rule { "scale0", [](P &p, E &, F &) { p.scalePercent = 0; }, sizes },
        Rule { "maxWidth16385", [](P &p, E &, F &) { p.maxWidth = 16385; }, sizes },
        Rule { "sampleRate", [](P &p, E &, F &) { p.sampleRate = 32000; }, "Invalid audio format." },
        Rule { "channels6", [](P &p, E &, F &) { p.channels = 6; }, "Invalid audio format." },
        Rule { "pcmInMp4", [](P &p, E &, F &) { p.audio = AudioMode::pcm; }, "Choose AAC or passthrough audio for MP4." },
        Rule { "mxfWithoutAudio", [](P &p, E &, F &) { p.codec = Codec::dnxHQ, p.container = "mxf", p.audio = AudioMode::none; }, "MXF output requires PCM audio in this version." },
        Rule { "hardwareProRes", [](P &p, E &, F &f) { p.codec = Codec::prores422, p.container = "mov", f.hardware = true; }, "Hardware encoding supports H.264 and HEVC." },
        Rule { "hardwareQuality0", [](P &, E &, F &f) { f.hardwareQuality = 0; }, finishing },
        Rule { "burnPosition", [](P &, E &, F &f) { f.burnPosition = "Middle"; }, finishing },
        Rule { "mapBadText", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "1,2,3"; }, channelText },
        Rule { "mapAllTracks", [](P &, E &, F &f) { f.channelMap = "1,2"; }, mapping },
        Rule { "mapPassthrough", [](P &p, E &e, F &f) { p.audio = AudioMode::passthrough, e.audioTrack = 0, f.channelMap = "1"; }, mapping },
        Rule { "mapValid", [](P &, E &e, F &f) { e.audioTrack = 0, f.channelMap = "2, 1"; } },
        Rule { "oddCrop", [](P &, E &e, F &) { e.cropLeft = 3; }, crops },
        Rule { "maxHeight8", [](P &, E &e, F &) { e.maxHeight = 8; }, crops },
        Rule { "rotation45", [](P &, E &e, F &) { e.rotation = 45; }, "Invalid video processing options." },
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
