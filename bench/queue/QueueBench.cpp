// The queue's throughput and its cost to the main thread:
//  - 1,000 one-KiB files copied with xxHash64 verification through `vantor queue run`, as jobs
//    per second, with an empty history and with 5,000- and 50,000-job histories, against the
//    same work done by standard tools file by file (cp, sync, xxhsum of both);
//  - each of those runs twice, the second round in reverse order, and keeps its better rate, and
//    every run's files are deleted only at the end: a file system slows the creation of files
//    beside many just deleted, which would otherwise tax whichever run comes later;
//  - the deepest backlog of queued writes and the peak resident memory of each run;
//  - the worst gap of a 10 ms main-thread timer while a 50,000-job queue saves changed jobs and
//    compacts its journal, over seven compactions, with the median of each one's worst gap.

#include "BenchSupport.h"

#include "state/StateRepository.h"
#include "state/StateStore.h"
#include "queue/QueueService.h"
#include "presets/PresetService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <map>
#include <thread>
#include <unistd.h>

using namespace vantor;

namespace {

AppState historyOf(int count, const QString &root)
{
    AppState state = AppState::fresh();
    const TranscodePreset preset = PresetService::defaults().first();
    for (int i = 0; i < count; ++i) {
        MediaJob job = MediaJob::make(QStringLiteral("/media/A%1/clip%2.mov").arg(i / 100).arg(i), FileGrant(QStringLiteral("/media")),
                                      root, FileGrant(root), root + QStringLiteral("/old/clip%1.mov").arg(i),
                                      root + QStringLiteral("/old/clip%1_proxy.mov").arg(i), JobOperation::copyAndTranscode,
                                      preset, ChecksumAlgorithm(), 1 << 20, Timestamp::now());
        job.status = JobStatus::complete;
        job.sourceHash = job.destinationHash = QStringLiteral("0123456789abcdef");
        state.jobs.push_back(job);
    }
    return state;
}

// A fresh card of 1,000 one-KiB files and an empty project beside it.
void makeCard(const QString &base)
{
    QDir(base).removeRecursively();
    QDir().mkpath(base + QStringLiteral("/card"));
    QDir().mkpath(base + QStringLiteral("/project"));
    const QByteArray kib(1024, 'v');
    for (int i = 0; i < 1000; ++i) {
        QFile file(base + QStringLiteral("/card/f%1.bin").arg(i, 4, 10, QLatin1Char('0')));
        file.open(QIODevice::WriteOnly);
        file.write(kib + QByteArray::number(i));
    }
    // On disk before the measurement: otherwise the first sync of the run writes the card too.
    ::sync();
}

struct QueueRun {
    double seconds; // the whole `vantor queue run`: launch, load, the jobs, the closing compaction
    double running; // from the queue's start to idle
    long peakKiB;
    long backlog;
};

QueueRun copyThroughQueue(const QString &name, int history)
{
    const QString base = bench::scratch(name);
    makeCard(base);
    const QString support = base + QStringLiteral("/support");
    if (history > 0)
        StateStore::save(historyOf(history, base + QStringLiteral("/project")), support);
    qputenv("VANTOR_SUPPORT_DIR", support.toLocal8Bit());
    bench::run({bench::cliPath(), QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                base + QStringLiteral("/project"), base + QStringLiteral("/card")});
    const QString stats = base + QStringLiteral("/stats");
    bench::resetPeakMemory();
    const bench::Child child = bench::run({QStringLiteral("sh"), QStringLiteral("-c"),
                                           QStringLiteral("exec \"$0\" queue run --stats 2>\"$1\""), bench::cliPath(), stats});
    QFile statsFile(stats);
    statsFile.open(QIODevice::ReadOnly);
    const QByteArray text = statsFile.readAll();
    const qsizetype at = text.indexOf("backlog: ");
    const long backlog = at < 0 ? -1 : text.mid(at + 9).split(' ').first().trimmed().toLong();
    const qsizetype ran = text.indexOf("Running time: ");
    const double running = ran < 0 ? child.seconds : text.mid(ran + 14).split(' ').first().toDouble();
    return {child.seconds, running, child.peakKiB, backlog};
}

double copyWithStandardTools(const QString &name)
{
    const QString base = bench::scratch(name);
    makeCard(base);
    const bench::Child child = bench::shell(
        QStringLiteral("cd '%1' && for f in card/*; do cp -p \"$f\" project/ && sync project/$(basename \"$f\") && "
                       "xxhsum -H1 \"$f\" project/$(basename \"$f\") >/dev/null; done")
            .arg(base));
    return child.seconds;
}

// The better of two runs: the faster rate and the larger backlog. Peak memory is the first
// round's, which runs the histories from the smallest up: the figure is a peak over every child.
QueueRun better(const QueueRun &first, const QueueRun &second)
{
    QueueRun run = first.running <= second.running ? first : second;
    run.peakKiB = first.peakKiB;
    run.backlog = std::max(first.backlog, second.backlog);
    return run;
}

struct Heartbeat {
    double worst = 0;        // the longest gap of the whole measurement
    double medianRound = 0;  // the median over the compactions of each one's longest gap
    int rounds = 0;
    double slowestCompaction = 0;
};

// Seven rounds of a changed job saved and a compaction, so that one unlucky moment on a busy
// machine shows as one round's figure against the others'.
Heartbeat heartbeatDuringCompactions()
{
    const QString support = bench::scratch(QStringLiteral("heartbeat"));
    QDir(support).removeRecursively();
    StateStore::save(historyOf(50000, support + QStringLiteral("/project")), support);
    Heartbeat result;
    std::vector<double> roundWorst;
    double worst = 0, current = 0;
    {
        QueueService queue(support);
        StateRepository &repository = queue.repository();
        QElapsedTimer sinceBeat;
        QTimer heartbeat;
        heartbeat.setInterval(10);
        QObject::connect(&heartbeat, &QTimer::timeout, [&] {
            const double gap = sinceBeat.nsecsElapsed() / 1e6;
            worst = std::max(worst, gap);
            current = std::max(current, gap);
            sinceBeat.restart();
        });
        QElapsedTimer compacting;
        constexpr int roundCount = 7;
        int rounds = 0;
        double compactSeconds = 0;
        std::function<void()> round = [&] {
            MediaJob job = repository.jobs()[std::size_t(rounds) * 997];
            job.progress = 0.5;
            current = 0;
            repository.updateJob(job);
            compacting.start();
            repository.compact();
            // Wait for the write on another thread, so the main loop keeps beating meanwhile.
            std::thread([&] {
                repository.flush();
                compactSeconds = std::max(compactSeconds, compacting.nsecsElapsed() / 1e9);
                QMetaObject::invokeMethod(qApp, [&] {
                    roundWorst.push_back(current);
                    if (++rounds < roundCount)
                        QTimer::singleShot(20, round);
                    else
                        QCoreApplication::quit();
                }, Qt::QueuedConnection);
            }).detach();
        };
        QTimer::singleShot(50, round);
        sinceBeat.start();
        heartbeat.start();
        QCoreApplication::exec();
        result.slowestCompaction = compactSeconds;
    }
    QDir(support).removeRecursively();
    std::sort(roundWorst.begin(), roundWorst.end());
    result.worst = worst;
    result.rounds = int(roundWorst.size());
    result.medianRound = roundWorst.empty() ? 0 : roundWorst[roundWorst.size() / 2];
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const std::vector<int> histories{0, 5000, 50000};
    std::vector<QString> scratches;
    double reference = 1e300;
    std::map<int, QueueRun> runs;
    std::map<int, QStringList> rates; // every run's, in the order they ran
    for (int round = 0; round < 2; ++round) {
        const QString tools = QStringLiteral("tools%1").arg(round);
        reference = std::min(reference, copyWithStandardTools(tools));
        scratches.push_back(tools);
        for (std::size_t i = 0; i < histories.size(); ++i) {
            const int history = histories[round == 0 ? i : histories.size() - 1 - i];
            const QString name = QStringLiteral("queue%1-%2").arg(history).arg(round);
            const QueueRun run = copyThroughQueue(name, history);
            scratches.push_back(name);
            rates[history].push_back(QString::number(1000 / run.running, 'f', 0));
            runs[history] = round == 0 ? run : better(runs[history], run);
        }
    }
    for (const QString &name : scratches)
        QDir(bench::scratch(name)).removeRecursively();
    ::sync(); // the deletions' writeback is not the heartbeat's to wait on

    const double theirs = 1000 / reference;
    const double empty = 1000 / runs[0].running, emptyWhole = 1000 / runs[0].seconds;
    for (const int history : histories) {
        const QueueRun &run = runs[history];
        // The queue's rate while it runs, and the whole command's (a history is loaded at launch
        // and compacted at the clean close once per command, not once per job).
        const double ours = 1000 / run.running, whole = 1000 / run.seconds;
        std::printf("queue run, 1,000 verified 1-KiB copies, %d-job history: %.0f jobs/s running (runs: %s; %.0f jobs/s "
                    "for the whole command, %.2f s), standard tools %.0f files/s; deepest write backlog %ld; peak RSS "
                    "%.1f MiB\n",
                    history, ours, qPrintable(rates[history].join(QStringLiteral(", "))), whole, run.seconds, theirs,
                    run.backlog, run.peakKiB / 1024.0);
        if (history == 0)
            std::printf("  empty-history rate against standard tools: %.2f (target >= 0.50) %s\n", ours / theirs,
                        ours / theirs >= 0.5 ? "ok" : "MISSED");
        else
            std::printf("  against the empty-history rate: %.2f running (target >= 0.90) %s; whole command %.2f\n",
                        ours / empty, ours / empty >= 0.9 ? "ok" : "MISSED", whole / emptyWhole);
    }
    std::fflush(stdout);
    const Heartbeat beat = heartbeatDuringCompactions();
    std::printf("50,000-job saves and compactions: worst main-thread heartbeat gap %.1f ms over %d compactions "
                "(target < 20 ms) %s; median of each compaction's worst gap %.1f ms; slowest compaction %.3f s\n",
                beat.worst, beat.rounds, beat.worst < 20 ? "ok" : "MISSED", beat.medianRound, beat.slowestCompaction);
    return 0;
}
