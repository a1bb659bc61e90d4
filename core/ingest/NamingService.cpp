#include "ingest/NamingService.h"

#include "base/VantorError.h"

#include <QFileInfo>

namespace vantor::NamingService {

namespace {

constexpr qsizetype maximumNameBytes = 240;

QString substitute(QString text, const NamingValues &values)
{
    // One token at a time, in list order: a value holding a later token's text is expanded
    // again, one holding an earlier token's text is not.
    for (const QString &token : tokens())
        text.replace(QLatin1Char('{') + token + QLatin1Char('}'), values.value(token));
    return text;
}

void refuseUnknownToken(const QString &expanded, const QString &asWritten)
{
    if (expanded.contains(QLatin1Char('{')) || expanded.contains(QLatin1Char('}')))
        throw VantorError(
            QStringLiteral("Unknown naming token in \u201C") + asWritten + QStringLiteral("\u201D."));
}

// Control and format characters (zero-width spaces, soft hyphens, byte-order marks, direction
// marks) make names that look alike but differ; a lone surrogate has no file-system spelling.
bool hasInvisibleCharacter(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        char32_t scalar = text[i].unicode();
        if (QChar::isHighSurrogate(scalar) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            scalar = QChar::surrogateToUcs4(text[i].unicode(), text[i + 1].unicode());
            ++i;
        }
        const QChar::Category category = QChar::category(scalar);
        if (category == QChar::Other_Control || category == QChar::Other_Format
            || category == QChar::Other_Surrogate)
            return true;
    }
    return false;
}

// The refusal quotes what the user wrote (the pattern with its tokens), which is what they can
// find and fix, rather than its expansion.
QString checkedName(const QString &name, const QString &asWritten)
{
    const QString trimmed = name.trimmed();
    const bool unsafe = trimmed.isEmpty() || trimmed == QLatin1String(".") || trimmed == QLatin1String("..")
        || trimmed.startsWith(QLatin1String(".vantor-")) || trimmed.toUtf8().size() > maximumNameBytes
        || trimmed.contains(QLatin1Char('/')) || trimmed.contains(QLatin1Char(':'))
        || hasInvisibleCharacter(trimmed);
    if (unsafe)
        throw VantorError(QStringLiteral("\u201C") + asWritten
            + QStringLiteral("\u201D is not a safe file or folder name."));
    return trimmed;
}

} // namespace

const QStringList &tokens()
{
    static const QStringList list {
        QStringLiteral("PROJECT"),
        QStringLiteral("CLIENT"),
        QStringLiteral("DATE"),
        QStringLiteral("CAMERA"),
        QStringLiteral("ROLL"),
        QStringLiteral("SCENE"),
        QStringLiteral("SHOT"),
        QStringLiteral("TAKE"),
        QStringLiteral("ORIGINAL"),
        QStringLiteral("COUNTER"),
    };
    return list;
}

QString component(const QString &name)
{
    return checkedName(name, name);
}

QString original(const QString &path)
{
    const QString name = QFileInfo(path).completeBaseName();
    try {
        checkedName(name, name);
    } catch (const VantorError &) {
        // Shown on one line: a control character in the name is spelled out.
        QString shown;
        for (const QChar character : path) {
            if (character.category() == QChar::Other_Control)
                shown += QStringLiteral("\\x%1").arg(character.unicode(), 2, 16, QLatin1Char('0'));
            else
                shown += character;
        }
        throw UnusableNameError(
            QStringLiteral("This file's name cannot be part of a file name in the project: ") + shown);
    }
    return name;
}

QString expand(const QString &pattern, const NamingValues &values)
{
    const QString result = substitute(pattern, values);
    refuseUnknownToken(result, pattern);
    return checkedName(result, pattern);
}

QString relativePath(const QString &pattern, const NamingValues &values)
{
    if (pattern.startsWith(QLatin1Char('/')) || pattern.endsWith(QLatin1Char('/')))
        throw VantorError(QStringLiteral("Use relative folder paths, without a leading or trailing slash."));
    QStringList checked;
    for (const QString &piece : pattern.split(QLatin1Char('/'), Qt::KeepEmptyParts)) {
        const QString expanded = substitute(piece, values);
        refuseUnknownToken(expanded, piece);
        checked << checkedName(expanded, piece);
    }
    return checked.join(QLatin1Char('/'));
}

} // namespace vantor::NamingService
