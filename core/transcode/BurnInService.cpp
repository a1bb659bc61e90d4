#include "transcode/BurnInService.h"

#include "base/AtomicFile.h"
#include "base/VantorError.h"
#include "transcode/TemporaryFolder.h"

#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QRegularExpression>
#include <algorithm>

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

QString fontPart(const FinishingOptions &finish, const Position &at, const QString &font)
{
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

namespace {

// An installed font file and the characters it has, as fontconfig ranks it for "monospace".
struct InstalledFont {
    QString file;
    std::vector<std::pair<char32_t, char32_t>> ranges;

    bool has(char32_t character) const
    {
        return std::any_of(ranges.begin(), ranges.end(),
                           [&](const auto &range) { return range.first <= character && character <= range.second; });
    }
};

// fontconfig writes a character set as hexadecimal code points and ranges: "20-7e a0-17f 192".
std::vector<std::pair<char32_t, char32_t>> parseCharset(const QString &text)
{
    std::vector<std::pair<char32_t, char32_t>> ranges;
    for (const QString &piece : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QStringList ends = piece.split(QLatin1Char('-'));
        bool firstOk = false, lastOk = false;
        const uint first = ends.first().toUInt(&firstOk, 16);
        const uint last = ends.last().toUInt(&lastOk, 16);
        if (firstOk && lastOk)
            ranges.emplace_back(char32_t(first), char32_t(last));
    }
    return ranges;
}

// Every installed font, monospace ones first, in fontconfig's order of preference.
std::vector<InstalledFont> installedFonts()
{
    // The answer does not change while the program runs; only a found list is kept.
    static QMutex mutex;
    static std::vector<InstalledFont> found;
    QMutexLocker lock(&mutex);
    if (!found.empty())
        return found;
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral("fc-match"), {QStringLiteral("-a"), QStringLiteral("-f"),
                                               QStringLiteral("%{file}\t%{charset}\n"), QStringLiteral("monospace")});
    const bool finished = process.waitForFinished(10000);
    std::vector<InstalledFont> fonts;
    if (finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0) {
        for (const QString &line : QString::fromLocal8Bit(process.readAllStandardOutput()).split(QLatin1Char('\n'))) {
            const QString file = line.section(QLatin1Char('\t'), 0, 0);
            if (!file.isEmpty() && QFileInfo(file).isFile())
                fonts.push_back({file, parseCharset(line.section(QLatin1Char('\t'), 1))});
        }
    } else {
        process.kill();
        process.waitForFinished(1000);
    }
    if (fonts.empty())
        throw VantorError(QStringLiteral(
            "No monospace font was found for burn-ins. Install fontconfig and a monospace font such as fonts-dejavu-core."));
    found = fonts;
    return found;
}

// The distinct characters of `text` that are drawn (line breaks are not), in order.
std::vector<char32_t> drawnCharacters(const QString &text)
{
    std::vector<char32_t> characters;
    for (const char32_t character : text.toUcs4()) {
        if (character >= 0x20 && std::find(characters.begin(), characters.end(), character) == characters.end())
            characters.push_back(character);
    }
    return characters;
}

} // namespace

QString fontFile(const QString &text)
{
    const std::vector<InstalledFont> fonts = installedFonts();
    // Characters no installed font has are drawn as boxes whatever is chosen; they must not
    // turn the choice away from the monospace fonts.
    std::vector<char32_t> wanted;
    for (const char32_t character : drawnCharacters(text)) {
        if (std::any_of(fonts.begin(), fonts.end(), [&](const InstalledFont &font) { return font.has(character); }))
            wanted.push_back(character);
    }
    for (const InstalledFont &font : fonts) {
        if (std::all_of(wanted.begin(), wanted.end(), [&](char32_t character) { return font.has(character); }))
            return font.file;
    }
    // No one font has them all: the one that has the most, earliest in the order on a tie.
    const auto covered = [&](const InstalledFont &font) {
        return std::count_if(wanted.begin(), wanted.end(), [&](char32_t character) { return font.has(character); });
    };
    return std::max_element(fonts.begin(), fonts.end(), [&](const InstalledFont &a, const InstalledFont &b) {
               return covered(a) < covered(b);
           })->file;
}

QString uncoveredCharacters(const QString &text)
{
    const std::vector<InstalledFont> fonts = installedFonts();
    QString missing;
    for (const char32_t character : drawnCharacters(text)) {
        if (std::none_of(fonts.begin(), fonts.end(), [&](const InstalledFont &font) { return font.has(character); }))
            missing += QString::fromUcs4(&character, 1);
    }
    return missing;
}

QString labelText(const QString &source, const FinishingOptions &finish)
{
    QStringList lines;
    if (finish.burnFilename)
        lines << QFileInfo(source).fileName();
    if (!finish.burnText.isEmpty())
        lines << finish.burnText;
    return lines.join(QLatin1Char('\n'));
}

BurnInAssets prepare(const QString &source, const TranscodePreset &preset, const MediaInfo &info)
{
    const FinishingOptions finish = preset.finish();
    const Position at = position(finish.burnPosition);
    BurnInAssets assets;
    try {
        qsizetype labelLines = 0;
        if (finish.burnFilename || !finish.burnText.isEmpty()) {
            const QString text = labelText(source, finish);
            // A free text with line breaks of its own is taller; the timecode must clear all of it.
            labelLines = text.count(QLatin1Char('\n')) + 1;
            // A font that has the label's characters, so 日本 is not drawn as boxes.
            const QString font = fontPart(finish, at, fontFile(text));
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
            assets.filters << QStringLiteral("drawtext=") + fontPart(finish, beside, fontFile(*info.timecode)) + QStringLiteral(":timecode='")
                                  + timecode + QStringLiteral("':timecode_rate=") + QString::number(rate, 'g', 10);
        }
    } catch (...) {
        assets.cleanup();
        throw;
    }
    return assets;
}

} // namespace vantor::BurnInService
