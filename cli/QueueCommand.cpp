#include "ChecksumOption.h"
#include "DestinationOutcomes.h"
#include "SavedState.h"
#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "PresetLookup.h"
#include "QueueProgress.h"

#include "ingest/MediaIngestService.h"
#include "ingest/StagingFiles.h"
#include "jobs/JobReport.h"
#include "planning/JobPlanner.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "state/QueueLock.h"
#include "queue/QueueService.h"
#include "presets/PresetService.h"
#include "reports/OffloadReport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QTextStream>
#include <algorithm>
#include <cstdlib>

namespace vantor::cli {

namespace {

QString absolute(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

QString idText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

// A job named by its id or by an unambiguous beginning of it, as `git` names commits.
QUuid findJob(const AppState &state, const QString &text)
{
    const QString wanted = text.trimmed().toUpper().remove(u'{').remove(u'}');
    std::optional<QUuid> found;
    for (const MediaJob &job : state.jobs) {
        if (idText(job.id).startsWith(wanted) && !wanted.isEmpty()) {
            if (found)
                throw VantorError(QStringLiteral("More than one job begins with %1. Give more of the id.").arg(text));
            found = job.id;
        }
    }
    if (!found)
        throw VantorError(QStringLiteral("No job has the id %1.").arg(text));
    return *found;
}

// The stored queue as a reader sees it. Reading needs no lock; an unreadable state file is
// reported, never replaced. Jobs left running in a queue no process holds were interrupted:
// they are shown as the next launch will record them (the file itself is left as it is).
struct ReadQueue {
    AppState state;
    QSet<QUuid> interrupted;
};

ReadQueue readQueue()
{
    ReadQueue read { readSavedState(), {} };
    if (!QueueLock::heldByAnyone(StateStore::directory())) {
        for (const MediaJob &job : QueueService::recoverInterrupted(read.state))
            read.interrupted.insert(job.id);
    }
    return read;
}

// A queue this process may change; refused when another Vantor process owns it.
std::unique_ptr<QueueService> openQueue()
{
    auto queue = std::make_unique<QueueService>(StateStore::directory());
    if (queue->storageBlocked())
        throw VantorError(*queue->persistenceError());
    const std::vector<MediaJob> &recovered = queue->recoveredAtLaunch();
    if (!recovered.empty()) {
        QStringList names;
        for (const MediaJob &job : recovered)
            names << QFileInfo(job.source).fileName();
        QTextStream(stderr) << QStringLiteral("Recovered %1 interrupted %2: %3. %4 now failed; "
                                              "'vantor queue retry --failed' restarts the unfinished phase.\n")
                                   .arg(recovered.size())
                                   .arg(recovered.size() == 1 ? QStringLiteral("job") : QStringLiteral("jobs"),
                                        names.join(QStringLiteral(", ")),
                                        recovered.size() == 1 ? QStringLiteral("It is") : QStringLiteral("They are"));
    }
    return queue;
}

int listJobs(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue list"), QStringLiteral("Lists the queued jobs and their history, in queue order."));
    parser.addFlag({QStringLiteral("json")}, QStringLiteral("Print the jobs as a JSON array."));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.positional().isEmpty())
        throw UsageError(QStringLiteral("queue list takes no arguments"));
    const ReadQueue read = readQueue();
    if (parser.isSet(QStringLiteral("json"))) {
        QJsonArray jobs;
        for (const MediaJob &job : read.state.jobs)
            jobs.append(job.toJson());
        QTextStream(stdout) << JsonCodec::pretty(jobs);
        return exitSuccess;
    }
    for (const MediaJob &job : read.state.jobs) {
        const bool interrupted = read.interrupted.contains(job.id);
        printLine(QStringLiteral("%1  %2  %3%  %4  %5 \u2192 %6")
                      .arg(idText(job.id), interrupted ? QStringLiteral("INTERRUPTED") : job.status.rawValue().leftJustified(11))
                      .arg(int(job.progress * 100), 3)
                      .arg(job.operation.rawValue(), job.source, job.destination()));
        if (interrupted)
            printLine(QStringLiteral("    ") + job.error.value_or(QString()));
        for (const QString &line : destinationLines(job))
            printLine(line);
    }
    return exitSuccess;
}

int addJobs(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue add"),
                         QStringLiteral("Queues files: 'copy' and 'copy-transcode' scan each SOURCE (files, folders, "
                                        "cards) as an import does; 'transcode' queues a transcode of each video file as "
                                        "'vantor transcode' names it. A batch with any destination collision is "
                                        "refused whole."));
    parser.addPositional(QStringLiteral("OPERATION"), QStringLiteral("copy, copy-transcode or transcode."),
                         QStringLiteral("copy|copy-transcode|transcode"));
    parser.addPositional(QStringLiteral("SOURCE"), QStringLiteral("Files or folders."), QStringLiteral("SOURCE..."));
    parser.addValue({QStringLiteral("root")}, QStringLiteral("The destination folder of copies."), QStringLiteral("DIR"));
    parser.addValue({QStringLiteral("folder")}, QStringLiteral("Copies go to DIR/REL/their relative path."),
                    QStringLiteral("REL"));
    parser.addValue({QStringLiteral("output-folder")},
                    QStringLiteral("Transcodes go to DIR/REL/their relative path (copy-transcode)."), QStringLiteral("REL"));
    parser.addValue({QStringLiteral("o"), QStringLiteral("output")}, QStringLiteral("The folder of transcodes (transcode)."),
                    QStringLiteral("DIR"));
    parser.addValue({QStringLiteral("p"), QStringLiteral("preset")}, QStringLiteral("The transcode preset."),
                    QStringLiteral("NAME"));
    addAlgorithmOption(parser);
    parser.addFlag({QStringLiteral("no-verify")}, QStringLiteral("Copy without comparing digests."));
    if (!parser.parse(arguments))
        return exitSuccess;
    QStringList positional = parser.positional();
    if (positional.size() < 2)
        throw UsageError(QStringLiteral("queue add takes an operation and at least one SOURCE"));
    const QString operationName = positional.takeFirst();
    JobOperation operation;
    if (operationName == QLatin1String("copy"))
        operation = JobOperation::copy;
    else if (operationName == QLatin1String("copy-transcode"))
        operation = JobOperation::copyAndTranscode;
    else if (operationName == QLatin1String("transcode"))
        operation = JobOperation::transcode;
    else
        throw UsageError(QStringLiteral("unknown operation \"%1\" (copy, copy-transcode or transcode)").arg(operationName));
    if (parser.isSet(QStringLiteral("no-verify")) && parser.isSet(QStringLiteral("algorithm")))
        throw UsageError(QStringLiteral("--algorithm and --no-verify exclude each other"));

    std::optional<TranscodePreset> preset;
    if (operation.transcodes()) {
        if (!parser.isSet(QStringLiteral("preset")))
            throw UsageError(QStringLiteral("%1 needs --preset").arg(operationName));
        preset = findPreset(parser.value(QStringLiteral("preset")));
        PresetService::validate(*preset);
    }

    JobPlan plan;
    plan.operation = operation;
    std::vector<SourceFile> sources;
    if (operation == JobOperation::transcode) {
        // Each source's output lands in the folder itself, as 'vantor transcode' puts it.
        if (!parser.isSet(QStringLiteral("output")))
            throw UsageError(QStringLiteral("transcode needs --output DIR"));
        plan.root = absolute(parser.value(QStringLiteral("output")));
        plan.hierarchy = false;
        for (const QString &path : positional) {
            const std::vector<SourceFile> scanned = MediaIngestService::scan({path});
            sources.insert(sources.end(), scanned.begin(), scanned.end());
        }
    } else {
        if (!parser.isSet(QStringLiteral("root")))
            throw UsageError(QStringLiteral("%1 needs --root DIR").arg(operationName));
        plan.root = absolute(parser.value(QStringLiteral("root")));
        plan.copyFolder = parser.value(QStringLiteral("folder"));
        plan.outputFolder = parser.value(QStringLiteral("output-folder"));
        plan.checksum = parser.isSet(QStringLiteral("no-verify")) ? std::nullopt : std::optional(algorithmOption(parser));
        sources = MediaIngestService::scan(positional);
    }
    plan.grant = FileGrant(plan.root);
    if (preset)
        plan.preset = *preset;
    const std::vector<MediaJob> jobs = JobPlanner::plan(plan, sources);
    if (jobs.empty())
        throw VantorError(QStringLiteral("No files were found to queue."));
    auto queue = openQueue();
    queue->enqueue(jobs);
    queue->flushSaves();
    for (const MediaJob &job : jobs)
        printLine(idText(job.id));
    return exitSuccess;
}

int runQueue(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue run"),
                         QStringLiteral("Runs the queue headless until no waiting job is left. SIGINT or SIGTERM "
                                        "cancels the running job and saves the queue, as quitting the window does."));
    parser.addFlag({QStringLiteral("stats")},
                   QStringLiteral("Report the deepest backlog of queued writes and the time from start to idle at the end."));
    if (!parser.parse(arguments))
        return exitSuccess;
    // The watcher comes first: threads started before it would not have the signals blocked.
    bool interrupted = false;
    std::unique_ptr<QueueService> queue;
    InterruptWatcher watcher([&] {
        QMetaObject::invokeMethod(qApp, [&] {
            interrupted = true;
            if (queue)
                queue->prepareToQuit();
            QCoreApplication::exit(exitInterrupted);
        }, Qt::QueuedConnection);
    });
    queue = openQueue();

    QueueProgress progress(*queue);
    QElapsedTimer running; // from start to idle: the queue's own pace, without launch and close
    running.start();
    QObject::connect(queue.get(), &QueueService::idle, qApp, [] { QCoreApplication::exit(exitSuccess); },
                     Qt::QueuedConnection);
    queue->start();
    if (!queue->running()) {
        queue->flushSaves();
        return int(exitSuccess);
    }
    const int code = QCoreApplication::exec();
    const double runSeconds = running.nsecsElapsed() / 1e9;
    progress.finish();
    queue->flush();
    if (parser.isSet(QStringLiteral("stats")))
        QTextStream(stderr) << "Deepest persistence backlog: " << queue->deepestPersistenceBacklog() << " writes\n"
                            << "Running time: " << QString::number(runSeconds, 'f', 3) << " s\n";
    queue->flushSaves();
    if (interrupted || code == exitInterrupted) {
        printError(QStringLiteral("Interrupted. The running job was cancelled and the queue saved."));
        return int(exitInterrupted);
    }
    return progress.failures() > 0 ? int(exitFailure) : int(exitSuccess);
}

// What a change can alter: which jobs there are, their order and their statuses.
std::vector<std::pair<QUuid, JobStatus>> outline(const AppState &state)
{
    std::vector<std::pair<QUuid, JobStatus>> jobs;
    for (const MediaJob &job : state.jobs)
        jobs.emplace_back(job.id, job.status);
    return jobs;
}

const MediaJob &jobWithId(const AppState &state, const QUuid &id)
{
    return *std::find_if(state.jobs.begin(), state.jobs.end(), [&](const MediaJob &job) { return job.id == id; });
}

// The words for a change that changed nothing, from the queue as it was: `id` is empty for the
// form that acts on every such job.
using WhyUnchanged = std::function<QString(const AppState &, const std::optional<QUuid> &id)>;

// Runs `change` on the held queue; a change that left the queue as it was fails with `why`.
void changeOrSayWhy(QueueService &queue, const std::optional<QUuid> &id, const std::function<void()> &change,
                    const WhyUnchanged &why)
{
    const auto before = outline(queue.state());
    change();
    queue.flushSaves();
    if (outline(queue.state()) == before)
        throw VantorError(why(queue.state(), id));
}

// One action on one job (or on all of a kind, with the flag).
int changeJobs(const QString &name, const QStringList &arguments, const QString &allFlag, const QString &description,
               const std::function<void(QueueService &, const QUuid &)> &one,
               const std::function<void(QueueService &)> &all, const WhyUnchanged &why)
{
    CommandParser parser(QStringLiteral("queue ") + name, description);
    parser.addPositional(QStringLiteral("ID"), QStringLiteral("A job id, or enough of its beginning."), QStringLiteral("ID"));
    if (!allFlag.isEmpty())
        parser.addFlag({allFlag}, QStringLiteral("Act on every such job instead of one."));
    if (!parser.parse(arguments))
        return exitSuccess;
    const bool every = !allFlag.isEmpty() && parser.isSet(allFlag);
    if (every == (parser.positional().size() == 1) || parser.positional().size() > 1)
        throw UsageError(allFlag.isEmpty() ? QStringLiteral("queue %1 takes one ID").arg(name)
                                           : QStringLiteral("queue %1 takes one ID or --%2").arg(name, allFlag));
    auto queue = openQueue();
    if (every) {
        changeOrSayWhy(*queue, std::nullopt, [&] { all(*queue); }, why);
    } else {
        const QUuid id = findJob(queue->state(), parser.positional().first());
        changeOrSayWhy(*queue, id, [&] { one(*queue, id); }, why);
    }
    return exitSuccess;
}

int moveJob(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue move"),
                         QStringLiteral("Swaps a waiting job with the waiting job N places away in queue order, "
                                        "counting waiting jobs only; the jobs between the two stay where they are."));
    parser.addPositional(QStringLiteral("ID"), QStringLiteral("A job id, or enough of its beginning."), QStringLiteral("ID"));
    parser.addValue({QStringLiteral("by")},
                    QStringLiteral("How many waiting jobs away the other job is: negative is earlier."), QStringLiteral("N"));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (parser.positional().size() != 1 || !parser.isSet(QStringLiteral("by")))
        throw UsageError(QStringLiteral("queue move takes one ID and --by N"));
    const int by = int(parser.integerValue(QStringLiteral("by")));
    auto queue = openQueue();
    const QUuid id = findJob(queue->state(), parser.positional().first());
    changeOrSayWhy(*queue, id, [&] { queue->moveWaiting(id, by); }, [by](const AppState &state, const std::optional<QUuid> &moved) {
        const MediaJob &job = jobWithId(state, *moved);
        if (job.status != JobStatus::waiting)
            return QStringLiteral("Job %1 is %2; only a waiting job can be moved.").arg(idText(job.id), job.status.rawValue());
        if (by == 0)
            return QStringLiteral("Moving by 0 places leaves job %1 where it is.").arg(idText(job.id));
        const auto waiting = std::count_if(state.jobs.begin(), state.jobs.end(),
                                           [](const MediaJob &each) { return each.status == JobStatus::waiting; });
        const auto place = 1 + std::count_if(state.jobs.begin(), state.jobs.end(), [&](const MediaJob &each) {
            return each.status == JobStatus::waiting && &each < &job;
        });
        return QStringLiteral("Job %1 is waiting job %2 of %3; there is no waiting job %4 %5 %6 it.")
            .arg(idText(job.id))
            .arg(place)
            .arg(waiting)
            .arg(std::abs(by))
            .arg(std::abs(by) == 1 ? QStringLiteral("place") : QStringLiteral("places"),
                 by < 0 ? QStringLiteral("before") : QStringLiteral("after"));
    });
    return exitSuccess;
}

int writeReport(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue report"),
                         QStringLiteral("Writes the report of the queue: the JSON report of every job in queue order, "
                                        "or the offload report of each card (files, bytes, destinations, duration, "
                                        "speed, failures, digests and whether the card is safe to format) as HTML or "
                                        "PDF. Each card is listed again to judge it."));
    parser.addPositional(QStringLiteral("FILE"), QString::fromLatin1(JobReport::suggestedFileName), QStringLiteral("FILE"));
    parser.addValue({QStringLiteral("project")},
                    QStringLiteral("Only the jobs that copy or transcode into this folder."), QStringLiteral("DIR"));
    parser.addValue({QStringLiteral("format")}, QStringLiteral("json (the default), html or pdf."),
                    QStringLiteral("FORMAT"));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("queue report takes one FILE"));
    const QString formatText = parser.isSet(QStringLiteral("format")) ? parser.value(QStringLiteral("format"))
                                                                      : QStringLiteral("json");
    const std::optional<OffloadReport::Format> format = OffloadReport::formatNamed(formatText);
    if (!format)
        throw UsageError(QStringLiteral("--format takes json, html or pdf, not \"%1\"").arg(formatText));
    std::vector<MediaJob> jobs = readQueue().state.jobs;
    if (parser.isSet(QStringLiteral("project"))) {
        // A mistyped folder would give an empty report that looks like an idle project.
        const QString project = absolute(parser.value(QStringLiteral("project")));
        if (!QFileInfo(project).isDir())
            throw VantorError(QStringLiteral("The project folder does not exist: ") + project);
        std::erase_if(jobs, [&](const MediaJob &job) { return !JobReport::writesUnder(job, project); });
    }
    OffloadReport::write(*format, jobs, absolute(parser.positional().first()));
    return exitSuccess;
}

int cleanStaging(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("queue clean"),
                         QStringLiteral("Removes the hidden staging files (.vantor-*.partial) that killed runs left in "
                                        "the destination folders of the stored jobs, and prints each path. Nothing "
                                        "else is touched, and a folder where a copy or transcode is running is skipped."));
    parser.addFlag({QStringLiteral("n"), QStringLiteral("dry-run")}, QStringLiteral("Only list what would be removed."));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.positional().isEmpty())
        throw UsageError(QStringLiteral("queue clean takes no arguments"));
    // Holding the queue means no job of it runs meanwhile.
    auto queue = openQueue();
    const bool remove = !parser.isSet(QStringLiteral("dry-run"));
    const QStringList found = StagingFiles::orphans(queue->state().jobs, remove);
    for (const QString &path : found) {
        printLine(path);
        if (remove)
            queue->log(QStringLiteral("REMOVED staging file ") + path);
    }
    queue->flush();
    return exitSuccess;
}

void printQueueHelp()
{
    QTextStream(stdout) << "Usage: vantor queue SUBCOMMAND [OPTIONS]\n\n"
                           "Works on the stored queue of the support folder.\n\n"
                           "Subcommands:\n"
                           "  list [--json]                     the jobs in queue order\n"
                           "  add copy|copy-transcode|transcode queue files (see 'vantor queue add --help')\n"
                           "  run                               run until no waiting job is left\n"
                           "  retry ID | --failed               retry a failed or cancelled job\n"
                           "  cancel ID | --all                 cancel a job, or every waiting one\n"
                           "  remove ID | --completed           remove a job, or the finished history\n"
                           "  move ID --by N                    swap a waiting job with the one N waiting jobs away\n"
                           "  report FILE [--format F] [--project DIR]  write the JSON, HTML or PDF report\n"
                           "  clean [--dry-run]                 remove staging files killed runs left\n";
}

} // namespace

int queueCommand(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("queue"), [&]() -> int {
        if (arguments.isEmpty())
            throw UsageError(QStringLiteral("queue needs a subcommand"));
        const QString sub = arguments.first();
        const QStringList rest = arguments.mid(1);
        if (sub == QLatin1String("-h") || sub == QLatin1String("--help")) {
            printQueueHelp();
            return exitSuccess;
        }
        if (sub == QLatin1String("list"))
            return listJobs(rest);
        if (sub == QLatin1String("add"))
            return addJobs(rest);
        if (sub == QLatin1String("run"))
            return runQueue(rest);
        if (sub == QLatin1String("move"))
            return moveJob(rest);
        if (sub == QLatin1String("report"))
            return writeReport(rest);
        if (sub == QLatin1String("clean"))
            return cleanStaging(rest);
        if (sub == QLatin1String("retry"))
            return changeJobs(sub, rest, QStringLiteral("failed"), QStringLiteral("Returns a failed or cancelled job to the queue."),
                              [](QueueService &queue, const QUuid &id) { queue.retry(id); },
                              [](QueueService &queue) { queue.retryFailed(); },
                              [](const AppState &state, const std::optional<QUuid> &id) {
                                  if (!id)
                                      return QStringLiteral("No job has failed; nothing was retried.");
                                  return QStringLiteral("Job %1 is %2; only a failed or cancelled job can be retried.")
                                      .arg(idText(*id), jobWithId(state, *id).status.rawValue());
                              });
        if (sub == QLatin1String("cancel"))
            return changeJobs(sub, rest, QStringLiteral("all"), QStringLiteral("Cancels a job, or every waiting job."),
                              [](QueueService &queue, const QUuid &id) { queue.cancel(id); },
                              [](QueueService &queue) { queue.cancelAll(); },
                              [](const AppState &state, const std::optional<QUuid> &id) {
                                  if (!id)
                                      return QStringLiteral("No job is waiting; nothing was cancelled.");
                                  return QStringLiteral("Job %1 is already %2; nothing was cancelled.")
                                      .arg(idText(*id), jobWithId(state, *id).status.rawValue());
                              });
        if (sub == QLatin1String("remove"))
            return changeJobs(sub, rest, QStringLiteral("completed"), QStringLiteral("Removes a job, or the finished history."),
                              [](QueueService &queue, const QUuid &id) { queue.remove(id); },
                              [](QueueService &queue) { queue.removeCompleted(); },
                              [](const AppState &, const std::optional<QUuid> &id) {
                                  return id ? QStringLiteral("Job %1 is running and cannot be removed.").arg(idText(*id))
                                            : QStringLiteral("No job has finished; nothing was removed.");
                              });
        throw UsageError(QStringLiteral("unknown queue subcommand \"%1\"").arg(sub));
    });
}

} // namespace vantor::cli
