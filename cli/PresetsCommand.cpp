#include "PresetsCommand.h"

#include "CommandLine.h"
#include "PresetLookup.h"
#include "model/JsonCodec.h"
#include "transcode/PresetService.h"

#include <QJsonArray>
#include <algorithm>
#include <cstdio>

namespace vantor::cli {

QStringList presetTable(const QList<TranscodePreset> &presets)
{
    QList<QStringList> rows { { QStringLiteral("NAME"), QStringLiteral("CODEC"), QStringLiteral("CONTAINER"),
        QStringLiteral("MAX WIDTH"), QStringLiteral("AUDIO"), QStringLiteral("SUFFIX") } };
    for (const TranscodePreset &preset : presets)
        rows.append({ preset.name, preset.codec.rawValue(), preset.container,
            preset.maxWidth == 0 ? QStringLiteral("none") : QString::number(preset.maxWidth),
            preset.audio.rawValue(), preset.suffix });
    QList<qsizetype> widths(rows.first().size(), 0);
    for (const QStringList &row : rows)
        for (qsizetype column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    QStringList lines;
    for (const QStringList &row : rows) {
        QStringList cells;
        for (qsizetype column = 0; column < row.size(); ++column)
            cells << (column + 1 == row.size() ? row[column] : row[column].leftJustified(widths[column]));
        lines << cells.join(QStringLiteral("  "));
    }
    return lines;
}

int presetsCommand(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("presets"), [&] {
        CommandParser parser(QStringLiteral("presets"), QStringLiteral("Lists the transcode presets."));
        parser.addFlag(
            { QStringLiteral("json") }, QStringLiteral("Print the preset records as a JSON array."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (!parser.positional().isEmpty())
            throw UsageError(QStringLiteral("presets takes no arguments."));
        const QList<TranscodePreset> presets = availablePresets();
        if (parser.isSet(QStringLiteral("json"))) {
            QJsonArray records;
            for (const TranscodePreset &preset : presets)
                records.append(preset.toJson());
            const QByteArray text = JsonCodec::pretty(records);
            std::fwrite(text.constData(), 1, std::size_t(text.size()), stdout);
        } else {
            for (const QString &line : presetTable(presets))
                printLine(line);
        }
        return int(exitSuccess);
    });
}

} // namespace vantor::cli
