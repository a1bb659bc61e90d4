#include "base/FileIo.h"
#include "base/VantorError.h"
#include "state/StateRepository.h"
#include "state/StateStore.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QCoreApplication>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

using namespace vantor;
using namespace vantor::test;

namespace {

QString idText(const QUuid &id) { return id.toString(QUuid::WithoutBraces); }

// Every signal of the repository, in the order it came, as one line each.
class Recorder {
public:
    explicit Recorder(StateRepository &state)
    {
        QObject::connect(&state, &StateRepository::jobsInserted, [this](int first, int last) {
            events << QStringLiteral("inserted %1-%2").arg(first).arg(last);
        });
        QObject::connect(&state, &StateRepository::jobChanged, [this](const QUuid &id, JobChanges what) {
            events << QStringLiteral("changed %1 %2").arg(idText(id)).arg(what.toInt());
        });
        QObject::connect(&state, &StateRepository::jobsRemoved, [this](const QList<QUuid> &ids) {
            QStringList texts;
            for (const QUuid &id : ids)
                texts << idText(id);
            events << QStringLiteral("removed ") + texts.join(u',');
        });
        QObject::connect(&state, &StateRepository::jobMoved, [this](int from, int to) {
            events << QStringLiteral("moved %1>%2").arg(from).arg(to);
        });
        const std::vector<std::pair<void (StateRepository::*)(), QString>> plain{
            {&StateRepository::projectChanged, QStringLiteral("project")},
            {&StateRepository::templatesChanged, QStringLiteral("templates")},
            {&StateRepository::presetsChanged, QStringLiteral("presets")},
            {&StateRepository::watchesChanged, QStringLiteral("watches")},
            {&StateRepository::settingsChanged, QStringLiteral("settings")},
        };
        for (const auto &[signal, name] : plain)
            QObject::connect(&state, signal, [this, name = name] { events << name; });
    }
    QStringList events;
};

QString changed(const MediaJob &job, JobChanges what)
{
    return QStringLiteral("changed %1 %2").arg(idText(job.id)).arg(what.toInt());
}

class StateRepositoryTest : public testing::Test {
protected:
    StateRepositoryTest()
    {
        StateStore::save(fullState(), dir.path());
        open();
    }
    void open()
    {
        state.reset();
        state = std::make_unique<StateRepository>(dir.path());
    }
    const std::vector<MediaJob> &jobs() const { return state->jobs(); }

    TempDir dir;
    std::unique_ptr<StateRepository> state;
};

// Each operation: the signals it gives, what it changes, one save (none when nothing changed),
// a saved file that holds the change, and a reload that equals the state in memory.
TEST_F(StateRepositoryTest, EachOperationSignalsSavesAndReloadsAsItIs)
{
    struct Case {
        const char *name;
        // Performs the operation on the state and returns the signals it must give.
        std::function<QStringList(StateRepository &)> act;
        std::function<bool(const AppState &)> holds; // the change, read back
        std::size_t saves = 1;
    };
    const TranscodePreset preset = samplePreset(QStringLiteral("Added"));
    const ProjectContext project{QStringLiteral("Harbour"), QStringLiteral("ACME"), QStringLiteral("2026-09-29"),
                                 QStringLiteral("/projects/Harbour")};
    const auto job = [&](std::size_t row) { return jobs()[row]; };
    QList<QUuid> marked; // what an operation touched, for its check
    const std::vector<Case> cases{
        {"add jobs",
         [&](StateRepository &s) {
             MediaJob a = sampleJob(JobOperation::copy, JobStatus::waiting, 90);
             MediaJob b = sampleJob(JobOperation::transcode, JobStatus::waiting, 91);
             a.id = QUuid::createUuid();
             b.id = QUuid::createUuid();
             marked = {a.id, b.id};
             const int first = int(s.jobs().size());
             s.addJobs({a, b});
             return QStringList{QStringLiteral("inserted %1-%2").arg(first).arg(first + 1)};
         },
         [&](const AppState &after) {
             return after.jobs[after.jobs.size() - 2].id == marked[0] && after.jobs.back().id == marked[1];
         }},
        {"add no jobs", [](StateRepository &s) { s.addJobs({}); return QStringList(); }, nullptr, 0},
        {"progress",
         [&](StateRepository &s) {
             MediaJob j = job(0);
             j.progress = 0.5;
             j.elapsed = 3;
             EXPECT_EQ(s.updateJob(j), JobChanges(JobChange::progress));
             return QStringList{changed(j, JobChange::progress)};
         },
         [&](const AppState &after) { return after.jobs[0].progress == 0.5 && after.jobs[0].elapsed == 3; }},
        {"status and message",
         [&](StateRepository &s) {
             MediaJob j = job(1);
             j.status = j.status == JobStatus::failed ? JobStatus::cancelled : JobStatus::failed;
             j.error = QStringLiteral("The card was removed.");
             s.updateJob(j);
             return QStringList{changed(j, JobChange::status | JobChange::message)};
         },
         [&](const AppState &after) { return after.jobs[1].error == QStringLiteral("The card was removed."); }},
        {"publish record only",
         [&](StateRepository &s) {
             MediaJob j = job(2);
             j.copyPublish = PublishRecord{7, ChecksumAlgorithm::sha256, QStringLiteral("ab12")};
             s.updateJob(j);
             return QStringList{changed(j, JobChange::records)};
         },
         [&](const AppState &after) { return after.jobs[2].copyPublish.has_value(); }},
        {"unchanged job", [&](StateRepository &s) { s.updateJob(job(3)); return QStringList(); }, nullptr, 0},
        {"unknown job",
         [&](StateRepository &s) {
             MediaJob j = job(3);
             j.id = QUuid::createUuid();
             j.progress = 0.5;
             s.updateJob(j);
             return QStringList();
         },
         nullptr, 0},
        {"several jobs, one save",
         [&](StateRepository &s) {
             MediaJob a = job(0), b = job(4), same = job(5);
             a.progress = 0.125;
             b.error = QStringLiteral("Several at once.");
             s.updateJobs({a, same, b});
             return QStringList{changed(a, JobChange::progress), changed(b, JobChange::message)};
         },
         [&](const AppState &after) {
             return after.jobs[0].progress == 0.125 && after.jobs[4].error == QStringLiteral("Several at once.");
         }},
        {"remove",
         [&](StateRepository &s) {
             const QUuid a = job(1).id, b = job(3).id;
             marked = {a, b};
             s.removeJobs({b, a, QUuid::createUuid()});
             return QStringList{QStringLiteral("removed ") + idText(a) + u',' + idText(b)}; // in queue order
         },
         [&](const AppState &after) {
             return after.jobs.size() == fullState().jobs.size() - 2
                    && std::none_of(after.jobs.begin(), after.jobs.end(),
                                    [&](const MediaJob &j) { return marked.contains(j.id); });
         }},
        {"move down",
         [&](StateRepository &s) {
             const QUuid first = job(0).id;
             s.moveJob(0, 3);
             EXPECT_EQ(jobs()[3].id, first);
             return QStringList{QStringLiteral("moved 0>3")};
         },
         nullptr},
        {"move up",
         [&](StateRepository &s) {
             const QUuid fourth = job(4).id;
             s.moveJob(4, 1);
             EXPECT_EQ(jobs()[1].id, fourth);
             return QStringList{QStringLiteral("moved 4>1")};
         },
         nullptr},
        {"move out of range", [&](StateRepository &s) { s.moveJob(0, s.jobs().size()); return QStringList(); }, nullptr, 0},
        {"swap",
         [&](StateRepository &s) {
             std::vector<QUuid> order;
             for (const MediaJob &j : jobs())
                 order.push_back(j.id);
             std::swap(order[1], order[4]);
             s.swapJobs(4, 1);
             for (std::size_t i = 0; i < order.size(); ++i)
                 EXPECT_EQ(jobs()[i].id, order[i]) << i;
             return QStringList{QStringLiteral("moved 1>4"), QStringLiteral("moved 3>1")};
         },
         nullptr},
        {"project",
         [&](StateRepository &s) { s.setProject(project); return QStringList{QStringLiteral("project")}; },
         [&](const AppState &after) { return after.project == project && after.projectGrant == FileGrant(project.root); }},
        {"new template",
         [&](StateRepository &s) {
             s.putTemplate(ProjectTemplate{QUuid::createUuid(), QStringLiteral("New"), {QStringLiteral("A")}});
             return QStringList{QStringLiteral("templates")};
         },
         [&](const AppState &after) { return after.templates.back().name == QStringLiteral("New"); }},
        {"template replaced",
         [&](StateRepository &s) {
             ProjectTemplate edited = s.state().templates.front();
             edited.folders = {QStringLiteral("ONLY")};
             s.putTemplate(edited);
             return QStringList{QStringLiteral("templates")};
         },
         [&](const AppState &after) {
             return after.templates.size() == fullState().templates.size()
                    && after.templates.front().folders == QStringList{QStringLiteral("ONLY")};
         }},
        {"preset added",
         [&](StateRepository &s) { s.addPreset(preset); return QStringList{QStringLiteral("presets")}; },
         [&](const AppState &after) { return after.presets.back() == preset; }},
        {"preset removed",
         [&](StateRepository &s) {
             EXPECT_TRUE(s.removePreset(s.state().presets.front().id));
             EXPECT_FALSE(s.removePreset(QUuid::createUuid()));
             return QStringList{QStringLiteral("presets")};
         },
         [&](const AppState &after) { return after.presets.size() == fullState().presets.size() - 1; }},
        {"watch rule changed",
         [&](StateRepository &s) {
             WatchFolder rule = s.state().watches.back();
             rule.enabled = !rule.enabled;
             EXPECT_TRUE(s.updateWatch(rule));
             EXPECT_TRUE(s.updateWatch(rule)); // the same again: no signal, no save
             return QStringList{QStringLiteral("watches")};
         },
         [&](const AppState &after) { return after.watches.back().enabled != fullState().watches.back().enabled; }},
        {"watch rule added and removed",
         [&](StateRepository &s) {
             const WatchFolder rule = WatchFolder::make(FileGrant(QStringLiteral("/in")), FileGrant(QStringLiteral("/out")), preset);
             s.addWatch(rule);
             EXPECT_TRUE(s.removeWatch(s.state().watches.front().id));
             return QStringList{QStringLiteral("watches"), QStringLiteral("watches")};
         },
         [&](const AppState &after) { return after.watches.back().source == FileGrant(QStringLiteral("/in")); }, 2},
        {"settings",
         [&](StateRepository &s) {
             s.setEngine(QStringLiteral("/usr/local/bin/ffmpeg"));
             s.setEngine(QStringLiteral("/usr/local/bin/ffmpeg"));
             s.setTranscodeDestination(FileGrant(QStringLiteral("/exports")));
             return QStringList{QStringLiteral("settings"), QStringLiteral("settings")};
         },
         [&](const AppState &after) {
             return after.ffmpeg == QStringLiteral("/usr/local/bin/ffmpeg")
                    && after.transcodeDestination == FileGrant(QStringLiteral("/exports"));
         },
         2},
        {"settings unchanged",
         [](StateRepository &s) {
             s.setEngine(s.state().ffmpeg);
             s.setTranscodeDestination(*s.state().transcodeDestination);
             return QStringList();
         },
         nullptr, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        StateStore::save(fullState(), dir.path());
        open();
        Recorder recorder(*state);
        const std::size_t saves = state->savesRequested();
        const QStringList expected = c.act(*state);
        EXPECT_EQ(recorder.events, expected);
        EXPECT_EQ(state->savesRequested() - saves, c.saves);
        if (c.holds) {
            EXPECT_TRUE(c.holds(state->state()));
        }
        state->flushSaves();
        const QByteArray memory = StateStore::encode(state->state());
        EXPECT_EQ(StateStore::encode(StateStore::load(dir.path())), memory) << "the saved file holds the change";
        open();
        EXPECT_EQ(StateStore::encode(state->state()), memory) << "a reload equals the state";
    }
}

// Progress ticks save at most once a second of the injected clock; any other update at once.
TEST_F(StateRepositoryTest, ProgressSavesWhenDueOtherChangesAtOnce)
{
    double now = 50;
    state->setClock([&now] { return now; });
    MediaJob job = jobs().front();
    struct Step {
        double advance;
        StateRepository::Save when;
        std::size_t saves; // after the step, counted from the start
    };
    const std::vector<Step> steps{
        {0, StateRepository::Save::now, 1},     // a save now starts the second
        {0.5, StateRepository::Save::whenDue, 1},
        {0.4, StateRepository::Save::whenDue, 1},
        {0.2, StateRepository::Save::whenDue, 2}, // 1.1 s after the last save
        {0.1, StateRepository::Save::now, 3},
    };
    const std::size_t start = state->savesRequested();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        now += steps[i].advance;
        job.progress += 0.1;
        state->updateJob(job, steps[i].when);
        EXPECT_EQ(state->savesRequested() - start, steps[i].saves) << "step " << i;
        EXPECT_EQ(state->jobs().front().progress, job.progress) << "the state changes at once, step " << i;
    }
}

// The next job to run is the first waiting one in queue order, whatever moved, ended or went.
TEST_F(StateRepositoryTest, TheNextWaitingJobFollowsQueueOrder)
{
    const auto scanned = [&]() -> std::optional<std::size_t> {
        for (std::size_t i = 0; i < jobs().size(); ++i) {
            if (jobs()[i].status == JobStatus::waiting)
                return i;
        }
        return std::nullopt;
    };
    const auto withStatus = [&](std::size_t row, JobStatus status) {
        MediaJob job = jobs()[row];
        job.status = status;
        state->updateJob(job);
    };
    std::vector<MediaJob> added;
    for (int i = 0; i < 4; ++i) {
        added.push_back(sampleJob(JobOperation::copy, JobStatus::waiting, 60 + i));
        added.back().id = QUuid::createUuid();
    }
    const std::size_t first = jobs().size();
    const std::vector<std::pair<const char *, std::function<void()>>> steps{
        {"loaded", [] {}},
        {"added", [&] { state->addJobs(added); }},
        {"first ends", [&] { withStatus(*state->firstWaiting(), JobStatus::complete); }},
        {"last moves to the top", [&] { state->moveJob(jobs().size() - 1, 0); }},
        {"top moves down", [&] { state->moveJob(0, jobs().size() - 2); }},
        {"swapped", [&] { state->swapJobs(first + 1, first + 2); }},
        {"an ended job waits again", [&] { withStatus(0, JobStatus::waiting); }},
        {"it is removed", [&] { state->removeJobs({jobs()[0].id}); }},
        {"all end", [&] {
             while (const auto next = state->firstWaiting())
                 withStatus(*next, JobStatus::complete);
         }},
    };
    for (const auto &[name, act] : steps) {
        act();
        EXPECT_EQ(state->firstWaiting(), scanned()) << name;
    }
    EXPECT_EQ(state->firstWaiting(), std::nullopt);
}

// The caller that waits on a save (a publish) hears of its failure, and of nothing once it is on disk.
TEST_F(StateRepositoryTest, AWaitedSaveReportsItsOutcome)
{
    const auto outcome = [&](bool fail) {
        MediaJob job = jobs().front();
        job.outputPublish = PublishRecord{fail ? 2 : 1, ChecksumAlgorithm::md5, QStringLiteral("cd34")};
        std::optional<std::optional<QString>> heard;
        if (fail)
            FileIo::Faults::set({.failAt = 2, .error = ENOSPC});
        state->updateJobThen(job, [&heard](const std::optional<QString> &failure) { heard = failure; });
        state->flush();
        FileIo::Faults::clear();
        EXPECT_TRUE(heard.has_value());
        return heard.value_or(QStringLiteral("never called"));
    };
    EXPECT_EQ(outcome(false), std::nullopt);
    EXPECT_EQ(outcome(true), QStringLiteral("Queue could not be saved: No space left on device"));
    EXPECT_TRUE(state->saveFailedSinceClear());
    EXPECT_THROW(state->flushSaves(), VantorError);
    EXPECT_EQ(state->persistenceError(), QStringLiteral("Queue could not be saved: No space left on device"));
}

} // namespace
