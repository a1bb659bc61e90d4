#include "PresetsCommand.h"

#include "CommandLine.h"
#include "PresetLookup.h"
#include "PresetOptions.h"
#include "ScriptedChoices.h"
#include "ingest/NamingService.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "presets/PresetService.h"
#include "workspace/Workspace.h"

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

namespace {

QString quoted(const QString &name)
{
    return QString::fromUtf8("\u201c") + name + QString::fromUtf8("\u201d");
}

// The stored presets are changed through the workspace, so the window's rules apply.
class PresetStore {
public:
    PresetStore() : m_workspace(StateStore::directory(), runJobPhases, &m_choices)
    {
        if (m_workspace.queue().storageBlocked())
            throw VantorError(*m_workspace.queue().persistenceError());
    }
    Workspace &workspace() { return m_workspace; }
    std::vector<TranscodePreset> named(const QString &name)
    {
        std::vector<TranscodePreset> found;
        for (const TranscodePreset &preset : m_workspace.queue().state().presets) {
            if (preset.name == name)
                found.push_back(preset);
        }
        return found;
    }
    // Reports the workspace's refusal, else saves and prints its notice.
    int finish()
    {
        if (m_workspace.error())
            throw VantorError(*m_workspace.error());
        m_workspace.queue().flush();
        printLine(m_workspace.notice());
        return int(exitSuccess);
    }

private:
    ScriptedChoices m_choices;
    Workspace m_workspace;
};

int savePreset(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("presets save"),
                         QStringLiteral("Stores the preset chosen with -p, changed by the options given, as a custom "
                                        "preset named NAME."));
    addPresetOptions(parser);
    parser.addPositional(QStringLiteral("NAME"), QStringLiteral("The new preset's name."), QStringLiteral("NAME"));
    if (!parser.parse(arguments))
        return int(exitSuccess);
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("presets save takes one NAME."));
    const QString name = parser.positional().first();
    const ChosenPreset chosen = chosenPreset(parser);
    PresetStore store;
    // Commands name presets by name, so a second preset of the same name could not be told apart.
    // The name is compared as it will be stored; an unsafe one is the workspace's to refuse.
    QString stored = name;
    try {
        stored = NamingService::component(name);
    } catch (const VantorError &) {
    }
    if (!store.named(stored).empty())
        throw VantorError(QStringLiteral("A preset named %1 already exists. Remove it first or choose another name.")
                              .arg(quoted(stored)));
    store.workspace().setPreset(chosen.preset);
    store.workspace().setCustomPresetName(name);
    store.workspace().savePreset();
    return store.finish();
}

int removePreset(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("presets remove"), QStringLiteral("Removes a stored custom preset."));
    parser.addPositional(QStringLiteral("NAME"), QStringLiteral("The preset's name."), QStringLiteral("NAME"));
    if (!parser.parse(arguments))
        return int(exitSuccess);
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("presets remove takes one NAME."));
    const QString name = parser.positional().first();
    PresetStore store;
    const std::vector<TranscodePreset> found = store.named(name);
    if (found.empty())
        throw VantorError(QStringLiteral("No preset is named %1. Run 'vantor presets' to list them.").arg(quoted(name)));
    if (found.size() > 1)
        throw VantorError(QStringLiteral("More than one preset is named %1; rename one in the window first.").arg(quoted(name)));
    store.workspace().removePreset(found.front().id);
    return store.finish();
}

} // namespace

int presetsCommand(const QStringList &arguments)
{
    if (arguments.value(0) == QLatin1String("save"))
        return runGuarded(QStringLiteral("presets save"), [&] { return savePreset(arguments.mid(1)); });
    if (arguments.value(0) == QLatin1String("remove"))
        return runGuarded(QStringLiteral("presets remove"), [&] { return removePreset(arguments.mid(1)); });
    return runGuarded(QStringLiteral("presets"), [&] {
        CommandParser parser(QStringLiteral("presets"),
                             QStringLiteral("Lists the transcode presets. 'vantor presets save NAME -p PRESET "
                                            "[OPTIONS]' stores a custom preset; 'vantor presets remove NAME' removes one."));
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
