#include "PictureOptions.h"

#include <QRegularExpression>
#include <algorithm>
#include <array>

namespace vantor::cli {

namespace {

QString name(const char *text)
{
    return QString::fromLatin1(text);
}

// "T:B:L:R" in pixels, each a whole number.
std::array<qint64, 4> cropValue(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("^(\\d+):(\\d+):(\\d+):(\\d+)$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        throw UsageError(QStringLiteral("--crop takes four pixel counts as TOP:BOTTOM:LEFT:RIGHT, not \"%1\".").arg(text));
    std::array<qint64, 4> sides{};
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        sides[std::size_t(i)] = match.captured(i + 1).toLongLong(&ok);
        if (!ok || sides[std::size_t(i)] % 2 != 0)
            throw UsageError(QStringLiteral("--crop takes even pixel counts, not \"%1\".").arg(text));
    }
    return sides;
}

} // namespace

void addPictureOptions(CommandParser &parser)
{
    parser.addValue({name("crop")}, name("Pixels cropped from each side, as TOP:BOTTOM:LEFT:RIGHT (even numbers)."),
                    name("T:B:L:R"));
    parser.addValue({name("rotate")}, name("Turn the picture clockwise by 90, 180 or 270 degrees."), name("DEGREES"));
    parser.addFlag({name("flip-h")}, name("Mirror the picture left to right."));
    parser.addFlag({name("flip-v")}, name("Mirror the picture top to bottom."));
    parser.addFlag({name("deinterlace")}, name("Deinterlace the picture."));
    parser.addValue({name("denoise")}, name("Denoise strength: Light, Medium, Strong or Off."), name("STRENGTH"));
    parser.addFlag({name("sharpen")}, name("Sharpen the picture."));
    parser.addFlag({name("grayscale")}, name("Make the picture monochrome."));
}

void applyPictureOptions(const CommandParser &parser, TranscodePreset &preset)
{
    EncodingOptions tuning = preset.tuning();
    if (parser.isSet(name("crop"))) {
        const std::array<qint64, 4> sides = cropValue(parser.value(name("crop")));
        tuning.cropTop = sides[0];
        tuning.cropBottom = sides[1];
        tuning.cropLeft = sides[2];
        tuning.cropRight = sides[3];
    }
    if (parser.isSet(name("rotate"))) {
        const QString text = parser.value(name("rotate"));
        if (!QStringList{name("0"), name("90"), name("180"), name("270")}.contains(text))
            throw UsageError(QStringLiteral("--rotate takes 90, 180 or 270, not \"%1\".").arg(text));
        tuning.rotation = text.toLongLong();
    }
    if (parser.isSet(name("denoise"))) {
        const QString text = parser.value(name("denoise"));
        const QStringList strengths{name("Off"), name("Light"), name("Medium"), name("Strong")};
        const auto found = std::find_if(strengths.begin(), strengths.end(), [&](const QString &strength) {
            return strength.compare(text, Qt::CaseInsensitive) == 0;
        });
        if (found == strengths.end())
            throw UsageError(QStringLiteral("--denoise takes Light, Medium, Strong or Off, not \"%1\".").arg(text));
        tuning.denoise = *found;
    }
    const std::pair<const char *, bool EncodingOptions::*> flags[] = {
        {"flip-h", &EncodingOptions::flipHorizontal}, {"flip-v", &EncodingOptions::flipVertical},
        {"deinterlace", &EncodingOptions::deinterlace}, {"sharpen", &EncodingOptions::sharpen},
        {"grayscale", &EncodingOptions::grayscale}};
    for (const auto &[option, field] : flags) {
        if (parser.isSet(name(option)))
            tuning.*field = true;
    }
    // Only a change is stored: a preset without encoding options keeps reading as it did.
    if (!(tuning == preset.tuning()))
        preset.setTuning(tuning);
}

} // namespace vantor::cli
