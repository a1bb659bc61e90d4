#include "base/FileIo.h"
#include "base/VantorError.h"
#include "state/JournalCodec.h"
#include "state/StateJournal.h"
#include "state/StateRepository.h"
#include "state/StateStore.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

using namespace vantor;
using namespace vantor::test;

namespace {

const QString stateName = QString::fromLatin1(StateStore::fileName);
const QString journalName = QString::fromLatin1(StateStore::journalName);

std::optional<QByteArray> loaded(const QString &dir)
{
    try {
        return StateStore::encode(StateStore::load(dir));
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

// A repository that has made one save of each kind, each flushed, with the journal's length and
// the state as they stood after every save (the first: the compaction that starts the journal).
struct History {
    std::vector<qint64> ends;
    std::vector<QByteArray> states;
    QByteArray stateFile;
    QByteArray journal;
};

// A few records of each kind: every byte of its journal is tried, each with a load.
AppState smallState()
{
    const AppState full = fullState();
    AppState state;
    state.presets = {full.presets.front()};
    state.watches = {full.watches.front()};
    state.jobs.assign(full.jobs.begin(), full.jobs.begin() + 5);
    return state;
}

// The files are left as they were before the repository closed (which compacts).
History makeHistory(const TempDir &dir)
{
    StateStore::save(smallState(), dir.path());
    auto owner = std::make_unique<StateRepository>(dir.path());
    StateRepository &repository = *owner;
    History history;
    const auto saved = [&] {
        repository.flushSaves();
        history.ends.push_back(QFileInfo(dir.file(journalName)).size());
        history.states.push_back(StateStore::encode(repository.state()));
    };
    repository.save(); // no journal yet: the first save compacts
    saved();
    const QByteArray compacted = readFile(dir.file(stateName));
    const std::vector<std::function<void()>> saves{
        [&] {
            MediaJob job = repository.jobs()[0];
            job.progress = 0.25;
            repository.updateJob(job);
        },
        [&] {
            MediaJob added = sampleJob(JobOperation::copy, JobStatus::waiting, 70);
            added.id = QUuid::createUuid();
            repository.addJobs({added});
        },
        [&] { repository.removeJobs({repository.jobs()[1].id}); },
        [&] { repository.moveJob(0, 3); },
        [&] { repository.addPreset(samplePreset(QStringLiteral("Journal"))); },
        [&] { repository.setEngine(QStringLiteral("/opt/ffmpeg")); },
        [&] {
            repository.setProject({QStringLiteral("Dock"), QStringLiteral("ACME"), QStringLiteral("2026-11-24"),
                                   QStringLiteral("/projects/Dock")});
        },
        [&] { repository.removeWatch(repository.state().watches.front().id); },
        [&] {
            // A backup's outcome is a change of its own: the journal must carry it.
            MediaJob job = repository.jobs()[1];
            BackupCopy backup;
            backup.root = QStringLiteral("/mnt/backup");
            backup.grant = FileGrant(backup.root);
            backup.path = QStringLiteral("/mnt/backup/Dock/a.mov");
            backup.committed = true;
            backup.hash = QStringLiteral("abc123");
            job.backups = {backup};
            repository.updateJob(job);
        },
        [&] {
            std::vector<MediaJob> both{repository.jobs()[2], repository.jobs()[4]};
            both[0].error = QStringLiteral("Two at once.");
            both[1].progress = 0.75;
            repository.updateJobs(both);
        },
    };
    for (const auto &save : saves) {
        save();
        saved();
        EXPECT_EQ(readFile(dir.file(stateName)), compacted) << "an append leaves state.json as it is";
        EXPECT_EQ(loaded(dir.path()), history.states.back()) << "the journal replays to the state";
    }
    history.stateFile = readFile(dir.file(stateName));
    history.journal = readFile(dir.file(journalName));
    owner.reset();
    dir.write(stateName, history.stateFile);
    dir.write(journalName, history.journal);
    return history;
}

TEST(StateJournalTest, ACutLastFrameIsLeftOutAndAnyEarlierDamageRefusesTheState)
{
    TempDir source, copy;
    const History history = makeHistory(source);
    ASSERT_EQ(history.journal.size(), history.ends.back());
    copy.write(stateName, history.stateFile);

    // Every length from just past the fourth-last whole frame to the whole journal.
    long wrong = 0;
    const std::size_t frames = history.ends.size() - 1;
    for (qint64 length = history.ends[frames - 3] + 1; length <= history.ends.back(); ++length) {
        copy.write(journalName, history.journal.left(length));
        std::size_t whole = 0;
        while (whole + 1 < history.ends.size() && history.ends[whole + 1] <= length)
            ++whole;
        wrong += loaded(copy.path()) != history.states[whole];
    }
    // Every byte of the header and of every frame before the last, flipped in turn.
    long accepted = 0;
    for (qint64 at = 0; at < history.ends[frames - 1]; ++at) {
        QByteArray flipped = history.journal;
        flipped[at] = char(flipped[at] ^ 0x5a);
        copy.write(journalName, flipped);
        accepted += loaded(copy.path()).has_value();
    }
    std::fprintf(stderr, "[ figures  ] journal: %lld cut lengths wrongly loaded, %lld flipped bytes accepted\n",
                 static_cast<long long>(wrong), static_cast<long long>(accepted));
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(accepted, 0);

    // A damaged journal blocks every save and leaves both files as they were.
    QByteArray flipped = history.journal;
    flipped[history.ends[2] + 20] = 'X';
    copy.write(journalName, flipped);
    {
        StateRepository repository(copy.path());
        EXPECT_TRUE(repository.storageBlocked());
        EXPECT_TRUE(repository.persistenceError()->contains(QStringLiteral("Frame 2 of the state journal is damaged")))
            << repository.persistenceError()->toStdString();
        repository.setEngine(QStringLiteral("/elsewhere/ffmpeg"));
    }
    EXPECT_EQ(readFile(copy.file(stateName)), history.stateFile);
    EXPECT_EQ(readFile(copy.file(journalName)), flipped);
}

void smallStateWithFrames(const TempDir &dir, const History &)
{
    QByteArray journal = JournalCodec::header(StateStore::save(AppState{}, dir.path()).digest);
    for (int i = 0; i < 40; ++i) {
        StateChange change;
        change.parts = StateChange::settings;
        change.ffmpeg = QStringLiteral("/opt/ffmpeg-%1").arg(i);
        journal += JournalCodec::frame(change);
    }
    dir.write(journalName, journal);
}

// When a save appends and when it writes the whole state instead.
TEST(StateJournalTest, ASaveAppendsUnlessTheJournalIsMissingCutStaleOrFull)
{
    struct Case {
        const char *name;
        std::function<void(const TempDir &, const History &)> arrange; // after the history is on disk
        qint64 bound;
        bool compacts;
    };
    const std::vector<Case> cases{
        {"whole journal", [](const TempDir &, const History &) {}, StateJournal::defaultBound, false},
        {"no journal", [](const TempDir &dir, const History &) { QFile::remove(dir.file(journalName)); },
         StateJournal::defaultBound, true},
        {"cut last frame",
         [](const TempDir &dir, const History &h) { dir.write(journalName, h.journal.chopped(3)); },
         StateJournal::defaultBound, true},
        {"state.json replaced after the journal began",
         [](const TempDir &dir, const History &h) { StateStore::save(StateStore::decode(h.states.back()), dir.path()); },
         StateJournal::defaultBound, true},
        // The bound is the larger of the given one and state.json's size: a tiny state.json
        // followed by forty frames is past a bound of one byte, not of a mebibyte.
        {"past the bound", smallStateWithFrames, 1, true},
        {"within the bound", smallStateWithFrames, 1 << 20, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const History history = makeHistory(dir);
        c.arrange(dir, history);
        const QByteArray before = readFile(dir.file(journalName));
        StateJournal journal(dir.path(), StateStore::read(dir.path()), c.bound);
        StateChange change;
        change.parts = StateChange::settings;
        change.ffmpeg = QStringLiteral("/usr/bin/ffmpeg");
        journal.record(change);
        const QByteArray after = readFile(dir.file(journalName));
        if (c.compacts) {
            EXPECT_EQ(after.size(), JournalCodec::headerSize);
            EXPECT_EQ(StateStore::load(dir.path()).ffmpeg, change.ffmpeg);
        } else {
            EXPECT_TRUE(after.startsWith(before) && after.size() > before.size()) << "appended";
            EXPECT_EQ(StateStore::load(dir.path()).ffmpeg, change.ffmpeg);
        }
    }
}

// Child: opens a repository, then saves one job after another, each flushed and then reported
// on stdout as its number; compacts midway, and once more when it closes.
TEST(StateJournalCrashChild, SavesUntilDone)
{
    const QString dir = qEnvironmentVariable("VANTOR_TEST_CRASH_DIR");
    if (dir.isEmpty())
        GTEST_SKIP() << "runs only as the child of the crash tests";
    const bool forever = qEnvironmentVariableIsSet("VANTOR_TEST_FOREVER");
    auto repository = std::make_unique<StateRepository>(dir);
    FileIo::Faults::loadFromEnvironment();
    std::fputs("saving\n", stdout);
    std::fflush(stdout);
    for (std::size_t i = 0; forever || i < repository->jobs().size(); ++i) {
        MediaJob job = repository->jobs()[i % repository->jobs().size()];
        job.error = QString::number(i + 1);
        repository->updateJob(job);
        repository->flushSaves();
        std::printf("%zu\n", i + 1);
        std::fflush(stdout);
        if (i == 3)
            repository->compact();
    }
    repository.reset();
    std::fputs("closed\n", stdout);
    std::fflush(stdout);
}

constexpr std::size_t childJobs = 12;

// A child's run: how many saves it reported, how many the state holds, or -1 when unreadable.
struct Outcome {
    long reported = 0;
    long held = -1;
};

Outcome runChild(const QString &support, const QList<QPair<QString, QString>> &variables, int killAfterMs = -1)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VANTOR_TEST_CRASH_DIR"), support);
    for (const auto &[name, value] : variables)
        environment.insert(name, value);
    QProcess child;
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), {"--gtest_filter=StateJournalCrashChild.SavesUntilDone"});
    if (killAfterMs >= 0) {
        QByteArray seen;
        while (!seen.contains("saving") && child.waitForReadyRead(10000))
            seen += child.peek(1 << 20);
        QThread::msleep(killAfterMs);
        child.kill();
    }
    child.waitForFinished(30000);
    Outcome outcome;
    for (const QByteArray &line : child.readAllStandardOutput().split('\n'))
        outcome.reported = std::max(outcome.reported, line.toLong());
    try {
        // Save k writes "k" as the error of job (k - 1) mod n: the state after save `held` is
        // known exactly, and any other state is torn.
        const AppState state = StateStore::load(support);
        const AppState start = stateWithJobs(childJobs);
        long held = 0;
        for (const MediaJob &job : state.jobs)
            held = std::max(held, job.error.value_or(QString()).toLong());
        for (std::size_t j = 0; j < state.jobs.size(); ++j) {
            const long last = held - long((std::size_t(held) + childJobs - 1 - j) % childJobs);
            const std::optional<QString> expected = last > 0 ? QString::number(last) : start.jobs[j].error;
            if (state.jobs.size() != start.jobs.size() || state.jobs[j].error != expected)
                return outcome;
        }
        outcome.held = held;
    } catch (const std::exception &) {
    }
    return outcome;
}

TEST(StateJournalTest, KilledBeforeAndAfterEachFileOperationOfAppendsAndCompactionsLosesNoSave)
{
    TempDir dir(memoryFolder());
    const QString support = dir.file(QStringLiteral("support"));
    const auto reset = [&] {
        QDir(support).removeRecursively();
        StateStore::save(stateWithJobs(childJobs), support);
    };
    reset();
    const QString trace = dir.file(QStringLiteral("trace"));
    const Outcome whole = runChild(support, {{"VANTOR_FAULT_TRACE", trace}});
    ASSERT_EQ(whole.reported, 12);
    ASSERT_EQ(whole.held, 12);
    const long operations = readFile(trace).count('\n');
    ASSERT_GT(operations, 20);
    long torn = 0, lost = 0;
    for (long i = 0; i < 2 * operations; ++i) {
        reset();
        const QString when = i % 2 ? QStringLiteral("VANTOR_FAULT_KILL_AFTER") : QStringLiteral("VANTOR_FAULT_KILL_BEFORE");
        const Outcome outcome = runChild(support, {{when, QString::number(i / 2 + 1)}});
        torn += outcome.held < 0;
        lost += outcome.held >= 0 && outcome.held < outcome.reported;
        EXPECT_TRUE(outcome.held >= outcome.reported) << when.toStdString() << " = " << i / 2 + 1;
    }
    std::fprintf(stderr, "[ figures  ] journal kill points: %ld operations, %ld kills, %ld torn, %ld saves lost\n",
                 operations, 2 * operations, torn, lost);
}

// Long: runs under `make soak`, which reads the figures line.
TEST(StateJournalSoak, KillingSavesAtRandomMomentsLosesNoSave)
{
    TempDir dir(memoryFolder());
    const QString support = dir.file(QStringLiteral("support"));
    QRandomGenerator random(20261124);
    const int kills = 100;
    long torn = 0, lost = 0, saves = 0;
    for (int kill = 0; kill < kills; ++kill) {
        QDir(support).removeRecursively();
        StateStore::save(stateWithJobs(childJobs), support);
        const Outcome outcome = runChild(support, {{"VANTOR_TEST_FOREVER", "1"}}, int(random.bounded(0, 60)));
        torn += outcome.held < 0;
        lost += outcome.held >= 0 && outcome.held < outcome.reported;
        saves += outcome.reported;
    }
    std::fprintf(stderr, "[ figures  ] journal soak: %d kills, %ld saves reported, %ld torn, %ld saves lost\n", kills,
                 saves, torn, lost);
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(lost, 0);
}

} // namespace
