#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"
#include "state/StateStore.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <QRandomGenerator>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// Content, size and time of every file below a folder: the originals must keep all three.
QMap<QString, QByteArray> fingerprint(const QString &folder)
{
    QMap<QString, QByteArray> result;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info(it.next());
        result.insert(info.filePath(), QCryptographicHash::hash(test::readFile(info.filePath()), QCryptographicHash::Md5)
                                           + QByteArray::number(info.size()) + ' '
                                           + QByteArray::number(info.lastModified().toMSecsSinceEpoch()));
    }
    return result;
}

// What a crash left behind once the user has retried until every job completed, by kind.
using Damage = std::map<std::string, long>;

bool intact(const Damage &damage)
{
    return std::all_of(damage.begin(), damage.end(), [](const auto &entry) { return entry.second == 0; });
}

std::string describe(const Damage &damage)
{
    std::string text;
    for (const auto &[kind, count] : damage)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + kind;
    return text;
}

// A support folder and a project, in memory: a kill tests the process, not the disk, and fsync
// there costs nothing. The queued state is kept so the same workload can be replayed.
class Workload {
public:
    Workload() { m_environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), support()); }

    QString project() const { return m_dir.file(QStringLiteral("project")); }
    QString support() const { return m_dir.file(QStringLiteral("support")); }
    QProcessEnvironment environment() const { return m_environment; }

    test::ProcessResult vantor(const QStringList &arguments, const QList<QPair<QString, QString>> &variables = {})
    {
        QProcessEnvironment environment = m_environment;
        for (const auto &[name, value] : variables)
            environment.insert(name, value);
        return test::runVantor(arguments, environment);
    }
    void add(const QStringList &arguments)
    {
        const auto added = vantor(QStringList{"queue", "add"} + arguments);
        EXPECT_EQ(added.exitCode, 0) << added.errText().toStdString();
        m_queued = test::readFile(support() + QStringLiteral("/state.json"));
    }
    // Back to the freshly queued workload, with a neighbour whose name differs from a copy's
    // only in case: it must survive everything.
    void reset()
    {
        QDir(project()).removeRecursively();
        QDir(support()).removeRecursively();
        m_dir.write(QStringLiteral("project/new/nested/ONE.BIN"), "theirs");
        if (!m_queued.isEmpty())
            m_dir.write(QStringLiteral("support/state.json"), m_queued);
    }
    bool stateReadable() const
    {
        try {
            StateStore::load(support());
            return true;
        } catch (const std::exception &) {
            return false;
        }
    }

    // Saves that had returned before a kill and are missing after it. The queue logs a job's
    // START only once the save that ended the job before it is on disk, so every job started
    // before the last START of the run must be found ended. The run's log begins at `from`.
    long savesLost(qsizetype from = 0) const
    {
        QStringList started;
        for (const QByteArray &line : test::readFile(support() + QStringLiteral("/operations.log")).mid(from).split('\n')) {
            const qsizetype at = line.indexOf("  START ");
            if (at >= 0)
                started << QString::fromUtf8(line.mid(at + 8, 36));
        }
        if (started.size() < 2 || !stateReadable())
            return 0; // an unreadable state is counted on its own
        const AppState state = StateStore::load(support());
        long lost = 0;
        for (qsizetype i = 0; i + 1 < started.size(); ++i) {
            const auto job = std::find_if(state.jobs.begin(), state.jobs.end(), [&](const MediaJob &candidate) {
                return candidate.id.toString(QUuid::WithoutBraces).toUpper() == started[i];
            });
            lost += job == state.jobs.end()
                    || (job->status != JobStatus::complete && job->status != JobStatus::failed
                        && job->status != JobStatus::cancelled);
        }
        return lost;
    }
    qsizetype logSize() const { return QFileInfo(support() + QStringLiteral("/operations.log")).size(); }

    // Retries until every job is complete, as a user would after each crash, then counts what
    // was lost: jobs, copies unlike their source, outputs that do not play, half-made files.
    Damage recover(std::size_t jobs)
    {
        const auto allComplete = [&] {
            const AppState state = StateStore::load(support());
            return std::all_of(state.jobs.begin(), state.jobs.end(), [](const MediaJob &job) { return job.status == JobStatus::complete; });
        };
        for (int round = 0; round < 4 && !allComplete(); ++round) {
            vantor({"queue", "retry", "--failed"});
            vantor({"queue", "run"});
        }
        const AppState state = StateStore::load(support());
        Damage damage{{"jobs lost", long(jobs) - long(state.jobs.size())},
                      {"staging left", test::listTree(project()).filter(QStringLiteral(".vantor-")).size()},
                      {"neighbours changed", test::readFile(project() + QStringLiteral("/new/nested/ONE.BIN")) != "theirs"},
                      {"jobs incomplete", 0}, {"copies differing", 0}, {"outputs unplayable", 0}};
        for (const MediaJob &job : state.jobs) {
            damage["jobs incomplete"] += job.status != JobStatus::complete;
            damage["copies differing"] += job.copyDestination && test::readFile(*job.copyDestination) != test::readFile(job.source);
            damage["outputs unplayable"] += job.outputDestination
                && test::runProgram(QStringLiteral("ffprobe"), {"-v", "error", *job.outputDestination}).exitCode != 0;
        }
        return damage;
    }

private:
    TempDir m_dir{test::memoryFolder()};
    QByteArray m_queued;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

long changedOriginals(const QMap<QString, QByteArray> &before, const QString &folder)
{
    const QMap<QString, QByteArray> now = fingerprint(folder);
    long changed = std::abs(now.size() - before.size());
    for (auto it = before.begin(); it != before.end(); ++it)
        changed += now.value(it.key()) != it.value();
    return changed;
}

// One workload whose every kill point is tried: the copies alone, and a copy + transcode alone,
// so the engine runs only where its own kill points are.
struct Sweep {
    const char *name;
    std::size_t jobs;
    std::function<void(const TempDir &card, Workload &run)> queue;
};

void PrintTo(const Sweep &sweep, std::ostream *out) { *out << sweep.name; }

class QueueCrashSweep : public ::testing::TestWithParam<Sweep> {};

} // namespace

TEST_P(QueueCrashSweep, KilledBeforeAndAfterEveryMutatingOperationLosesNothing)
{
    // A zero-byte, a one-byte file and one of two copy chunks (4 MiB) plus a byte, and a clip.
    TempDir card(test::memoryFolder());
    card.write(QStringLiteral("A001/zero.bin"), {});
    card.write(QStringLiteral("A001/one.bin"), "1");
    card.write(QStringLiteral("A001/CLIP/big.bin"), test::randomBytes((8 << 20) + 1, 7));
    test::makeClip(card.file(QStringLiteral("A001/CLIP/clip.mov")));
    const auto originals = fingerprint(card.path());
    const auto queueWorkload = [&](Workload &run) {
        run.reset();
        GetParam().queue(card, run);
    };

    long operations = 0;
    {
        Workload counting;
        queueWorkload(counting);
        const QString trace = card.file(QStringLiteral("trace"));
        ASSERT_EQ(counting.vantor({"queue", "run"}, {{"VANTOR_FAULT_TRACE", trace}}).exitCode, 0);
        operations = test::readFile(trace).count('\n');
        QFile::remove(trace);
        const Damage damage = counting.recover(GetParam().jobs);
        ASSERT_TRUE(intact(damage)) << describe(damage);
    }
    ASSERT_GT(operations, 10);
    std::fprintf(stderr, "[ figures  ] %s: N = %ld mutating operations\n", GetParam().name, operations);

    // Every crash point, before and after, shared out between two workers.
    std::atomic<long> next{0};
    std::atomic<bool> failed{false};
    std::atomic<long> lost{0}, unreadable{0};
    const auto worker = [&] {
        Workload run;
        queueWorkload(run);
        for (long i = next++; i < 2 * operations && !failed; i = next++) {
            const QString when = i % 2 ? QStringLiteral("VANTOR_FAULT_KILL_AFTER") : QStringLiteral("VANTOR_FAULT_KILL_BEFORE");
            SCOPED_TRACE(when.toStdString() + " = " + std::to_string(i / 2 + 1));
            run.reset();
            // Throttled progress saves depend on time, so a run may make fewer operations than
            // the counted one; a run that ends first must have ended before this point.
            const QString trace = run.support() + QStringLiteral(".trace");
            QFile::remove(trace);
            const int exitCode = run.vantor({"queue", "run"}, {{when, QString::number(i / 2 + 1)}, {"VANTOR_FAULT_TRACE", trace}}).exitCode;
            EXPECT_TRUE(exitCode == -1 || (exitCode == 0 && test::readFile(trace).count('\n') < i / 2 + 1))
                << "neither killed nor short of the point: exit " << exitCode;
            const bool readable = run.stateReadable();
            EXPECT_TRUE(readable) << "state unreadable after a kill";
            unreadable += !readable;
            const long missing = run.savesLost();
            EXPECT_EQ(missing, 0) << "saves lost";
            lost += missing;
            const Damage damage = run.recover(GetParam().jobs);
            EXPECT_TRUE(intact(damage)) << describe(damage);
            failed = failed || ::testing::Test::HasFailure();
        }
    };
    std::thread second(worker);
    worker();
    second.join();
    std::fprintf(stderr, "[ figures  ] %s: %ld kills, %ld state unreadable, %ld saves lost\n", GetParam().name,
                 2 * operations, unreadable.load(), lost.load());
    EXPECT_EQ(changedOriginals(originals, card.path()), 0);
}

INSTANTIATE_TEST_SUITE_P(Workloads, QueueCrashSweep, ::testing::Values(
    // Into new nested folders beside a name clash.
    Sweep{"Copies", 3, [](const TempDir &card, Workload &run) {
        run.add({"copy", "--root", run.project(), "--folder", "new/nested", card.file("A001/zero.bin"),
                 card.file("A001/one.bin"), card.file("A001/CLIP/big.bin")});
    }},
    Sweep{"CopyAndTranscode", 1, [](const TempDir &card, Workload &run) {
        run.add({"copy-transcode", "--root", run.project(), "--folder", "new/nested", "--output-folder", "proxies", "-p",
                 "Review File", card.file("A001/CLIP/clip.mov")});
    }}),
    [](const auto &info) { return std::string(info.param.name); });

// Long: runs under `make soak`, which reads the figures line.
TEST(QueueSoak, RandomKillsOfARunningQueueLoseNothing)
{
    // Thirty jobs: verified and unverified copies, copies + transcodes, transcodes.
    TempDir card(test::memoryFolder());
    for (int i = 0; i < 10; ++i)
        card.write(QStringLiteral("verified/file%1.bin").arg(i), test::randomBytes(1024 << (i % 8), quint32(i)));
    for (int i = 0; i < 8; ++i)
        card.write(QStringLiteral("plain/file%1.bin").arg(i), test::randomBytes(4096 * (i + 1), quint32(100 + i)));
    for (int i = 0; i < 6; ++i) {
        test::makeClip(card.makeDir(QStringLiteral("ingest")) + QStringLiteral("/clip%1.mov").arg(i));
        test::makeClip(card.makeDir(QStringLiteral("finish")) + QStringLiteral("/clip%1.mov").arg(i));
    }
    const auto originals = fingerprint(card.path());
    Workload run;
    run.reset();
    const QString out = run.project() + QStringLiteral("/deliveries");
    QDir().mkpath(out);
    run.add({"copy", "--root", run.project(), "--folder", "verified", card.file("verified")});
    run.add({"copy", "--no-verify", "--root", run.project(), "--folder", "plain", card.file("plain")});
    run.add({"copy-transcode", "--root", run.project(), "--folder", "ingest", "--output-folder", "proxies", "-p",
             "Review File", card.file("ingest")});
    run.add({"transcode", "-p", "Review File", "-o", out, card.file("finish")});

    QRandomGenerator random(20261122);
    const int kills = 50;
    long unreadable = 0, lost = 0;
    for (int kill = 0; kill < kills; ++kill) {
        const qsizetype logStart = run.logSize();
        QProcess runner;
        runner.setProcessEnvironment(run.environment());
        runner.start(test::vantorPath(), {"queue", "run"});
        ASSERT_TRUE(runner.waitForStarted());
        if (!runner.waitForFinished(int(random.bounded(30, 400)))) {
            ::kill(pid_t(runner.processId()), SIGKILL);
            runner.waitForFinished();
        }
        unreadable += !run.stateReadable();
        lost += run.savesLost(logStart);
        run.vantor({"queue", "retry", "--failed"});
    }
    const Damage damage = run.recover(30);
    const long changed = changedOriginals(originals, card.path());
    std::fprintf(stderr, "[ figures  ] queue soak: %d kills, %s, %ld state unreadable, %ld saves lost, %ld originals changed\n",
                 kills, describe(damage).c_str(), unreadable, lost, changed);
    EXPECT_EQ(lost, 0);
    EXPECT_TRUE(intact(damage)) << describe(damage);
    EXPECT_EQ(unreadable, 0);
    EXPECT_EQ(changed, 0);
}
