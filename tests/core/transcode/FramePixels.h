#pragma once

#include "ChildProcess.h"

#include <QByteArray>
#include <QString>
#include <algorithm>

// Where two renderings of the same frame differ, so burn-in tests can check where text landed.
namespace vantor::test::pixels {

// The first frame of an image or video as 8-bit gray, row by row.
inline QByteArray grayFrame(const QString &path)
{
    return runProgram(QStringLiteral("ffmpeg"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"),
                                                 path, QStringLiteral("-frames:v"), QStringLiteral("1"),
                                                 QStringLiteral("-f"), QStringLiteral("rawvideo"),
                                                 QStringLiteral("-pix_fmt"), QStringLiteral("gray"),
                                                 QStringLiteral("-")})
        .out;
}

// The region of a width × height frame, named like a burn-in position, where the two frames
// differ by more than compression noise; empty when they do not.
inline QString changedRegion(const QByteArray &a, const QByteArray &b, int width, int height)
{
    if (a.size() != qsizetype(width) * height || b.size() != a.size())
        return QStringLiteral("frames of the wrong size");
    int left = width, right = -1, top = height, bottom = -1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const qsizetype i = qsizetype(y) * width + x;
            if (std::abs(int(quint8(a[i])) - int(quint8(b[i]))) > 40) {
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    if (right < 0)
        return {};
    const int cx = (left + right) / 2;
    const int cy = (top + bottom) / 2;
    const QString row = cy < height / 3 ? QStringLiteral("Top") : cy < 2 * height / 3 ? QString() : QStringLiteral("Bottom");
    const QString column = cx < width / 3 ? QStringLiteral("Left") : cx < 2 * width / 3 ? QStringLiteral("Center")
                                                                                         : QStringLiteral("Right");
    if (row.isEmpty())
        return column == QLatin1String("Center") ? QStringLiteral("Center") : QStringLiteral("Middle ") + column;
    return row + QLatin1Char(' ') + column;
}

inline const QStringList &positions()
{
    static const QStringList all{QStringLiteral("Top Left"),    QStringLiteral("Top Center"),
                                 QStringLiteral("Top Right"),   QStringLiteral("Center"),
                                 QStringLiteral("Bottom Left"), QStringLiteral("Bottom Center"),
                                 QStringLiteral("Bottom Right")};
    return all;
}

} // namespace vantor::test::pixels
