#include "queue/QueueService.h"

#include "ingest/StagingFiles.h"
#include "base/VantorError.h"
#include "queue/JobTransitions.h"
#include "queue/JobWorker.h"
#include "queue/PowerPolicy.h"

#include <QTimer>
#include <chrono>
#include <future>

namespace vantor {

namespace {

const QString cancelledMessage = QStringLiteral("Cancelled. Original media was preserved.");

// How many state writes may wait before the next job is held back.
constexpr std::size_t maxPendingWrites = 4;

double monotonicSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

QueueService::QueueService(const QString &directory, JobPhases phases, QObject *parent)
    : QObject(parent), m_repository(directory), m_phases(std::move(phases)), m_clock(monotonicSeconds),
      m_power(new PowerPolicy(this)), m_worker(std::make_unique<JobWorker>())
{
    for (const MediaJob &job : m_repository.jobs()) {
        if (std::optional<MediaJob> recovered = JobTransitions::interrupted(job))
            m_recovered.push_back(*recovered);
    }
    // Nothing runs while this process holds the lock: what the killed run staged is waste.
    for (const MediaJob &job : m_recovered)
        removeStaging(job);
    m_repository.updateJobs(m_recovered);
    if (m_recovered.empty())
        save(); // the first launch writes the built-in entries
    connect(&m_repository, &StateRepository::persistenceErrorChanged, this, &QueueService::persistenceErrorChanged);
    connect(m_power, &PowerPolicy::sleeping, this, [this] { handleSystemSleep(); });
    connect(m_power, &PowerPolicy::woke, this, [this] { handleSystemWake(); });
}

QueueService::~QueueService()
{
    if (m_control)
        m_control->cancel();
    m_worker.reset(); // joins the worker once its job has unwound
}

void QueueService::setClock(Clock clock)
{
    m_clock = clock;
    m_repository.setClock(std::move(clock));
}

std::vector<MediaJob> QueueService::recoverInterrupted(AppState &state)
{
    std::vector<MediaJob> recovered;
    for (MediaJob &job : state.jobs) {
        if (std::optional<MediaJob> changed = JobTransitions::interrupted(job)) {
            job = *changed;
            recovered.push_back(job);
        }
    }
    return recovered;
}

void QueueService::setRunning(bool running)
{
    if (m_running != running) {
        m_running = running;
        Q_EMIT runningChanged(running);
    }
}

void QueueService::setPaused(bool paused)
{
    if (m_paused != paused) {
        m_paused = paused;
        Q_EMIT pausedChanged(paused);
    }
}

void QueueService::enqueue(const std::vector<MediaJob> &jobs)
{
    if (storageBlocked())
        throw VantorError(QStringLiteral("Resolve the saved-state error before adding jobs."));
    JobTransitions::checkDestinations(m_repository.jobs(), jobs);
    m_repository.addJobs(jobs);
    log(QStringLiteral("QUEUED %1 files").arg(jobs.size()));
}

void QueueService::start()
{
    m_repository.clearSaveFailed(); // the user asks again: the disk may take saves now
    if (m_running || storageBlocked())
        return;
    setRunning(true);
    setPaused(false);
    m_power->holdActivity();
    scheduleNext();
}

void QueueService::scheduleNext()
{
    if (m_loopScheduled)
        return;
    m_loopScheduled = true;
    // Through the event loop, so a long queue never deepens the stack.
    QMetaObject::invokeMethod(this, [this] {
        m_loopScheduled = false;
        process();
    }, Qt::QueuedConnection);
}

void QueueService::process()
{
    if (!m_running || m_activeID)
        return;
    const std::optional<std::size_t> next = m_repository.firstWaiting();
    if (!next) {
        endLoop();
        return;
    }
    if (m_repository.saveFailedSinceClear()) {
        // Work the state cannot record would only be lost: stop until the disk takes saves again.
        endLoop();
        return;
    }
    if (m_paused) {
        // Paused with nothing running: look again shortly, as a resume may come at any time.
        QTimer::singleShot(200, this, [this] { process(); });
        return;
    }
    if (m_repository.pendingWrites() > maxPendingWrites) {
        // Every save is written in full and none is dropped, so a disk slower than the jobs
        // must slow the jobs: otherwise the waiting snapshots would grow without bound.
        QTimer::singleShot(5, this, [this] { process(); });
        return;
    }
    startJob(*next);
}

void QueueService::startJob(std::size_t position)
{
    MediaJob job = m_repository.jobs()[position];
    job.started = Timestamp::now();
    job.finished.reset();
    m_repository.updateJob(job, StateRepository::Save::whenDue);
    const QUuid id = job.id;
    const double start = m_clock();
    m_activeID = id;
    m_control = std::make_shared<JobControl>();
    log(QStringLiteral("START ") + uuidText(id) + QLatin1Char(' ') + job.source + QStringLiteral(" \u2192 ")
        + job.destination());

    std::shared_ptr<JobControl> control = m_control;
    const QString engine = state().ffmpeg;
    JobPhases phases = m_phases;
    m_worker->run([this, job, control, engine, phases, id, start] {
        JobPhaseCallbacks callbacks;
        callbacks.progress = [this, id, start](JobStatus phase, double value) {
            QMetaObject::invokeMethod(this, [this, id, phase, value, start] { progress(id, phase, value, start); },
                                      Qt::QueuedConnection);
        };
        callbacks.copyCommitted = [this, id](const JobPhaseResult &digests) {
            QMetaObject::invokeMethod(this, [this, id, digests] {
                commitCopy(id, digests.sourceHash, digests.destinationHash);
            }, Qt::QueuedConnection);
        };
        const auto savePublish = [this, id, control](const std::function<void(MediaJob &)> &change) {
            // Waits until the record is on disk; a cancel or the queue's end stops the wait.
            auto saved = std::make_shared<std::promise<std::optional<QString>>>();
            std::future<std::optional<QString>> done = saved->get_future();
            QMetaObject::invokeMethod(this, [this, id, change, saved] {
                recordPublish(id, change, [saved](const std::optional<QString> &failure) { saved->set_value(failure); });
            }, Qt::QueuedConnection);
            while (done.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
                control->checkpoint();
            // A publish the state does not know of could never be adopted again: nothing is
            // published unless its record is on disk.
            if (const std::optional<QString> failure = done.get())
                throw VantorError(*failure);
        };
        callbacks.beforePublish = [savePublish](const PublishRecord &record, bool output) {
            savePublish([record, output](MediaJob &job) { (output ? job.outputPublish : job.copyPublish) = record; });
        };
        callbacks.beforeBackupPublish = [savePublish](std::size_t backup, const PublishRecord &record) {
            savePublish([backup, record](MediaJob &job) {
                if (backup < job.backups.size())
                    job.backups[backup].publish = record;
            });
        };
        callbacks.backupChanged = [this, id](std::size_t backup, const BackupCopy &outcome) {
            QMetaObject::invokeMethod(this, [this, id, backup, outcome] { changeBackup(id, backup, outcome); },
                                      Qt::QueuedConnection);
        };
        try {
            const JobPhaseResult result = phases(job, *control, engine, callbacks);
            QMetaObject::invokeMethod(this, [this, id, start, result] { finishJob(id, start, &result, {}, false); },
                                      Qt::QueuedConnection);
        } catch (const CancellationError &) {
            QMetaObject::invokeMethod(this, [this, id, start] { finishJob(id, start, nullptr, cancelledMessage, true); },
                                      Qt::QueuedConnection);
        } catch (const std::exception &error) {
            const QString message = errorText(error);
            QMetaObject::invokeMethod(this, [this, id, start, message] { finishJob(id, start, nullptr, message, false); },
                                      Qt::QueuedConnection);
        }
    });
}

void QueueService::progress(const QUuid &id, JobStatus phase, double value, double start)
{
    const MediaJob *stored = m_repository.job(id);
    // A late report never revives a finished job.
    if (!stored || stored->status.final())
        return;
    MediaJob job = *stored;
    job.reportPhaseProgress(phase, value);
    job.status = m_paused ? JobStatus::paused : phase;
    job.elapsed = m_clock() - start;
    m_repository.updateJob(job, StateRepository::Save::whenDue);
}

void QueueService::commitCopy(const QUuid &id, const std::optional<QString> &sourceHash,
                              const std::optional<QString> &destinationHash)
{
    const MediaJob *stored = m_repository.job(id);
    if (!stored)
        return;
    MediaJob job = *stored;
    job.copyCommitted = true;
    job.sourceHash = sourceHash;
    job.destinationHash = destinationHash;
    if (!m_repository.updateJob(job))
        save();
}

void QueueService::recordPublish(const QUuid &id, const std::function<void(MediaJob &)> &change, const SaveDone &saved)
{
    const MediaJob *stored = m_repository.job(id);
    if (!stored) {
        saved(QStringLiteral("The job was removed from the queue before its result was published."));
        return;
    }
    MediaJob job = *stored;
    change(job);
    m_repository.updateJobThen(job, saved);
}

void QueueService::changeBackup(const QUuid &id, std::size_t backup, const BackupCopy &outcome)
{
    const MediaJob *stored = m_repository.job(id);
    if (!stored || backup >= stored->backups.size())
        return;
    MediaJob job = *stored;
    BackupCopy &copy = job.backups[backup];
    // The outcome only: the publish record saved meanwhile stays.
    copy.committed = outcome.committed;
    copy.hash = outcome.hash;
    copy.error = outcome.error;
    if (!m_repository.updateJob(job))
        save();
}

void QueueService::removeStaging(const MediaJob &job)
{
    for (const QString &path : StagingFiles::removeForJob(job))
        log(QStringLiteral("REMOVED staging file ") + path);
}

void QueueService::finishJob(const QUuid &id, double start, const JobPhaseResult *result, const QString &error,
                             bool cancelled)
{
    bool saved = false;
    if (const MediaJob *stored = m_repository.job(id)) {
        if (result)
            log(QStringLiteral("COMPLETE ") + uuidText(id) + QStringLiteral(" checksum=")
                + result->sourceHash.value_or(QStringLiteral("not requested")));
        else
            log((cancelled ? QStringLiteral("CANCELLED ") : QStringLiteral("FAILED ")) + uuidText(id)
                + QLatin1Char(' ') + error);
        saved = bool(m_repository.updateJob(JobTransitions::finished(*stored, result, error, cancelled,
                                                                     m_clock() - start)));
    }
    m_activeID.reset();
    m_control.reset();
    if (!saved)
        save(); // even when the job went: the loop's end must reach the disk
    scheduleNext();
}

void QueueService::endLoop()
{
    setRunning(false);
    setPaused(false);
    m_activeID.reset();
    m_control.reset();
    save();
    m_power->releaseActivity();
    Q_EMIT idle();
}

void QueueService::pause()
{
    setPaused(true);
    if (m_control)
        m_control->pause();
    if (const MediaJob *active = m_activeID ? m_repository.job(*m_activeID) : nullptr) {
        MediaJob job = *active;
        job.status = JobStatus::paused;
        if (m_repository.updateJob(job))
            return;
    }
    save();
}

void QueueService::resume()
{
    setPaused(false);
    if (m_control)
        m_control->resume();
    if (!m_running)
        start();
}

void QueueService::cancel(const QUuid &id)
{
    if (m_activeID == id && m_control) {
        m_control->cancel();
        return;
    }
    const MediaJob *stored = m_repository.job(id);
    if (!stored || stored->status == JobStatus::complete)
        return;
    MediaJob job = *stored;
    job.status = JobStatus::cancelled;
    removeStaging(job);
    if (!m_repository.updateJob(job))
        save();
}

void QueueService::cancelAll()
{
    if (m_control)
        m_control->cancel();
    std::vector<MediaJob> cancelled;
    for (const MediaJob &job : m_repository.jobs()) {
        if (job.status == JobStatus::waiting) {
            cancelled.push_back(job);
            cancelled.back().status = JobStatus::cancelled;
            removeStaging(job);
        }
    }
    m_repository.updateJobs(cancelled);
    if (cancelled.empty())
        save();
}

void QueueService::retry(const QUuid &id)
{
    const MediaJob *stored = m_repository.job(id);
    if (!stored || (stored->status != JobStatus::failed && stored->status != JobStatus::cancelled))
        return;
    m_repository.updateJobs({retried(*stored)});
}

MediaJob QueueService::retried(const MediaJob &job)
{
    removeStaging(job);
    return JobTransitions::retried(job);
}

void QueueService::retryFailed()
{
    std::vector<MediaJob> again;
    for (const MediaJob &job : m_repository.jobs()) {
        if (job.status == JobStatus::failed)
            again.push_back(retried(job));
    }
    m_repository.updateJobs(again);
    if (again.empty())
        save();
}

int QueueService::runDeferredBackups(const QList<QUuid> &ids)
{
    std::vector<MediaJob> due;
    for (const QUuid &id : ids) {
        const MediaJob *stored = m_repository.job(id);
        if (!stored || !stored->status.final() || !stored->copyCommitted || !stored->checksum || !stored->sourceHash
            || stored->destinationHash != stored->sourceHash)
            continue;
        MediaJob job = *stored;
        bool deferred = false;
        for (BackupCopy &backup : job.backups) {
            deferred = deferred || backup.deferred;
            backup.deferred = false;
        }
        if (deferred)
            due.push_back(retried(job));
    }
    m_repository.updateJobs(due);
    if (!due.empty())
        start();
    return int(due.size());
}

void QueueService::moveWaiting(const QUuid &id, int by)
{
    const std::vector<MediaJob> &jobs = m_repository.jobs();
    std::vector<std::size_t> waiting;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (jobs[i].status == JobStatus::waiting)
            waiting.push_back(i);
    }
    const auto found = std::find_if(waiting.begin(), waiting.end(),
                                    [&](std::size_t position) { return jobs[position].id == id; });
    if (found == waiting.end())
        return;
    const long target = long(found - waiting.begin()) + by;
    if (target < 0 || target >= long(waiting.size()))
        return;
    m_repository.swapJobs(*found, waiting[std::size_t(target)]);
}

void QueueService::remove(const QUuid &id)
{
    if (m_activeID == id)
        return;
    const MediaJob *stored = m_repository.job(id);
    if (!stored)
        return;
    removeStaging(*stored);
    m_repository.removeJobs({id});
}

void QueueService::removeCompleted()
{
    std::vector<QUuid> finished;
    for (const MediaJob &job : m_repository.jobs()) {
        if (job.status.final()) {
            removeStaging(job);
            finished.push_back(job.id);
        }
    }
    m_repository.removeJobs(finished);
    if (finished.empty())
        save();
}

void QueueService::prepareToQuit()
{
    if (m_control)
        m_control->cancel();
    save();
    flush();
}

void QueueService::handleSystemSleep()
{
    if (!m_running || m_paused)
        return;
    m_pausedForSleep = true;
    pause();
    log(QStringLiteral("PAUSED for system sleep"));
}

void QueueService::handleSystemWake()
{
    if (!m_pausedForSleep)
        return;
    // Drives attached before sleep may be gone: work goes on only when the user resumes it.
    m_pausedForSleep = false;
    log(QStringLiteral("System awake; queue remains paused until resumed"));
}

} // namespace vantor
