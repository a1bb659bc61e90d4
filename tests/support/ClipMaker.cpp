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

QString makeClip(const QString &path, const ClipSpec &spec)
{
    const QString duration = QString::number(spec.seconds);
    QStringList arguments{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                          QStringLiteral("testsrc2=size=%1x%2:rate=%3:duration=%4")
                              .arg(spec.width).arg(spec.height).arg(spec.rate, duration)};
    if (spec.audioChannels > 0) {
        arguments << QStringLiteral("-f") << QStringLiteral("lavfi") << QStringLiteral("-i")
                  << QStringLiteral("sine=frequency=440:sample_rate=48000:duration=%1").arg(duration);
    }
    arguments << spec.extraInputs;
    if (spec.audioChannels > 0)
        arguments << QStringLiteral("-ac") << QString::number(spec.audioChannels);
    arguments << QStringLiteral("-c:v") << spec.codec << QStringLiteral("-pix_fmt") << QStringLiteral("yuv420p");
    if (spec.codec == QLatin1String("libx264"))
        arguments << QStringLiteral("-preset") << QStringLiteral("ultrafast");
    if (spec.audioChannels > 0)
        arguments << QStringLiteral("-c:a") << QStringLiteral("aac");
    if (!spec.timecode.isEmpty())
        arguments << QStringLiteral("-timecode") << spec.timecode;
    arguments << spec.extraArguments << path;
    QString output;
    if (!runFfmpeg(arguments, &output))
        ADD_FAILURE() << "ffmpeg could not make " << path.toStdString() << ": " << output.toStdString();
    return path;
}

} // namespace vantor::test
