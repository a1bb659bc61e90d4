#include "queue/QueueService.h"

#include "AppInfo.h"
#include "ingest/StagingFiles.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/JobWorker.h"
#include "queue/OperationLog.h"
#include "queue/PowerPolicy.h"

#include <QFileInfo>
#include <QSet>
#include <QTimer>
#include <chrono>
#include <future>

namespace vantor {

namespace {

const QString cancelledMessage = QStringLiteral("Cancelled. Original media was preserved.");
const QString interruptedMessage = QStringLiteral(
    "Interrupted by application shutdown. Retry to restart the unfinished phase. Original media is preserved.");

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
    : QObject(parent), m_directory(directory), m_phases(std::move(phases)),
      m_lastSave(-1e300), // the distant past: the first throttled save is never held back
      m_clock(monotonicSeconds), m_persistence(AppInfo::persistenceLabel()), m_power(new PowerPolicy(this)),
      m_worker(std::make_unique<JobWorker>())
{
    m_lock = QueueLock::acquire(directory);
    try {
        m_state = StateStore::load(directory);
    } catch (const std::exception &error) {
        m_state = AppState::fresh();
        m_storageBlocked = true;
        m_persistenceError = QStringLiteral("Saved state could not be read. The original state.json has been preserved. ")
                             + errorText(error);
    }
    m_recovered = recoverInterrupted(m_state);
    // Nothing runs while this process holds the lock: what the killed run staged is waste.
    for (const MediaJob &job : m_recovered)
        removeStaging(job);
    if (!m_storageBlocked)
        save();
    connect(m_power, &PowerPolicy::sleeping, this, [this] { handleSystemSleep(); });
    connect(m_power, &PowerPolicy::woke, this, [this] { handleSystemWake(); });
}

QueueService::~QueueService()
{
    if (m_control)
        m_control->cancel();
    m_worker.reset(); // joins the worker once its job has unwound
    m_persistence.flush();
}

std::vector<MediaJob> QueueService::recoverInterrupted(AppState &state)
{
    std::vector<MediaJob> recovered;
    for (MediaJob &job : state.jobs) {
        if (job.status.active() || job.status == JobStatus::paused) {
            job.status = JobStatus::failed;
            job.error = interruptedMessage;
            recovered.push_back(job);
        }
    }
    return recovered;
}

std::optional<std::size_t> QueueService::index(const QUuid &id) const
{
    for (std::size_t i = 0; i < m_state.jobs.size(); ++i) {
        if (m_state.jobs[i].id == id)
            return i;
    }
    return std::nullopt;
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

void QueueService::setPersistenceError(const QString &message)
{
    m_persistenceError = message;
    Q_EMIT persistenceErrorChanged(message);
}

void QueueService::enqueue(const std::vector<MediaJob> &jobs)
{
    if (m_storageBlocked)
        throw VantorError(QStringLiteral("Resolve the saved-state error before adding jobs."));
    // Destinations are claimed case-insensitively: two names that differ only in case are one
    // file on the card file systems editors deliver to.
    QSet<QString> reserved;
    for (const MediaJob &job : m_state.jobs) {
        if (job.status == JobStatus::cancelled)
            continue;
        for (const auto &path : {job.copyDestination, job.outputDestination}) {
            if (path)
                reserved.insert(path->toLower());
        }
    }
    for (const MediaJob &job : jobs) {
        for (const auto &path : {job.copyDestination, job.outputDestination}) {
            if (!path)
                continue;
            const QString key = path->toLower();
            if (reserved.contains(key) || QFileInfo(*path).exists() || QFileInfo(*path).isSymLink())
                throw VantorError(QStringLiteral("Destination collision: ") + *path
                                  + QStringLiteral(". Change the output pattern or folder."));
            reserved.insert(key);
        }
    }
    m_state.jobs.insert(m_state.jobs.end(), jobs.begin(), jobs.end());
    Q_EMIT jobsChanged();
    save();
    log(QStringLiteral("QUEUED %1 files").arg(jobs.size()));
}

void QueueService::start()
{
    m_saveFailedSinceStart = false; // the user asks again: the disk may take saves now
    if (m_running || m_storageBlocked)
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
    std::optional<std::size_t> next;
    for (std::size_t i = 0; i < m_state.jobs.size(); ++i) {
        if (m_state.jobs[i].status == JobStatus::waiting) {
            next = i;
            break;
        }
    }
    if (!next) {
        endLoop();
        return;
    }
    if (m_saveFailedSinceStart) {
        // Work the state cannot record would only be lost: stop until the disk takes saves again.
        endLoop();
        return;
    }
    if (m_paused) {
        // Paused with nothing running: look again shortly, as a resume may come at any time.
        QTimer::singleShot(200, this, [this] { process(); });
        return;
    }
    if (m_persistence.pending() > maxPendingWrites) {
        // Every save is written in full and none is dropped, so a disk slower than the jobs
        // must slow the jobs: otherwise the waiting snapshots would grow without bound.
        QTimer::singleShot(5, this, [this] { process(); });
        return;
    }
    startJob(*next);
}

void QueueService::startJob(std::size_t position)
{
    m_state.jobs[position].started = Timestamp::now();
    m_state.jobs[position].finished.reset();
    const MediaJob job = m_state.jobs[position];
    const QUuid id = job.id;
    const double start = m_clock();
    m_activeID = id;
    m_control = std::make_shared<JobControl>();
    log(QStringLiteral("START ") + uuidText(id) + QLatin1Char(' ') + job.source + QStringLiteral(" \u2192 ")
        + job.destination());

    std::shared_ptr<JobControl> control = m_control;
    const QString engine = m_state.ffmpeg;
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
        callbacks.beforePublish = [this, id, control](const PublishRecord &record, bool output) {
            // Waits until the record is on disk; a cancel or the queue's end stops the wait.
            auto saved = std::make_shared<std::promise<std::optional<QString>>>();
            std::future<std::optional<QString>> done = saved->get_future();
            QMetaObject::invokeMethod(this, [this, id, record, output, saved] {
                recordPublish(id, record, output, [saved](const std::optional<QString> &failure) { saved->set_value(failure); });
            }, Qt::QueuedConnection);
            while (done.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
                control->checkpoint();
            // A publish the state does not know of could never be adopted again: nothing is
            // published unless its record is on disk.
            if (const std::optional<QString> failure = done.get())
                throw VantorError(*failure);
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
    const auto position = index(id);
    if (!position)
        return;
    MediaJob &job = m_state.jobs[*position];
    // A late report never revives a finished job.
    if (job.status.final())
        return;
    job.reportPhaseProgress(phase, value);
    job.status = m_paused ? JobStatus::paused : phase;
    job.elapsed = m_clock() - start;
    Q_EMIT jobsChanged();
    if (m_clock() - m_lastSave > 1.0)
        save();
}

void QueueService::commitCopy(const QUuid &id, const std::optional<QString> &sourceHash,
                              const std::optional<QString> &destinationHash)
{
    const auto position = index(id);
    if (!position)
        return;
    MediaJob &job = m_state.jobs[*position];
    job.copyCommitted = true;
    job.sourceHash = sourceHash;
    job.destinationHash = destinationHash;
    Q_EMIT jobsChanged();
    save();
}

void QueueService::recordPublish(const QUuid &id, const PublishRecord &record, bool output, const SaveDone &saved)
{
    const auto position = index(id);
    if (!position) {
        saved(QStringLiteral("The job was removed from the queue before its result was published."));
        return;
    }
    MediaJob &job = m_state.jobs[*position];
    (output ? job.outputPublish : job.copyPublish) = record;
    saveThen(saved);
}

void QueueService::removeStaging(const MediaJob &job)
{
    for (const QString &path : StagingFiles::removeForJob(job))
        log(QStringLiteral("REMOVED staging file ") + path);
}

void QueueService::finishJob(const QUuid &id, double start, const JobPhaseResult *result, const QString &error,
                             bool cancelled)
{
    const auto position = index(id);
    if (position) {
        MediaJob &job = m_state.jobs[*position];
        job.finished = Timestamp::now();
        if (result) {
            job.status = JobStatus::complete;
            job.progress = 1.0;
            job.phaseProgress = 1.0;
            job.elapsed = m_clock() - start;
            job.sourceHash = result->sourceHash;
            job.destinationHash = result->destinationHash;
            job.error.reset();
            log(QStringLiteral("COMPLETE ") + uuidText(id) + QStringLiteral(" checksum=")
                + result->sourceHash.value_or(QStringLiteral("not requested")));
        } else {
            job.status = cancelled ? JobStatus::cancelled : JobStatus::failed;
            job.error = error;
            log((cancelled ? QStringLiteral("CANCELLED ") : QStringLiteral("FAILED ")) + uuidText(id)
                + QLatin1Char(' ') + error);
        }
    }
    m_activeID.reset();
    m_control.reset();
    Q_EMIT jobsChanged();
    save();
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
    if (m_activeID) {
        if (const auto position = index(*m_activeID)) {
            m_state.jobs[*position].status = JobStatus::paused;
            Q_EMIT jobsChanged();
        }
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
    const auto position = index(id);
    if (!position || m_state.jobs[*position].status == JobStatus::complete)
        return;
    m_state.jobs[*position].status = JobStatus::cancelled;
    removeStaging(m_state.jobs[*position]);
    Q_EMIT jobsChanged();
    save();
}

void QueueService::cancelAll()
{
    if (m_control)
        m_control->cancel();
    for (MediaJob &job : m_state.jobs) {
        if (job.status == JobStatus::waiting) {
            job.status = JobStatus::cancelled;
            removeStaging(job);
        }
    }
    Q_EMIT jobsChanged();
    save();
}

void QueueService::retry(const QUuid &id)
{
    const auto position = index(id);
    if (!position)
        return;
    MediaJob &job = m_state.jobs[*position];
    if (job.status != JobStatus::failed && job.status != JobStatus::cancelled)
        return;
    // Digests and copyCommitted stay: a committed copy is re-checked, not copied again.
    removeStaging(job);
    job.status = JobStatus::waiting;
    job.error.reset();
    job.progress = 0;
    job.elapsed = 0;
    Q_EMIT jobsChanged();
    save();
}

void QueueService::retryFailed()
{
    for (MediaJob &job : m_state.jobs) {
        if (job.status == JobStatus::failed) {
            removeStaging(job);
            job.status = JobStatus::waiting;
            job.error.reset();
            job.progress = 0;
            job.elapsed = 0;
        }
    }
    Q_EMIT jobsChanged();
    save();
}

void QueueService::moveWaiting(const QUuid &id, int by)
{
    std::vector<std::size_t> waiting;
    for (std::size_t i = 0; i < m_state.jobs.size(); ++i) {
        if (m_state.jobs[i].status == JobStatus::waiting)
            waiting.push_back(i);
    }
    const auto found = std::find_if(waiting.begin(), waiting.end(),
                                    [&](std::size_t position) { return m_state.jobs[position].id == id; });
    if (found == waiting.end())
        return;
    const long target = long(found - waiting.begin()) + by;
    if (target < 0 || target >= long(waiting.size()))
        return;
    std::swap(m_state.jobs[*found], m_state.jobs[waiting[std::size_t(target)]]);
    Q_EMIT jobsChanged();
    save();
}

void QueueService::remove(const QUuid &id)
{
    if (m_activeID == id)
        return;
    const auto position = index(id);
    if (!position)
        return;
    removeStaging(m_state.jobs[*position]);
    m_state.jobs.erase(m_state.jobs.begin() + long(*position));
    Q_EMIT jobsChanged();
    save();
}

void QueueService::removeCompleted()
{
    std::erase_if(m_state.jobs, [this](const MediaJob &job) {
        if (job.status.final())
            removeStaging(job);
        return job.status.final();
    });
    Q_EMIT jobsChanged();
    save();
}

void QueueService::save()
{
    saveThen({});
}

void QueueService::saveThen(const SaveDone &done)
{
    if (m_storageBlocked) {
        if (done)
            done(m_persistenceError.value_or(QStringLiteral("Queue could not be saved.")));
        return;
    }
    m_lastSave = m_clock();
    ++m_savesRequested;
    m_persistence.post([this, snapshot = m_state, directory = m_directory, done] {
        std::optional<QString> failure;
        try {
            // Never over a state another process may have written since.
            m_lock.confirm();
            StateStore::save(snapshot, directory);
        } catch (const std::exception &error) {
            failure = QStringLiteral("Queue could not be saved: ") + errorText(error);
            m_saveFailedSinceStart = true;
            reportFailure(*failure, true);
        }
        if (done)
            done(failure);
    });
}


void QueueService::log(const QString &message)
{
    m_persistence.post([this, line = OperationLog::line(message), directory = m_directory] {
        try {
            OperationLog::append(directory, line);
        } catch (const std::exception &error) {
            reportFailure(QStringLiteral("Operation log could not be written: ") + errorText(error), false);
        }
    });
}

void QueueService::flush()
{
    m_persistence.flush();
}

void QueueService::reportFailure(const QString &message, bool save)
{
    {
        std::lock_guard lock(m_failuresMutex);
        m_undelivered.push_back(message);
        if (save && !m_saveFailure)
            m_saveFailure = message;
    }
    QMetaObject::invokeMethod(this, [this] { deliverFailures(); }, Qt::QueuedConnection);
}

void QueueService::deliverFailures()
{
    std::vector<QString> messages;
    {
        std::lock_guard lock(m_failuresMutex);
        messages.swap(m_undelivered);
    }
    for (const QString &message : messages)
        setPersistenceError(message);
}

void QueueService::flushSaves()
{
    flush();
    deliverFailures(); // at once, not only when the event loop turns next
    std::lock_guard lock(m_failuresMutex);
    if (m_saveFailure)
        throw VantorError(*m_saveFailure);
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
