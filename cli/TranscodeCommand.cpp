#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "PresetOptions.h"
#include "ProgressBar.h"

#include "ingest/MediaIngestService.h"
#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "planning/JobPlanner.h"
#include "transcode/BurnInService.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

namespace vantor::cli {

namespace {

QString absolute(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// The source as an import would take it: a regular file, not a link, fingerprinted now.
SourceFile selectSource(const QString &path)
{
    const std::vector<SourceFile> selected = MediaIngestService::scan({path});
    if (selected.size() != 1 || selected.front().url != absolute(path))
        throw VantorError(QStringLiteral("Select one regular file to transcode: ") + absolute(path));
    return selected.front();
}

// What the engine would be asked to do, without creating anything that outlives the call.
QStringList plannedArguments(const MediaJob &job, const QString &engine, JobControl &control)
{
    const MediaInfo info = TranscodeService::probe(job.source, engine, control);
    const BurnInAssets assets = BurnInService::prepare(job.source, *job.preset, info);
    try {
        QStringList vector = TranscodeService::arguments(job.source, *JobPlanner::outputTemporary(job), *job.preset,
                                                         info, assets.filters);
        assets.cleanup();
        return vector;
    } catch (...) {
        assets.cleanup();
        throw;
    }
}

} // namespace

int runTranscode(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("transcode"), [&] {
        CommandParser parser(QStringLiteral("transcode"),
                             QStringLiteral("Transcodes each SOURCE with a preset exactly as the queue's transcode "
                                            "phase does: the output is validated and published under its name + the "
                                            "preset's suffix, never replacing anything."));
        addPresetOptions(parser);
        parser.addValue({QStringLiteral("o"), QStringLiteral("output")},
                        QStringLiteral("The folder for the outputs (default: each source's folder)."),
                        QStringLiteral("DIR"));
        parser.addFlag({QStringLiteral("dry-run")},
                       QStringLiteral("Print the engine's arguments, one per line, and run nothing."));
        parser.addFlag({QStringLiteral("json")},
                       QStringLiteral("With --dry-run: print each planned job, its temporary file and the engine's "
                                      "arguments as JSON."));
        parser.addPositional(QStringLiteral("SOURCE"), QStringLiteral("A video file."), QStringLiteral("SOURCE..."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (parser.positional().isEmpty())
            throw UsageError(QStringLiteral("Name at least one SOURCE to transcode."));
        const ChosenPreset chosen = chosenPreset(parser);
        const bool dryRun = parser.isSet(QStringLiteral("dry-run"));
        const bool json = parser.isSet(QStringLiteral("json"));
        if (json && !dryRun)
            throw UsageError(QStringLiteral("--json goes with --dry-run."));
        QJsonArray planned;

        JobControl control;
        InterruptWatcher watcher([&] { control.cancel(); });
        int status = exitSuccess;
        bool first = true;
        for (const QString &path : parser.positional()) {
            try {
                const SourceFile source = selectSource(path);
                const QString folder = parser.isSet(QStringLiteral("output"))
                                           ? absolute(parser.value(QStringLiteral("output")))
                                           : QFileInfo(source.url).path();
                if (!QFileInfo(folder).isDir())
                    throw VantorError(QStringLiteral("Select an available, real destination folder: ") + folder);
                JobPlan plan;
                plan.operation = JobOperation::transcode;
                plan.root = folder;
                plan.grant = FileGrant(folder);
                plan.hierarchy = false;
                plan.preset = chosen.preset;
                const std::vector<MediaJob> jobs = JobPlanner::plan(plan, {source});
                if (jobs.empty())
                    throw VantorError(QStringLiteral("Select a video file to transcode: ") + source.url);
                const MediaJob &job = jobs.front();
                if (dryRun && json) {
                    planned.append(QJsonObject{
                        {QStringLiteral("job"), job.toJson()},
                        {QStringLiteral("temporary"), *JobPlanner::outputTemporary(job)},
                        {QStringLiteral("arguments"), QJsonArray::fromStringList(plannedArguments(job, chosen.engine, control))}});
                } else if (dryRun) {
                    if (!first)
                        printLine(QString());
                    for (const QString &argument : plannedArguments(job, chosen.engine, control))
                        printLine(argument);
                } else {
                    ProgressBar bar(QFileInfo(source.url).fileName());
                    TranscodeService::transcode(job, chosen.engine, control, [&](double fraction) { bar.update(fraction); });
                    bar.finish();
                    printLine(*job.outputDestination);
                }
            } catch (const CancellationError &) {
                throw;
            } catch (const std::exception &error) {
                // One refused source does not stop the others; the exit status tells.
                printError(errorText(error));
                status = exitFailure;
            }
            first = false;
        }
        if (json)
            QTextStream(stdout) << JsonCodec::pretty(planned);
        return status;
    });
}

} // namespace vantor::cli
