// Whoever ends a job's life removes that job's own staging files, and nothing else.
#include "TempDir.h"
#include "ingest/StagingFiles.h"
#include "state/StateStore.h"
#include "queue/QueueService.h"

#include <QFileInfo>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

struct Ending {
    const char *name;
    JobStatus savedAs; // the job's status in the state file the queue starts from
    std::function<void(QueueService &, const QUuid &)> act; // none: the launch itself
    JobStatus otherAs = JobStatus::complete; // another job, which the ending leaves alone
};

TEST(StagingCleanup, CancelRemoveRetryAndLaunchRemoveOnlyTheJobsOwnStaging)
{
    const Ending endings[] = {
        {"cancel", JobStatus::waiting, [](QueueService &queue, const QUuid &id) { queue.cancel(id); }},
        {"cancel all", JobStatus::waiting, [](QueueService &queue, const QUuid &) { queue.cancelAll(); }},
        {"remove", JobStatus::failed, [](QueueService &queue, const QUuid &id) { queue.remove(id); }},
        {"remove finished", JobStatus::cancelled, [](QueueService &queue, const QUuid &) { queue.removeCompleted(); },
         JobStatus::waiting},
        {"retry", JobStatus::failed, [](QueueService &queue, const QUuid &id) { queue.retry(id); }},
        {"retry failed", JobStatus::failed, [](QueueService &queue, const QUuid &) { queue.retryFailed(); }},
        {"launch after a kill", JobStatus::copying, {}},
    };
    for (const Ending &ending : endings) {
        SCOPED_TRACE(ending.name);
        const test::TempDir dir;
        const QString project = dir.makeDir(QStringLiteral("project"));
        const auto make = [&](const QString &name) {
            return MediaJob::make(dir.file(QStringLiteral("card/") + name), FileGrant(dir.file(QStringLiteral("card"))),
                                  project, FileGrant(project), project + QStringLiteral("/day1/") + name,
                                  project + QStringLiteral("/proxies/") + name, JobOperation::copyAndTranscode,
                                  std::nullopt, std::nullopt, 1, Timestamp{});
        };
        MediaJob ended = make(QStringLiteral("a.mov"));
        ended.status = ending.savedAs;
        MediaJob other = make(QStringLiteral("b.mov"));
        other.status = ending.otherAs;
        const QStringList own = {dir.write(QStringLiteral("project/day1/") + StagingFiles::copyName(ended.id), "partial"),
                                 dir.write(QStringLiteral("project/proxies/") + StagingFiles::encodeName(ended.id), "partial")};
        const QStringList kept = {
            dir.write(QStringLiteral("project/day1/") + StagingFiles::copyName(other.id), "theirs"),
            dir.write(QStringLiteral("project/day1/.vantor-notes"), "not a staging name"),
            dir.write(QStringLiteral("project/day1/a.mov.txt"), "a user's file"),
            dir.write(QStringLiteral("project/elsewhere/") + StagingFiles::copyName(ended.id), "not the job's folder")};
        AppState state = AppState::fresh();
        state.jobs = {ended, other};
        StateStore::save(state, dir.file(QStringLiteral("support")));

        QueueService queue(dir.file(QStringLiteral("support")), [](const MediaJob &, JobControl &, const QString &,
                                                                   const JobPhaseCallbacks &) { return JobPhaseResult{}; });
        if (ending.act)
            ending.act(queue, ended.id);
        queue.flush();
        for (const QString &path : own)
            EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
        for (const QString &path : kept)
            EXPECT_TRUE(QFileInfo::exists(path)) << path.toStdString();
    }
}

} // namespace
