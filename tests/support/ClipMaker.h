#pragma once

#include <QString>
#include <QStringList>

namespace vantor::test {

// Tiny media made on the spot with ffmpeg's lavfi sources, so no test ships sample files.
struct ClipSpec {
    int width = 320;
    int height = 180;
    double seconds = 0.5;
    QString rate = QStringLiteral("25");
    int audioChannels = 2;      // 0 for none
    QString timecode {};        // e.g. "01:00:00:00"; empty for none
    QString codec = QStringLiteral("libx264");
    QStringList extraInputs {}; // more inputs ("-i", file ...), numbered after the generated ones
    QStringList extraArguments {}; // inserted before the output name
};

// Makes the clip at path (its extension picks the container) and returns path; fails the test
// with the engine's output when ffmpeg refuses.
QString makeClip(const QString &path, const ClipSpec &settings = {});
// Runs ffmpeg with the given arguments (after -y -hide_banner -loglevel error).
bool runFfmpeg(const QStringList &arguments, QString *output = nullptr);

} // namespace vantor::test
