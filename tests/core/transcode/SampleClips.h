#pragma once

#include "ClipMaker.h"
#include "TempDir.h"

// The clips the probe and transcode tests share, each made from lavfi sources.
namespace vantor::test::clips {

inline ClipSpec silentClip(const QString &timecode = {})
{
    return { .audioChannels = 0, .timecode = timecode };
}

// 320×180 at 25 fps: a stereo 48 kHz track, a 5.1 44.1 kHz track, a text subtitle, two
// chapters and timecode 01:00:00:00.
inline QString rich(const TempDir &dir, const QString &name = "rich.mov")
{
    const QString cues = dir.write("cues.srt", "1\n00:00:00,000 --> 00:00:00,400\nHello\n\n");
    const QString chapters = dir.write("chapters.txt",
        ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=250\ntitle=One\n"
        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=250\nEND=500\ntitle=Two\n");
    return makeClip(dir.file(name),
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

// NUT keeps a copied timecode track as its own data stream, with no timecode on the video.
inline QString timecodeOnDataStream(const TempDir &dir, const QString &timecode)
{
    const QString withTrack = makeClip(dir.file("tmcd.mov"), silentClip(timecode));
    const QString path = dir.file("tmcd.nut");
    runFfmpeg({ "-i", withTrack, "-map", "0:v", "-map", "0:d", "-c", "copy", "-metadata:s:v:0", "timecode=", path });
    return path;
}

// A Matroska file with one (empty) PGS bitmap subtitle stream; copying needs no decodable image.
inline QString bitmapSubtitles(const TempDir &dir)
{
    const QString plain = makeClip(dir.file("plain.mp4"), silentClip());
    const QString sup = dir.write("cues.sup", QByteArray("PG\0\0\0\0\0\0\0\0\x80\0\0", 13));
    const QString path = dir.file("bitmap.mkv");
    runFfmpeg({ "-i", plain, "-i", sup, "-map", "0", "-map", "1", "-c", "copy", path });
    return path;
}

inline QString audioOnly(const TempDir &dir)
{
    const QString path = dir.file("voice.m4a");
    runFfmpeg({ "-f", "lavfi", "-i", "sine=duration=0.5", "-c:a", "aac", path });
    return path;
}

} // namespace vantor::test::clips
