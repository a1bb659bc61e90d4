#include "transcode/BurnInService.h"

#include "model/AtomicFile.h"
#include "model/VantorError.h"
#include "transcode/TemporaryFolder.h"

#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QRegularExpression>

namespace vantor::BurnInService {

namespace {

struct Position {
    QString x;
    QString y;
};

Position position(const QString &name)
{
    Position result;
    result.x = name.contains(QLatin1String("Right"))    ? QStringLiteral("w-tw-24")
               : name.contains(QLatin1String("Center")) ? QStringLiteral("(w-tw)/2")
                                                        : QStringLiteral("24");
    result.y = name.startsWith(QLatin1String("Top")) ? QStringLiteral("24")
               : name == QLatin1String("Center")     ? QStringLiteral("(h-th)/2")
                                                     : QStringLiteral("h-th-24");
    return result;
}

// Paths made of these characters mean the same to the filter parser as written.
bool plainPath(const QString &path)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9/._+-]+$"));
    return plain.match(path).hasMatch();
}

QString fontPart(const FinishingOptions &finish, const Position &at)
{
    const QString font = fontFile();
    return QStringLiteral("fontfile=") + (plainPath(font) ? font : quotedFilterValue(font))
           + QStringLiteral(":fontsize=") + QString::number(finish.burnSize)
           + QStringLiteral(":fontcolor=white:box=1:boxcolor=black@0.55:boxborderw=8:x=") + at.x
           + QStringLiteral(":y=") + at.y;
}

double timecodeRate(const TranscodePreset &preset, const MediaInfo &info)
{
    const QString rate = preset.tuning().frameRate;
    if (rate == QLatin1String("Source"))
        return info.fps();
    bool ok = false;
    const double value = rate.toDouble(&ok);
    return ok ? value : 0;
}

} // namespace

QString quotedFilterValue(const QString &value)
{
    // The filter's own option parser comes second: it needs '\' ''' and ':' escaped.
    QString option;
    for (const QChar character : value) {
        if (character == QLatin1Char('\\') || character == QLatin1Char('\'') || character == QLatin1Char(':'))
            option += QLatin1Char('\\');
        option += character;
    }
    // The graph parser comes first and takes everything between quotes literally, except the
    // quote itself, which is closed, escaped and reopened.
    option.replace(QLatin1String("'"), QLatin1String("'\\''"));
    return QLatin1Char('\'') + option + QLatin1Char('\'');
}

QString fontFile()
{
    // The answer does not change while the program runs; only a found font is kept.
    static QMutex mutex;
    static QString found;
    QMutexLocker lock(&mutex);
    if (!found.isEmpty())
        return found;
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral("fc-match"), {QStringLiteral("-f"), QStringLiteral("%{file}"), QStringLiteral("monospace")});
    const bool finished = process.waitForFinished(10000);
    const QString path = QString::fromLocal8Bit(process.readAllStandardOutput()).trimmed();
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || path.isEmpty()
        || !QFileInfo(path).isFile()) {
        process.kill();
        process.waitForFinished(1000);
        throw VantorError(QStringLiteral(
            "No monospace font was found for burn-ins. Install fontconfig and a monospace font such as fonts-dejavu-core."));
    }
    found = path;
    return found;
}

BurnInAssets prepare(const QString &source, const TranscodePreset &preset, const MediaInfo &info)
{
    const FinishingOptions finish = preset.finish();
    const Position at = position(finish.burnPosition);
    BurnInAssets assets;
    try {
        qsizetype labelLines = 0;
        if (finish.burnFilename || !finish.burnText.isEmpty()) {
            QStringList lines;
            if (finish.burnFilename)
                lines << QFileInfo(source).fileName();
            if (!finish.burnText.isEmpty())
                lines << finish.burnText;
            const QString text = lines.join(QLatin1Char('\n'));
            // A free text with line breaks of its own is taller; the timecode must clear all of it.
            labelLines = text.count(QLatin1Char('\n')) + 1;
            const QString font = fontPart(finish, at);
            assets.directory = TemporaryFolder::make(QStringLiteral("vantor-burn-"));
            const QString labelFile = *assets.directory + QStringLiteral("/label.txt");
            AtomicFile::replace(labelFile, text.toUtf8());
            assets.filters << QStringLiteral("drawtext=") + font + QStringLiteral(":textfile=")
                                  + quotedFilterValue(labelFile) + QStringLiteral(":expansion=none");
        }
        if (finish.burnTimecode) {
            static const QRegularExpression pattern(QStringLiteral("^[0-9]{2}:[0-9]{2}:[0-9]{2}[:;][0-9]{2}$"));
            if (!info.timecode || !pattern.match(*info.timecode).hasMatch())
                throw VantorError(QStringLiteral(
                    "Timecode burn-in requires source timecode. Disable it for clips without timecode."));
            const double rate = timecodeRate(preset, info);
            if (!(rate > 0))
                throw VantorError(QStringLiteral("Cannot determine the frame rate for timecode burn-in."));
            QString timecode = *info.timecode;
            timecode.replace(QLatin1String(":"), QLatin1String("\\:"));
            const qint64 offset = labelLines * (finish.burnSize + 8);
            Position beside = at;
            beside.y = finish.burnPosition.startsWith(QLatin1String("Top"))
                           ? QStringLiteral("24+") + QString::number(offset)
                           : at.y + QLatin1Char('-') + QString::number(offset);
            assets.filters << QStringLiteral("drawtext=") + fontPart(finish, beside) + QStringLiteral(":timecode='")
                                  + timecode + QStringLiteral("':timecode_rate=") + QString::number(rate, 'g', 10);
        }
    } catch (...) {
        assets.cleanup();
        throw;
    }
    return assets;
}

} // namespace vantor::BurnInService
