#include "ClipMaker.h"

#include "ChildProcess.h"

#include <gtest/gtest.h>

namespace vantor::test {

bool runFfmpeg(const QStringList &arguments, QString *output)
{
    const ProcessResult result = runProgram(QStringLiteral("ffmpeg"),
                                            QStringList{QStringLiteral("-y"), QStringLiteral("-hide_banner"),
                                                        QStringLiteral("-loglevel"), QStringLiteral("error")}
                                                + arguments);
    if (output)
        *output = result.errText() + result.outText();
    return result.exitCode == 0;
}

QString makeClip(const QString &path, const ClipSpec &settings)
{
    const QString duration = QString::number(settings.seconds);
    QStringList arguments{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                          QStringLiteral("testsrc2=size=%1x%2:rate=%3:duration=%4")
                              .arg(settings.width).arg(settings.height).arg(settings.rate, duration)};
    if (settings.audioChannels > 0) {
        arguments << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
                  << QStringLiteral("sine=frequency=440:sample_rate=48000:duration=%1").arg(duration);
    }
    arguments << settings.extraInputs;
    if (settings.audioChannels > 0)
        arguments << QStringLiteral("-ac") << QString::number(settings.audioChannels);
    arguments << QStringLiteral("-c:v") << settings.codec << QStringLiteral("-pix_fmt") << QStringLiteral("yuv420p");
    if (settings.codec == QLatin1String("libx264"))
        arguments << QStringLiteral("-preset") << QStringLiteral("ultrafast");
    if (settings.audioChannels > 0)
        arguments << QStringLiteral("-c:a") << QStringLiteral("aac");
    if (!settings.timecode.isEmpty())
        arguments << QStringLiteral("-timecode") << settings.timecode;
    arguments << settings.extraArguments << path;
    QString output;
    if (!runFfmpeg(arguments, &output))
        ADD_FAILURE() << "ffmpeg could not make " << path.toStdString() << ": " << output.toStdString();
    return path;
}

} // namespace vantor::test
