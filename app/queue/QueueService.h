#pragma once

#include "state/AppState.h"
#include "base/JobControl.h"
#include "queue/JobPhases.h"
#include "queue/PersistenceQueue.h"
#include "queue/QueueLock.h"

#include <QObject>
#include <atomic>
#include <QUuid>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace vantor {

class JobWorker;
class PowerPolicy;

// The one durable queue. Lives on the main thread and owns the live state; each job's file and
// engine work runs on one background worker, and every save and log line goes through one
// serial persistence thread in request order.
class QueueService : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<double()>; // monotonic seconds

    // Takes the support folder's queue lock (throws VantorError when another process holds it),
    // loads and restores the state, and listens for system sleep and wake.
    explicit QueueService(const QString &directory, JobPhases phases = runJobPhases, QObject *parent = nullptr);
    ~QueueService() override;

    // The recovery at launch: every job left copying, verifying, transcoding or paused becomes
    // failed with the interruption message. Returns the jobs it changed, in queue order.
    static std::vector<MediaJob> recoverInterrupted(AppState &state);
    // The jobs this queue's own launch recovered.
    const std::vector<MediaJob> &recoveredAtLaunch() const { return m_recovered; }

    const AppState &state() const { return m_state; }
    AppState &mutableState() { return m_state; } // callers that change it call save()
    bool running() const { return m_running; }
    bool paused() const { return m_paused; }
    std::optional<QString> persistenceError() const { return m_persistenceError; }
    bool storageBlocked() const { return m_storageBlocked; }
    std::optional<QUuid> activeID() const { return m_activeID; }
    QString directory() const { return m_directory; }
    PowerPolicy &power() { return *m_power; }

    void enqueue(const std::vector<MediaJob> &jobs); // throws VantorError; nothing added then
    void start();
    void pause();
    void resume(); // unpause, resume the running job, restart the loop if it ended
    void cancel(const QUuid &id);
    void cancelAll();
    void retry(const QUuid &id);
    void retryFailed();
    void moveWaiting(const QUuid &id, int by);
    void remove(const QUuid &id);
    void removeCompleted();

    void save();
    void log(const QString &message);
    void flush(); // returns once every save and log line asked for so far is on disk
    // On the main thread: flush(), then throws a VantorError ("Queue could not be saved: " + the
    // reason) when any save of this service failed. persistenceError() holds every failure by then.
    void flushSaves();
    void prepareToQuit(); // cancel the running job, save, flush

    void handleSystemSleep();
    void handleSystemWake();

    void setClock(Clock clock) { m_clock = std::move(clock); }
    std::size_t deepestPersistenceBacklog() const { return m_persistence.deepestBacklog(); }
    std::size_t savesRequested() const { return m_savesRequested; }

Q_SIGNALS:
    void jobsChanged();
    void runningChanged(bool running);
    void pausedChanged(bool paused);
    void persistenceErrorChanged(const QString &message);
    void idle(); // the run loop ended: no waiting job is left

private:
    std::optional<std::size_t> index(const QUuid &id) const;
    void setRunning(bool running);
    void setPaused(bool paused);
    void setPersistenceError(const QString &message);
    void reportFailure(const QString &message, bool save); // from the persistence thread
    void deliverFailures();
    void scheduleNext();
    void process();
    void startJob(std::size_t position);
    void progress(const QUuid &id, JobStatus phase, double value, double start);
    void commitCopy(const QUuid &id, const std::optional<QString> &sourceHash,
                    const std::optional<QString> &destinationHash);
    // `saved` gets the save's failure, or nothing once the record is on disk.
    using SaveDone = std::function<void(const std::optional<QString> &failure)>;
    void recordPublish(const QUuid &id, const PublishRecord &record, bool output, const SaveDone &saved);
    void saveThen(const SaveDone &done);
    void removeStaging(const MediaJob &job);
    void finishJob(const QUuid &id, double start, const JobPhaseResult *result, const QString &error,
                   bool cancelled);
    void endLoop();

    QString m_directory;
    JobPhases m_phases;
    QueueLock m_lock;
    std::vector<MediaJob> m_recovered;
    AppState m_state;
    bool m_running = false;
    bool m_paused = false;
    std::optional<QString> m_persistenceError;
    std::shared_ptr<JobControl> m_control;
    std::optional<QUuid> m_activeID;
    bool m_storageBlocked = false;
    bool m_pausedForSleep = false;
    bool m_loopScheduled = false;
    double m_lastSave;
    std::size_t m_savesRequested = 0;
    std::atomic<bool> m_saveFailedSinceStart = false; // holds the run loop until start() again
    mutable std::mutex m_failuresMutex; // guards the two below, written on the persistence thread
    std::vector<QString> m_undelivered;
    std::optional<QString> m_saveFailure;
    Clock m_clock;
    PersistenceQueue m_persistence;
    PowerPolicy *m_power;
    std::unique_ptr<JobWorker> m_worker;
};

} // namespace vantor
