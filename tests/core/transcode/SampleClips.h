#pragma once

#include "ClipMaker.h"
#include "TempDir.h"

#include <QFile>

// The clips the probe and transcode tests share, each made once from lavfi sources.
namespace vantor::test::clips {

inline ClipSpec silentClip(const QString &timecode = {})
{
    ClipSpec spec;
    spec.audioChannels = 0;
    spec.timecode = timecode;
    return spec;
}

inline QString subtitleFile(const TempDir &dir)
{
    return dir.write(QStringLiteral("cues.srt"), "1\n00:00:00,000 --> 00:00:00,400\nHello\n\n");
}

inline QString chapterFile(const TempDir &dir)
{
    return dir.write(QStringLiteral("chapters.txt"),
        ";FFMETADATA1\n"
        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=250\ntitle=One\n"
        "[CHAPTER]\nTIMEBASE=1/1000\nSTART=250\nEND=500\ntitle=Two\n");
}

// 320×180 at 25 fps: a stereo 48 kHz track, a 5.1 44.1 kHz track, a text subtitle, two
// chapters and timecode 01:00:00:00.
inline QString rich(const TempDir &dir, const QString &name = QStringLiteral("rich.mov"))
{
    ClipSpec spec;
    spec.timecode = QStringLiteral("01:00:00:00");
    spec.extraInputs = { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("sine=frequency=220:sample_rate=44100:duration=0.5"), QStringLiteral("-i"),
        subtitleFile(dir), QStringLiteral("-i"), chapterFile(dir) };
    spec.extraArguments = { QStringLiteral("-map"), QStringLiteral("0:v"), QStringLiteral("-map"),
        QStringLiteral("1:a"), QStringLiteral("-map"), QStringLiteral("2:a"), QStringLiteral("-map"),
        QStringLiteral("3:s"), QStringLiteral("-map_chapters"), QStringLiteral("4"),
        QStringLiteral("-ac:a:1"), QStringLiteral("6"), QStringLiteral("-c:s"), QStringLiteral("mov_text") };
    return makeClip(dir.file(name), spec);
}

// Stored 320×180 with a display matrix that turns it on its side.
inline QString rotated(const TempDir &dir, int rotate)
{
    const QString plain = makeClip(dir.file(QStringLiteral("upright.mp4")), silentClip());
    const QString path = dir.file(QStringLiteral("rotated%1.mp4").arg(rotate));
    runFfmpeg({ QStringLiteral("-i"), plain, QStringLiteral("-c"), QStringLiteral("copy"),
        QStringLiteral("-metadata:s:v"), QStringLiteral("rotate=%1").arg(rotate), path });
    return path;
}

// NUT keeps a copied timecode track as its own data stream, with no timecode on the video.
inline QString timecodeOnDataStream(const TempDir &dir, const QString &timecode)
{
    const QString withTrack = makeClip(dir.file(QStringLiteral("tmcd.mov")), silentClip(timecode));
    const QString path = dir.file(QStringLiteral("tmcd.nut"));
    runFfmpeg({ QStringLiteral("-i"), withTrack, QStringLiteral("-map"), QStringLiteral("0:v"),
        QStringLiteral("-map"), QStringLiteral("0:d"), QStringLiteral("-c"), QStringLiteral("copy"),
        QStringLiteral("-metadata:s:v:0"), QStringLiteral("timecode="), path });
    return path;
}

// A Matroska file with one (empty) PGS bitmap subtitle stream; copying needs no decodable image.
inline QString bitmapSubtitles(const TempDir &dir)
{
    const QString plain = makeClip(dir.file(QStringLiteral("plain.mp4")), silentClip());
    const QString sup = dir.write(QStringLiteral("cues.sup"), QByteArray("PG\0\0\0\0\0\0\0\0\x80\0\0", 13));
    const QString path = dir.file(QStringLiteral("bitmap.mkv"));
    runFfmpeg({ QStringLiteral("-i"), plain, QStringLiteral("-i"), sup, QStringLiteral("-map"),
        QStringLiteral("0"), QStringLiteral("-map"), QStringLiteral("1"), QStringLiteral("-c"),
        QStringLiteral("copy"), path });
    return path;
}

inline QString audioOnly(const TempDir &dir)
{
    const QString path = dir.file(QStringLiteral("voice.m4a"));
    runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("sine=duration=0.5"), QStringLiteral("-c:a"), QStringLiteral("aac"), path });
    return path;
}

} // namespace vantor::test::clips
