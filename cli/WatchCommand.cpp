#include "CommandLine.h"
#include "SavedState.h"
#include "HeadlessSession.h"
#include "PresetLookup.h"
#include "ScriptedChoices.h"

#include "automation/WatchFolderService.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QJsonArray>
#include <QTextStream>

namespace vantor::cli {

namespace {

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// The rule named by its id, or by the start of it when only one rule's id starts so.
QUuid ruleID(const AppState &state, const QString &text)
{
    const QString wanted = text.trimmed().toUpper();
    std::optional<QUuid> match;
    for (const WatchFolder &rule : state.watches) {
        if (idText(rule.id) == wanted)
            return rule.id;
        if (!wanted.isEmpty() && idText(rule.id).startsWith(wanted)) {
            if (match)
                throw VantorError(QStringLiteral("More than one watch rule starts with ") + text
                                  + QStringLiteral(". Give more of its id."));
            match = rule.id;
        }
    }
    if (!match)
        throw VantorError(QStringLiteral("No watch rule has the id ") + text
                          + QStringLiteral(". Run 'vantor watch list' for the rules."));
    return *match;
}

int add(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("watch add"),
                         QStringLiteral("Adds a rule that transcodes video appearing in FOLDER into DESTINATION. "
                                        "Each rule starts disabled."));
    parser.addValue({QStringLiteral("p"), QStringLiteral("preset")}, QStringLiteral("The transcode preset."),
                    QStringLiteral("PRESET"));
    parser.addPositional(QStringLiteral("FOLDER"), QStringLiteral("The folder to watch."), QStringLiteral("FOLDER"));
    parser.addPositional(QStringLiteral("DESTINATION"), QStringLiteral("The folder that receives the transcodes."),
                         QStringLiteral("DESTINATION"));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (parser.positional().size() != 2)
        throw UsageError(QStringLiteral("watch add takes a FOLDER and a DESTINATION."));
    if (!parser.isSet(QStringLiteral("preset")))
        throw UsageError(QStringLiteral("--preset is required."));
    const TranscodePreset preset = findPreset(parser.value(QStringLiteral("preset")));
    ScriptedChoices choices;
    choices.folders = parser.positional();
    Workspace workspace(StateStore::directory(), runJobPhases, &choices);
    workspace.setPreset(preset);
    const std::size_t before = workspace.queue().state().watches.size();
    workspace.addWatchFolder();
    if (workspace.error())
        throw VantorError(*workspace.error());
    workspace.queue().flushSaves();
    if (workspace.queue().state().watches.size() > before)
        printLine(idText(workspace.queue().state().watches.back().id));
    return exitSuccess;
}

int list(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("watch list"), QStringLiteral("Lists the watch rules."));
    parser.addFlag({QStringLiteral("json")}, QStringLiteral("Print the rules as a JSON array."));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.positional().isEmpty())
        throw UsageError(QStringLiteral("watch list takes no arguments."));
    // Only reads, so it works while 'vantor watch run' holds the queue.
    const AppState state = readSavedState();
    if (parser.isSet(QStringLiteral("json"))) {
        QJsonArray array;
        for (const WatchFolder &rule : state.watches)
            array.append(rule.toJson());
        QTextStream(stdout) << JsonCodec::pretty(array);
        return exitSuccess;
    }
    for (const WatchFolder &rule : state.watches)
        printLine(QStringList{idText(rule.id), rule.enabled ? QStringLiteral("enabled ") : QStringLiteral("disabled"),
                              rule.source.path + QStringLiteral(" -> ") + rule.destination.path, rule.preset.name}
                      .join(QStringLiteral("  ")));
    return exitSuccess;
}

int change(const QString &command, const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("watch ") + command,
                         command == QLatin1String("remove") ? QStringLiteral("Removes a watch rule and what it has seen.")
                         : command == QLatin1String("enable") ? QStringLiteral("Starts polling a watch rule.")
                                                              : QStringLiteral("Stops polling a watch rule; what it has "
                                                                               "seen is kept."));
    parser.addPositional(QStringLiteral("ID"), QStringLiteral("The rule's id (or its start)."), QStringLiteral("ID"));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("watch %1 takes one rule id.").arg(command));
    ScriptedChoices choices;
    Workspace workspace(StateStore::directory(), runJobPhases, &choices);
    const QUuid id = ruleID(workspace.queue().state(), parser.positional().first());
    if (command == QLatin1String("remove"))
        workspace.watcher()->removeRule(id);
    else
        workspace.watcher()->setEnabled(id, command == QLatin1String("enable"));
    workspace.queue().flushSaves();
    return exitSuccess;
}

int run(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("watch run"),
                         QStringLiteral("Polls the enabled watch rules every 10 seconds and runs the queue until "
                                        "interrupted. A file is queued once it has stayed unchanged for 20 seconds."));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.positional().isEmpty())
        throw UsageError(QStringLiteral("watch run takes no arguments."));
    HeadlessSession session;
    ScriptedChoices choices;
    Workspace workspace(StateStore::directory(), runJobPhases, &choices);
    QObject::connect(&workspace, &Workspace::noticeChanged, &workspace,
                     [&] { QTextStream(stderr) << workspace.notice() << '\n'; });
    session.reportProgress(workspace);
    workspace.queue().start();
    workspace.watcher()->start();
    session.waitForInterrupt();
    return session.quit(workspace);
}

void printUsage()
{
    QTextStream(stdout) << "Usage: vantor watch COMMAND [OPTIONS]\n\n"
                           "Commands:\n"
                           "  add FOLDER DESTINATION -p PRESET   Add a rule (it starts disabled).\n"
                           "  list [--json]                      List the rules.\n"
                           "  enable ID | disable ID | remove ID Change a rule.\n"
                           "  run                                Poll the enabled rules and run the queue until\n"
                           "                                     interrupted.\n\n"
                           "Run 'vantor watch COMMAND --help' for a command's options.\n";
}

} // namespace

int runWatch(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("watch"), [&] {
        const QString sub = arguments.value(0);
        if (sub == QLatin1String("add"))
            return add(arguments.mid(1));
        if (sub == QLatin1String("list"))
            return list(arguments.mid(1));
        if (sub == QLatin1String("enable") || sub == QLatin1String("disable") || sub == QLatin1String("remove"))
            return change(sub, arguments.mid(1));
        if (sub == QLatin1String("run"))
            return run(arguments.mid(1));
        if (sub == QLatin1String("-h") || sub == QLatin1String("--help")) {
            printUsage();
            return int(exitSuccess);
        }
        throw UsageError(sub.isEmpty() ? QStringLiteral("watch needs a command: add, list, enable, disable, remove or run.")
                                       : QStringLiteral("unknown watch command: ") + sub);
    });
}

} // namespace vantor::cli
