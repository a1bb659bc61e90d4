#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"
#include "model/StateStore.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <atomic>
#include <csignal>
#include <thread>
#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// The sources of a workload: made once, shared by every run, and checked to stay untouched.
struct Card {
    TempDir dir{test::memoryFolder()};
    QString path;

    Card()
    {
        path = dir.makeDir(QStringLiteral("A001"));
        dir.write(QStringLiteral("A001/zero.bin"), {});
        dir.write(QStringLiteral("A001/one.bin"), "1");
        QByteArray big(64 << 20, Qt::Uninitialized);
        QRandomGenerator(7).fillRange(reinterpret_cast<quint32 *>(big.data()), big.size() / 4);
        dir.write(QStringLiteral("A001/CLIP/big.bin"), big);
        test::makeClip(dir.file(QStringLiteral("A001/CLIP/clip.mov")));
    }

    // Content, size and time of every original.
    QMap<QString, QByteArray> fingerprint() const
    {
        QMap<QString, QByteArray> result;
        QDirIterator it(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString file = it.next();
            const QFileInfo info(file);
            result.insert(file, QCryptographicHash::hash(test::readFile(file), QCryptographicHash::Md5)
                                    + QByteArray::number(info.size()) + u' '
                                    + QByteArray::number(info.lastModified().toMSecsSinceEpoch()));
        }
        return result;
    }
};

// One place where the crash workload is queued, killed and recovered, again and again. It
// lives in memory: a kill tests the process, not the disk, and fsync there costs nothing.
class Workload {
public:
    explicit Workload(const Card &card) : m_card(card)
    {
        m_environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), support());
        reset();
        const QString cardPath = m_card.path;
        EXPECT_EQ(vantor({"queue", "add", "copy", "--root", project(), "--folder", "new/nested", cardPath + "/zero.bin",
                          cardPath + "/one.bin", cardPath + "/CLIP/big.bin"})
                      .exitCode,
                  0);
        const auto added = vantor({"queue", "add", "copy-transcode", "--root", project(), "--folder", "new/nested",
                                   "--output-folder", "proxies", "-p", "Review File", cardPath + "/CLIP/clip.mov"});
        EXPECT_EQ(added.exitCode, 0) << added.errText().toStdString();
        m_queued = test::readFile(support() + QStringLiteral("/state.json"));
    }

    QString project() const { return m_dir.file(QStringLiteral("project")); }
    QString support() const { return m_dir.file(QStringLiteral("support")); }

    // Back to the freshly queued workload: empty project but for a neighbour whose name
    // differs from a copy's only in case (it must survive), and the queued state.
    void reset()
    {
        QDir(project()).removeRecursively();
        QDir(support()).removeRecursively();
        m_dir.write(QStringLiteral("project/new/nested/ONE.BIN"), "theirs");
        if (!m_queued.isEmpty())
            m_dir.write(QStringLiteral("support/state.json"), m_queued);
    }

    test::ProcessResult vantor(const QStringList &arguments, const QProcessEnvironment &extra = {})
    {
        QProcessEnvironment environment = m_environment;
        for (const QString &key : extra.keys())
            environment.insert(key, extra.value(key));
        return test::runVantor(arguments, environment);
    }

    // Retries until every job is complete; false when that does not happen in a few rounds.
    bool recover()
    {
        for (int round = 0; round < 4; ++round) {
            vantor({"queue", "retry", "--failed"});
            vantor({"queue", "run"});
            const AppState state = StateStore::load(support());
            if (std::all_of(state.jobs.begin(), state.jobs.end(),
                            [](const MediaJob &job) { return job.status == JobStatus::complete; }))
                return true;
        }
        return false;
    }

    // Every copy equals its source, every output probes, nothing is left half-made, the
    // neighbour with the clashing name is intact.
    void expectSound()
    {
        const AppState state = StateStore::load(support());
        ASSERT_EQ(state.jobs.size(), 4u);
        for (const MediaJob &job : state.jobs) {
            EXPECT_EQ(job.status, JobStatus::complete) << job.source.toStdString();
            if (job.copyDestination) {
                EXPECT_EQ(test::readFile(*job.copyDestination), test::readFile(job.source)) << job.source.toStdString();
            }
            if (job.outputDestination) {
                const auto probe = test::runProgram(QStringLiteral("ffprobe"), {"-v", "error", *job.outputDestination});
                EXPECT_EQ(probe.exitCode, 0) << job.outputDestination->toStdString();
            }
        }
        EXPECT_TRUE(test::listTree(project()).filter(QStringLiteral(".vantor-")).isEmpty())
            << test::listTree(project()).join(u' ').toStdString();
        EXPECT_EQ(test::readFile(project() + QStringLiteral("/new/nested/ONE.BIN")), QByteArray("theirs"));
    }

private:
    const Card &m_card;
    TempDir m_dir{test::memoryFolder()};
    QByteArray m_queued;
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

QProcessEnvironment variables(std::initializer_list<std::pair<const char *, QString>> pairs)
{
    QProcessEnvironment environment;
    for (const auto &[name, value] : pairs)
        environment.insert(QLatin1String(name), value);
    return environment;
}

} // namespace

TEST(QueueCrashTest, KilledBeforeAndAfterEveryMutatingOperationLosesNothing)
{
    Card card;
    const auto originals = card.fingerprint();
    long operations = 0;
    {
        Workload counting(card);
        TempDir traceDir;
        const QString trace = traceDir.file(QStringLiteral("trace"));
        ASSERT_EQ(counting.vantor({"queue", "run"}, variables({{"VANTOR_FAULT_TRACE", trace}})).exitCode, 0);
        operations = test::readFile(trace).count('\n');
        counting.expectSound();
    }
    ASSERT_GT(operations, 20);
    RecordProperty("mutating_operations", int(operations));
    std::fprintf(stderr, "[ figures  ] queue run of the crash workload: N = %ld mutating operations\n", operations);

    // Every crash point, before and after, shared out between two workers.
    std::vector<std::pair<long, const char *>> points;
    for (long point = 1; point <= operations; ++point) {
        points.emplace_back(point, "VANTOR_FAULT_KILL_BEFORE");
        points.emplace_back(point, "VANTOR_FAULT_KILL_AFTER");
    }
    std::atomic<std::size_t> next{0};
    std::atomic<int> failedPoints{0};
    const auto worker = [&] {
        Workload run(card);
        for (std::size_t i = next++; i < points.size() && failedPoints == 0; i = next++) {
            const auto &[point, when] = points[i];
            SCOPED_TRACE(std::string(when) + " = " + std::to_string(point));
            run.reset();
            const auto killed = run.vantor({"queue", "run"}, variables({{when, QString::number(point)}}));
            EXPECT_EQ(killed.exitCode, -1) << "the process should have been killed";
            EXPECT_NO_THROW(StateStore::load(run.support())) << "state.json unreadable after a kill";
            EXPECT_TRUE(run.recover());
            run.expectSound();
            if (::testing::Test::HasFailure())
                ++failedPoints;
        }
    };
    std::thread second(worker);
    worker();
    second.join();
    EXPECT_EQ(card.fingerprint(), originals) << "an original changed";
}

TEST(QueueCrashTest, RandomKillsOfARunningQueueLoseNothing)
{
    TempDir sources;
    for (int i = 0; i < 10; ++i)
        sources.write(QStringLiteral("verified/file%1.bin").arg(i), test::randomBytes(1024 << (i % 8), quint32(i)));
    for (int i = 0; i < 8; ++i)
        sources.write(QStringLiteral("plain/file%1.bin").arg(i), test::randomBytes(4096 * (i + 1), quint32(100 + i)));
    for (int i = 0; i < 6; ++i) {
        test::makeClip(sources.makeDir(QStringLiteral("ingest")) + QStringLiteral("/clip%1.mov").arg(i));
        test::makeClip(sources.makeDir(QStringLiteral("finish")) + QStringLiteral("/clip%1.mov").arg(i));
    }
    const QString root = sources.makeDir(QStringLiteral("project"));
    const QString out = sources.makeDir(QStringLiteral("deliveries"));
    TempDir supportDir;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), supportDir.path());
    const auto vantor = [&](const QStringList &arguments) { return test::runVantor(arguments, environment); };
    const auto snapshot = [&] {
        QMap<QString, QByteArray> result;
        for (const QString &folder : {QStringLiteral("verified"), QStringLiteral("plain"), QStringLiteral("ingest"),
                                      QStringLiteral("finish")}) {
            for (const QString &name : QDir(sources.file(folder)).entryList(QDir::Files))
                result.insert(folder + u'/' + name, QCryptographicHash::hash(test::readFile(sources.file(folder + u'/' + name)),
                                                                             QCryptographicHash::Sha256));
        }
        return result;
    };
    const auto originals = snapshot();

    ASSERT_EQ(vantor({"queue", "add", "copy", "--root", root, "--folder", "verified", sources.file("verified")}).exitCode, 0);
    ASSERT_EQ(vantor({"queue", "add", "copy", "--no-verify", "--root", root, "--folder", "plain", sources.file("plain")}).exitCode, 0);
    ASSERT_EQ(vantor({"queue", "add", "copy-transcode", "--root", root, "--folder", "ingest", "--output-folder", "proxies",
                      "-p", "Review File", sources.file("ingest")}).exitCode, 0);
    ASSERT_EQ(vantor({"queue", "add", "transcode", "-p", "Review File", "-o", out, sources.file("finish")}).exitCode, 0);

    QRandomGenerator random(20261122);
    int unreadable = 0;
    for (int kill = 0; kill < 50; ++kill) {
        QProcess runner;
        runner.setProcessEnvironment(environment);
        runner.start(test::vantorPath(), {"queue", "run"});
        ASSERT_TRUE(runner.waitForStarted());
        runner.waitForFinished(int(random.bounded(30, 400)));
        if (runner.state() != QProcess::NotRunning) {
            ::kill(pid_t(runner.processId()), SIGKILL);
            runner.waitForFinished();
        }
        try {
            StateStore::load(supportDir.path());
        } catch (const std::exception &) {
            ++unreadable;
        }
        vantor({"queue", "retry", "--failed"});
    }
    for (int round = 0; round < 4; ++round) {
        vantor({"queue", "run"});
        vantor({"queue", "retry", "--failed"});
    }

    const AppState state = StateStore::load(supportDir.path());
    EXPECT_EQ(unreadable, 0);
    ASSERT_EQ(state.jobs.size(), 30u) << "jobs lost";
    int differing = 0;
    for (const MediaJob &job : state.jobs) {
        EXPECT_EQ(job.status, JobStatus::complete) << job.source.toStdString() << ": " << job.error.value_or(QString()).toStdString();
        if (job.copyDestination && test::readFile(*job.copyDestination) != test::readFile(job.source))
            ++differing;
        if (job.outputDestination
            && test::runProgram(QStringLiteral("ffprobe"), {"-v", "error", *job.outputDestination}).exitCode != 0)
            ++differing;
    }
    EXPECT_EQ(differing, 0);
    const QStringList leftovers = test::listTree(root).filter(QStringLiteral(".vantor-")) + test::listTree(out).filter(QStringLiteral(".vantor-"));
    EXPECT_TRUE(leftovers.isEmpty()) << leftovers.join(u' ').toStdString();
    EXPECT_EQ(snapshot(), originals) << "an original changed";
    std::fprintf(stderr, "[ figures  ] 50 random kills: jobs lost %d, differing %d, leftovers %lld, unreadable %d\n",
                 int(30 - state.jobs.size()), differing, leftovers.size(), unreadable);
}
