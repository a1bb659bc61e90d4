#pragma once

#include "base/JobControl.h"
#include "queue/JobPhases.h"
#include "state/StateRepository.h"

#include <QObject>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>

namespace vantor {

class JobWorker;
class PowerPolicy;

// The one durable queue: its rules and its run loop. Lives on the main thread; the state lives in
// its StateRepository, which saves every change in order. Each job's file and engine work runs
// on one background worker.
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

    const AppState &state() const { return m_repository.state(); }
    StateRepository &repository() { return m_repository; }
    bool running() const { return m_running; }
    bool paused() const { return m_paused; }
    std::optional<QString> persistenceError() const { return m_repository.persistenceError(); }
    bool storageBlocked() const { return m_repository.storageBlocked(); }
    std::optional<QUuid> activeID() const { return m_activeID; }
    QString directory() const { return m_repository.directory(); }
    PowerPolicy &power() { return *m_power; }

    void enqueue(const std::vector<MediaJob> &jobs); // throws VantorError; nothing added then
    void start();
    void pause();
    void resume(); // unpause, resume the running job, restart the loop if it ended
    void cancel(const QUuid &id);
    void cancelAll();
    void retry(const QUuid &id);
    void retryFailed();
    // A cascade's second step, once the card of `ids` has its verdict on the project copies:
    // the jobs whose project copy is verified owe their deferred backups now and wait again,
    // to copy them from that copy; the queue starts when any does. Returns how many.
    int runDeferredBackups(const QList<QUuid> &ids);
    void moveWaiting(const QUuid &id, int by);
    void remove(const QUuid &id);
    void removeCompleted();

    // The repository's persistence, here for the many callers that hold the queue.
    void save() { m_repository.save(); }
    void log(const QString &message) { m_repository.log(message); }
    void flush() { m_repository.flush(); }
    void flushSaves() { m_repository.flushSaves(); }
    void prepareToQuit(); // cancel the running job, save, flush

    void handleSystemSleep();
    void handleSystemWake();

    void setClock(Clock clock);
    std::size_t deepestPersistenceBacklog() const { return m_repository.deepestBacklog(); }
    std::size_t savesRequested() const { return m_repository.savesRequested(); }

Q_SIGNALS:
    void runningChanged(bool running);
    void pausedChanged(bool paused);
    void persistenceErrorChanged(const QString &message);
    void idle(); // the run loop ended: no waiting job is left

private:
    void setRunning(bool running);
    void setPaused(bool paused);
    void scheduleNext();
    void process();
    void startJob(std::size_t position);
    void progress(const QUuid &id, JobStatus phase, double value, double start);
    void commitCopy(const QUuid &id, const std::optional<QString> &sourceHash,
                    const std::optional<QString> &destinationHash);
    using SaveDone = StateRepository::SaveDone;
    // Applies `change` to the job and calls `saved` once it is on disk (with why not, on failure).
    void recordPublish(const QUuid &id, const std::function<void(MediaJob &)> &change, const SaveDone &saved);
    void changeBackup(const QUuid &id, std::size_t backup, const BackupCopy &outcome);
    void removeStaging(const MediaJob &job);
    MediaJob retried(const MediaJob &job); // removes its staging files
    void finishJob(const QUuid &id, double start, const JobPhaseResult *result, const QString &error,
                   bool cancelled);
    void endLoop();

    StateRepository m_repository;
    JobPhases m_phases;
    std::vector<MediaJob> m_recovered;
    bool m_running = false;
    bool m_paused = false;
    std::shared_ptr<JobControl> m_control;
    std::optional<QUuid> m_activeID;
    bool m_pausedForSleep = false;
    bool m_loopScheduled = false;
    Clock m_clock;
    PowerPolicy *m_power;
    std::unique_ptr<JobWorker> m_worker;
};

} // namespace vantor
