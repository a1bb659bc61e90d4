#include "queue/JobTransitions.h"

#include "base/VantorError.h"

#include <QFileInfo>
#include <QSet>
#include <QStringList>

namespace vantor::JobTransitions {

namespace {

QStringList targets(const MediaJob &job)
{
    QStringList paths;
    for (const auto &path : {job.copyDestination, job.outputDestination}) {
        if (path)
            paths << *path;
    }
    for (const BackupCopy &backup : job.backups)
        paths << backup.path;
    return paths;
}

} // namespace

std::optional<MediaJob> interrupted(const MediaJob &job)
{
    if (!job.status.active() && job.status != JobStatus::paused)
        return std::nullopt;
    MediaJob recovered = job;
    recovered.status = JobStatus::failed;
    recovered.error = QStringLiteral("Interrupted by application shutdown. Retry to restart the unfinished phase. "
                                     "Original media is preserved.");
    return recovered;
}

MediaJob retried(const MediaJob &job)
{
    MediaJob again = job;
    again.status = JobStatus::waiting;
    again.error.reset();
    again.progress = 0;
    again.elapsed = 0;
    return again;
}

MediaJob finished(const MediaJob &job, const JobPhaseResult *result, const QString &error, bool cancelled,
                  double elapsed)
{
    MediaJob done = job;
    done.finished = Timestamp::now();
    if (result) {
        done.status = JobStatus::complete;
        done.progress = 1.0;
        done.phaseProgress = 1.0;
        done.elapsed = elapsed;
        done.sourceHash = result->sourceHash;
        done.destinationHash = result->destinationHash;
        done.error.reset();
    } else {
        done.status = cancelled ? JobStatus::cancelled : JobStatus::failed;
        done.error = error;
    }
    return done;
}

void checkDestinations(const std::vector<MediaJob> &queued, const std::vector<MediaJob> &added)
{
    QSet<QString> reserved;
    for (const MediaJob &job : queued) {
        if (job.status == JobStatus::cancelled)
            continue;
        for (const QString &path : targets(job))
            reserved.insert(path.toLower());
    }
    for (const MediaJob &job : added) {
        for (const QString &path : targets(job)) {
            const QString key = path.toLower();
            if (reserved.contains(key) || QFileInfo(path).exists() || QFileInfo(path).isSymLink())
                throw VantorError(QStringLiteral("Destination collision: ") + path
                                  + QStringLiteral(". Change the output pattern or folder."));
            reserved.insert(key);
        }
    }
}

} // namespace vantor::JobTransitions
