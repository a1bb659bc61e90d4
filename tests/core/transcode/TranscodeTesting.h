#pragma once

#include "ClipMaker.h"
#include "TempDir.h"
#include "base/VantorError.h"
#include "ingest/MediaIngestService.h"
#include "jobs/MediaJob.h"
#include "presets/TranscodePreset.h"

#include <functional>

// What the transcode tests share: presets changed in place, refusal texts, and clips made from
// lavfi sources.
namespace vantor::test {

using PresetChange = std::function<void(TranscodePreset &, EncodingOptions &, FinishingOptions &)>;

// H.264 in MP4 with AAC unless told otherwise; `finishing` stays absent unless changed.
inline TranscodePreset preset(Codec codec = Codec::h264, const QString &container = "mp4",
    AudioMode audio = AudioMode::aac, qint64 maxWidth = 1920, const PresetChange &change = {})
{
    TranscodePreset made(QUuid::createUuid(), "Test", codec, container, maxWidth, 100, 20, 0, audio, 48000, 24, 0, "_T");
    EncodingOptions tuning = made.tuning();
    FinishingOptions finish = made.finish();
    if (change)
        change(made, tuning, finish);
    if (tuning != made.tuning())
        made.setTuning(tuning);
    if (finish != FinishingOptions {})
        made.setFinish(finish);
    return made;
}

inline TranscodePreset changed(const PresetChange &change) { return preset(Codec::h264, "mp4", AudioMode::aac, 1920, change); }

// A transcode of `source` to `output`, below the destination folder `root`.
inline MediaJob transcodeJob(const QString &source, const QString &root, const QString &output, const TranscodePreset &preset)
{
    const SourceFile file = MediaIngestService::scan({ source }).front();
    return MediaJob::make(file.url, file.grant, root, FileGrant(root), std::nullopt, output, JobOperation::transcode,
        preset, std::nullopt, file.size, file.modified);
}

// The user-facing message a call throws, or "(accepted)".
inline QString refusal(const std::function<void()> &call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return "(accepted)";
}

namespace clips {

inline ClipSpec silentClip(const QString &timecode = {}, double seconds = 0.5)
{
    return { .seconds = seconds, .audioChannels = 0, .timecode = timecode };
}

// 320×180 at 25 fps: a stereo 48 kHz track, a 5.1 44.1 kHz track, a text subtitle, two
// chapters and timecode 01:00:00:00.
inline QString rich(const TempDir &dir)
{
    const QString cues = dir.write("cues.srt", "1\n00:00:00,000 --> 00:00:00,400\nHello\n\n");
    const QString chapters = dir.write("chapters.txt",
        ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=250\ntitle=One\n"
        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=250\nEND=500\ntitle=Two\n");
    return makeClip(dir.file("rich.mov"),
        { .timecode = "01:00:00:00",
            .extraInputs = { "-f", "lavfi", "-i", "sine=frequency=220:sample_rate=44100:duration=0.5", "-i", cues, "-i", chapters },
            .extraArguments = { "-map", "0:v", "-map", "1:a", "-map", "2:a", "-map", "3:s", "-map_chapters", "4", "-ac:a:1", "6",
                "-c:s", "mov_text" } });
}

// Stored 320×180 with a display matrix that turns it on its side.
inline QString rotated(const TempDir &dir, int rotate)
{
    const QString plain = makeClip(dir.file("upright.mp4"), silentClip());
    const QString path = dir.file(QString("rotated%1.mp4").arg(rotate));
    runFfmpeg({ "-i", plain, "-c", "copy", "-metadata:s:v", QString("rotate=%1").arg(rotate), path });
    return path;
}

inline QString audioOnly(const TempDir &dir)
{
    const QString path = dir.file("voice.m4a");
    runFfmpeg({ "-f", "lavfi", "-i", "sine=duration=0.5", "-c:a", "aac", path });
    return path;
}

} // namespace clips
} // namespace vantor::test
