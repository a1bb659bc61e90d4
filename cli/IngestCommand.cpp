#include "ChecksumOption.h"
#include "DestinationOutcomes.h"
#include "CommandLine.h"
#include "HeadlessSession.h"
#include "PictureOptions.h"
#include "PresetLookup.h"
#include "ScriptedChoices.h"

#include "ingest/VolumeSpace.h"
#include "base/JsonCodec.h"
#include "ingest/NamingService.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/CardTracker.h"
#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QSettings>
#include <QSet>
#include <QTextStream>

namespace vantor::cli {

namespace {

JobOperation operationOption(const QString &text)
{
    if (text == QLatin1String("copy"))
        return JobOperation::copy;
    if (text == QLatin1String("copy-transcode"))
        return JobOperation::copyAndTranscode;
    if (text == QLatin1String("transcode"))
        return JobOperation::transcode;
    throw UsageError(QStringLiteral("--operation takes copy, copy-transcode or transcode, not \"%1\".").arg(text));
}

void failOnError(const Workspace &workspace)
{
    if (workspace.error())
        throw VantorError(*workspace.error());
}

QString jobLine(const QString &label, const MediaJob &job)
{
    QStringList destinations;
    for (const auto &path : {job.copyDestination, job.outputDestination}) {
        if (path)
            destinations << *path;
    }
    return QStringLiteral("%1  %2  %3 \u2192 %4")
        .arg(label, VolumeSpace::byteText(job.bytes), job.source, destinations.join(QStringLiteral(", ")));
}

// What an ingest would queue, on stdout: one line per job, then the volumes it writes to.
void printPlan(const ImportPlan &plan, bool json)
{
    const std::vector<VolumeSpace::Demand> volumes = VolumeSpace::demand(plan.jobs);
    if (json) {
        QJsonArray jobs, offloaded, space;
        for (const MediaJob &job : plan.jobs)
            jobs.append(job.toJson());
        for (const MediaJob &job : plan.offloaded)
            offloaded.append(job.toJson());
        for (const VolumeSpace::Demand &volume : volumes) {
            QJsonObject entry{{QStringLiteral("volume"), volume.volume}, {QStringLiteral("needed"), volume.needed}};
            if (volume.available)
                entry.insert(QStringLiteral("available"), *volume.available);
            space.append(entry);
        }
        QTextStream(stdout) << JsonCodec::pretty(QJsonObject{
            {QStringLiteral("jobs"), jobs}, {QStringLiteral("alreadyOffloaded"), offloaded}, {QStringLiteral("volumes"), space}});
        return;
    }
    for (const MediaJob &job : plan.jobs)
        printLine(jobLine(job.operation.rawValue(), job));
    for (const MediaJob &job : plan.offloaded)
        printLine(jobLine(QStringLiteral("Already offloaded"), job));
    for (const VolumeSpace::Demand &volume : volumes)
        printLine(QStringLiteral("%1: %2 to copy, %3 free").arg(volume.volume, VolumeSpace::byteText(volume.needed),
                                                               volume.available ? VolumeSpace::byteText(*volume.available)
                                                                                : QStringLiteral("unknown")));
}

// What the run left: each output path, then each card's verdict with its reasons (the card's
// path after the verdict, the reasons indented below it).
// With --json, each queued job's destinations and their outcomes too.
void printOutcome(const QStringList &outputs, const std::vector<CardVerdict> &verdicts,
                  const std::vector<MediaJob> &jobs, bool json)
{
    if (json) {
        QJsonArray cards, destinations;
        for (const CardVerdict &verdict : verdicts)
            cards.append(verdict.toJson());
        for (const MediaJob &job : jobs) {
            QJsonObject entry{{QStringLiteral("source"), job.source}, {QStringLiteral("status"), job.status.rawValue()},
                              {QStringLiteral("destinations"), destinationsJson(job)}};
            if (job.error)
                entry.insert(QStringLiteral("error"), *job.error);
            destinations.append(entry);
        }
        QTextStream(stdout) << JsonCodec::pretty(QJsonObject{{QStringLiteral("outputs"), QJsonArray::fromStringList(outputs)},
                                                            {QStringLiteral("jobs"), destinations},
                                                            {QStringLiteral("cards"), cards}});
        return;
    }
    for (const QString &path : outputs)
        printLine(path);
    for (const CardVerdict &verdict : verdicts) {
        printLine(verdict.label() + QStringLiteral(": ") + verdict.sourceRoot);
        for (const QString &line : verdict.text().split(QLatin1Char('\n')).mid(1))
            printLine(QStringLiteral("  ") + line);
    }
}

} // namespace

int runIngest(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("ingest"), [&] {
        CommandParser parser(QStringLiteral("ingest"),
                             QStringLiteral("Opens DIR as the project, scans the sources and queues them as the Import "
                                            "page does, then runs the queue until it is done. A source whose name "
                                            "cannot be used in the project is named on stderr and left out; the "
                                            "others are imported and the exit status is then 1."));
        parser.addValue({QStringLiteral("project")}, QStringLiteral("The project folder."), QStringLiteral("DIR"));
        parser.addValue({QStringLiteral("operation")},
                        QStringLiteral("copy, copy-transcode or transcode (default: copy-transcode)."),
                        QStringLiteral("OPERATION"));
        parser.addValue({QStringLiteral("p"), QStringLiteral("preset")},
                        QStringLiteral("The transcode preset (default: the first stored preset)."),
                        QStringLiteral("PRESET"));
        parser.addValue({QStringLiteral("copy-folder")},
                        QStringLiteral("Copies go here under the project (default: 02_FOOTAGE/ORIGINALS)."),
                        QStringLiteral("REL"));
        parser.addValue({QStringLiteral("output-folder")},
                        QStringLiteral("Transcodes go here under the project (default: 02_FOOTAGE/PROXIES)."),
                        QStringLiteral("REL"));
        addAlgorithmOption(parser);
        parser.addFlag({QStringLiteral("no-verify")}, QStringLiteral("Copy without comparing digests."));
        parser.addFlag({QStringLiteral("no-mhl")},
                       QStringLiteral("Write no ASC MHL history for the cards and their proxies."));
        parser.addFlag({QStringLiteral("flat")}, QStringLiteral("Do not keep the sources' sub-folders."));
        parser.addValue({QStringLiteral("backup")},
                        QStringLiteral("Copy each file to this folder on another drive too, from the same read "
                                       "(repeatable). Each destination is verified and retried on its own."),
                        QStringLiteral("DIR"));
        parser.addFlag({QStringLiteral("cascade")},
                       QStringLiteral("Copy to the project first and judge the cards there, then copy the backups "
                                      "from the verified project copies."));
        parser.addValue({QStringLiteral("rename")},
                        QStringLiteral("Name outputs by this pattern, e.g. {PROJECT}_{ORIGINAL}_{COUNTER}."),
                        QStringLiteral("PATTERN"));
        for (const char *token : {"camera", "roll", "scene", "shot", "take"})
            parser.addValue({QString::fromLatin1(token)},
                            QStringLiteral("The value of the {%1} token.").arg(QString::fromLatin1(token).toUpper()),
                            QStringLiteral("T"));
        addPictureOptions(parser);
        parser.addValue({QStringLiteral("burn-text")}, QStringLiteral("Burn this text into the transcodes' picture."),
                        QStringLiteral("TEXT"));
        parser.addFlag({QStringLiteral("no-start")}, QStringLiteral("Queue the jobs without running them."));
        parser.addFlag({QStringLiteral("dry-run")},
                       QStringLiteral("Print the jobs, destinations and bytes the ingest would queue, and the space "
                                      "on each destination volume; queue nothing."));
        parser.addFlag({QStringLiteral("json")},
                       QStringLiteral("Print the plan (with --dry-run), or the outputs, each job's destinations and each "
                                      "card's verdict, as JSON."));
        parser.addPositional(QStringLiteral("SOURCE"), QStringLiteral("Files, folders or camera cards."),
                             QStringLiteral("SOURCE..."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (!parser.isSet(QStringLiteral("project")))
            throw UsageError(QStringLiteral("--project is required."));
        if (parser.positional().isEmpty())
            throw UsageError(QStringLiteral("Give at least one source."));
        if (parser.isSet(QStringLiteral("json")) && parser.isSet(QStringLiteral("no-start")))
            throw UsageError(QStringLiteral("--json does not go with --no-start."));
        if (parser.isSet(QStringLiteral("cascade")) && !parser.isSet(QStringLiteral("backup")))
            throw UsageError(QStringLiteral("--cascade needs at least one --backup."));
        if (parser.isSet(QStringLiteral("no-verify")) && parser.isSet(QStringLiteral("algorithm")))
            throw UsageError(QStringLiteral("--algorithm and --no-verify exclude each other"));
        const std::optional<JobOperation> operation =
            parser.isSet(QStringLiteral("operation"))
                ? std::optional(operationOption(parser.value(QStringLiteral("operation"))))
                : std::nullopt;
        const std::optional<TranscodePreset> preset =
            parser.isSet(QStringLiteral("preset")) ? std::optional(findPreset(parser.value(QStringLiteral("preset"))))
                                                   : std::nullopt;

        HeadlessSession session;
        ScriptedChoices choices;
        choices.folders << parser.value(QStringLiteral("project"));
        choices.confirmation = true; // --rename already says: use the previewed names
        Workspace workspace(StateStore::directory(), runJobPhases, &choices);

        TranscodePreset planned = preset.value_or(workspace.preset());
        applyPictureOptions(parser, planned);
        if (parser.isSet(QStringLiteral("burn-text"))) {
            FinishingOptions finish = planned.finish();
            finish.burnText = parser.value(QStringLiteral("burn-text"));
            planned.setFinish(finish);
        }

        workspace.openProject();
        failOnError(workspace);
        if (operation)
            workspace.setOperation(*operation);
        workspace.setPreset(planned);
        if (parser.isSet(QStringLiteral("copy-folder")))
            workspace.setCopyFolder(parser.value(QStringLiteral("copy-folder")));
        if (parser.isSet(QStringLiteral("output-folder")))
            workspace.setOutputFolder(parser.value(QStringLiteral("output-folder")));
        if (parser.isSet(QStringLiteral("no-verify")))
            workspace.setVerify(false);
        if (parser.isSet(QStringLiteral("algorithm"))) {
            workspace.setVerify(true);
            workspace.setAlgorithm(algorithmOption(parser));
        }
        if (parser.isSet(QStringLiteral("flat")))
            workspace.setHierarchy(false);
        if (parser.isSet(QStringLiteral("no-mhl")))
            workspace.setMhl(false);
        for (const QString &folder : parser.values(QStringLiteral("backup"))) {
            workspace.addBackupFolder(QDir::isRelativePath(folder) ? QDir::current().absoluteFilePath(folder) : folder);
            failOnError(workspace);
        }
        if (parser.isSet(QStringLiteral("backup")) || parser.isSet(QStringLiteral("cascade")))
            workspace.setCascade(parser.isSet(QStringLiteral("cascade")));
        if (parser.isSet(QStringLiteral("rename"))) {
            workspace.setRename(true);
            workspace.setPattern(parser.value(QStringLiteral("rename")));
        }
        workspace.setCamera(parser.value(QStringLiteral("camera")));
        workspace.setRoll(parser.value(QStringLiteral("roll")));
        workspace.setScene(parser.value(QStringLiteral("scene")));
        workspace.setShot(parser.value(QStringLiteral("shot")));
        workspace.setTake(parser.value(QStringLiteral("take")));

        workspace.receive(parser.positional(), Page::ingest);
        if (!session.waitFor(&workspace, &Workspace::scanningChanged, [&] { return !workspace.scanning(); }))
            return session.quit(workspace);
        failOnError(workspace);

        // A file whose name cannot be used is named and left out; the rest are imported.
        std::vector<SourceFile> usable;
        const std::vector<SourceFile> &scanned = workspace.sources();
        const JobPlan naming = workspace.plan();
        for (std::size_t index = 0; index < scanned.size(); ++index) {
            try {
                JobPlanner::stem(naming, scanned[index], int(index));
                usable.push_back(scanned[index]);
            } catch (const UnusableNameError &error) {
                printError(QStringLiteral("Skipped. ") + error.message());
            }
        }
        const std::size_t skipped = scanned.size() - usable.size();
        if (skipped > 0) {
            if (usable.empty())
                throw VantorError(QStringLiteral("Nothing was queued: no source can be imported."));
            workspace.setSources(usable);
        }
        const auto skippedNote = [&] {
            if (skipped > 0)
                printError(QStringLiteral("%1 of the sources were skipped; see the lines above.").arg(skipped));
        };

        // Comparing copies already at their destinations runs in the background.
        const auto settled = [&] {
            if (workspace.scanning())
                QTextStream(stderr) << "Comparing the copies already at their destinations with their sources.\n";
            return session.waitFor(&workspace, &Workspace::scanningChanged, [&] { return !workspace.scanning(); });
        };
        if (parser.isSet(QStringLiteral("dry-run"))) {
            workspace.planImport();
            if (!settled())
                return session.quit(workspace);
            failOnError(workspace);
            printPlan(workspace.importPlan(), parser.isSet(QStringLiteral("json")));
            return int(exitSuccess);
        }

        QSet<QUuid> before;
        for (const MediaJob &job : workspace.queue().state().jobs)
            before.insert(job.id);
        const bool start = !parser.isSet(QStringLiteral("no-start"));
        workspace.queueImport(start); // answers "Use the previewed output names?" with yes
        if (!settled())
            return session.quit(workspace);
        failOnError(workspace);
        const ImportPlan &plan = workspace.importPlan();
        if (!plan.offloaded.empty()) {
            QTextStream err(stderr);
            for (const MediaJob &job : plan.offloaded)
                err << "Already offloaded: " << job.source << " \u2192 " << *job.copyDestination << '\n';
            err << plan.offloaded.size() << " files already offloaded; their copies match the sources.\n";
        }
        QueueService &queue = workspace.queue();
        if (!start) {
            queue.flushSaves();
            printLine(workspace.notice());
            skippedNote();
            return int(skipped > 0 ? exitFailure : exitSuccess);
        }

        // Every card read is listed again and judged once its last job ended. With --cascade, a
        // card judged on its project copies then has its backups copied from them, and is judged
        // again once those end.
        CardTracker &cards = workspace.cards();
        QStringList roots;
        for (const MediaJob &job : queue.state().jobs) {
            if (!before.contains(job.id) && job.sourceRoot && !roots.contains(*job.sourceRoot))
                roots << *job.sourceRoot;
        }
        if (workspace.cascade()) {
            // The workspace, told first, has queued the card's backups again by now.
            QObject::connect(&cards, &CardTracker::cardEnded, &queue,
                             [&](const QString &root, const QList<QUuid> &ids, const CardVerdict &verdict) {
                                 const bool copying = std::any_of(ids.begin(), ids.end(), [&](const QUuid &id) {
                                     const MediaJob *job = queue.repository().job(id);
                                     return job && !job->status.final();
                                 });
                                 if (copying)
                                     QTextStream(stderr) << verdict.label() << " on the project copies: " << root
                                                         << "\nCopying the backups from the verified project copies.\n";
                             });
        }
        // Each judged card's offload report is written into the project, whatever its verdict.
        QStringList reports, reportFailures;
        QObject::connect(&workspace, &Workspace::offloadReportWritten, &queue,
                         [&](const QString &, const QStringList &paths) { reports << paths; });
        QObject::connect(&workspace, &Workspace::offloadReportFailed, &queue,
                         [&](const QString &message) { reportFailures << message; });
        const auto judged = [&] {
            return std::none_of(roots.begin(), roots.end(), [&](const QString &root) { return cards.open(root); });
        };
        session.reportProgress(workspace);
        do {
            if (!session.waitFor(&queue, &QueueService::idle, [&] { return !queue.running(); }))
                return session.quit(workspace);
            if (!session.waitFor(&cards, &CardTracker::verdictChanged, judged))
                return session.quit(workspace);
        } while (queue.running() || !judged());
        queue.flushSaves();

        int failed = 0;
        QStringList outputs;
        std::vector<MediaJob> queued;
        for (const MediaJob &job : queue.state().jobs) {
            if (before.contains(job.id))
                continue;
            queued.push_back(job);
            if (job.status != JobStatus::complete) {
                ++failed;
                continue;
            }
            for (const auto &path : {job.copyDestination, job.outputDestination}) {
                if (path)
                    outputs << *path;
            }
            for (const BackupCopy &backup : job.backups) {
                if (backup.committed)
                    outputs << backup.path;
            }
        }
        std::vector<CardVerdict> verdicts;
        for (const QString &root : roots)
            verdicts.push_back(cards.verdict(root).value_or(CardVerdict{root, false, {}, {}}));
        printOutcome(outputs, verdicts, queued, parser.isSet(QStringLiteral("json")));
        workspace.finishReports();
        for (const QString &path : std::as_const(reports))
            QTextStream(stderr) << "Offload report: " << path << '\n';
        for (const QString &message : std::as_const(reportFailures))
            printError(message);
        const auto unsafe = std::count_if(verdicts.begin(), verdicts.end(), [](const CardVerdict &each) { return !each.safe; });
        if (failed > 0)
            printError(QStringLiteral("%1 of the queued jobs did not complete; see the lines above.").arg(failed));
        // A card the ingest was to offload must not be formatted; a script learns it from the status.
        const bool offloads = workspace.operation().copies();
        if (unsafe > 0 && offloads)
            printError(QStringLiteral("%1 of the cards are not safe to format; see the reasons above.").arg(unsafe));
        skippedNote();
        return int(failed > 0 || skipped > 0 || (unsafe > 0 && offloads) ? exitFailure : exitSuccess);
    });
}

} // namespace vantor::cli
