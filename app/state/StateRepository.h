#pragma once

#include "state/AppState.h"
#include "state/PersistenceQueue.h"
#include "state/QueueLock.h"
#include "state/ChangeTracker.h"

#include <QObject>
#include <QUuid>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace vantor {

class StateJournal;

// What an update changed in one job, so a view repaints only what it shows.
enum class JobChange : unsigned {
    progress = 1 << 0, // progress, phase progress, elapsed time
    status = 1 << 1,
    message = 1 << 2,  // the error text
    timing = 1 << 3,   // started, finished
    digests = 1 << 4,  // checksums and the committed copy
    paths = 1 << 5,    // source, destinations, staging names
    records = 1 << 6,  // publish records and everything else a view does not show
};
Q_DECLARE_FLAGS(JobChanges, JobChange)
Q_DECLARE_OPERATORS_FOR_FLAGS(JobChanges)

// The one owner of the application state, on the main thread. The state changes only through
// the operations below; each one signals what changed and saves through one serial persistence
// thread, in order and none dropped: each save hands that thread a copy of only what changed
// since the save before, for the journal. Takes the support folder's queue lock for its lifetime.
class StateRepository : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<double()>; // monotonic seconds
    using SaveDone = std::function<void(const std::optional<QString> &failure)>;
    enum class Save { now, whenDue }; // whenDue: at most one save a second (progress ticks)

    // Throws VantorError when another process holds the lock. A state file that cannot be read
    // leaves the fresh state in memory, blocks every save and is reported in persistenceError().
    explicit StateRepository(const QString &directory, QObject *parent = nullptr);
    // Waits for every save asked for, then writes the whole state to state.json so that the
    // next start, reports and older builds find it there with an empty journal.
    ~StateRepository() override;

    const AppState &state() const { return m_state; }
    const std::vector<MediaJob> &jobs() const { return m_state.jobs; }
    std::optional<std::size_t> indexOf(const QUuid &id) const;
    const MediaJob *job(const QUuid &id) const;
    // The first waiting job in queue order, found without walking the history.
    std::optional<std::size_t> firstWaiting() const;

    // ---- Jobs
    void addJobs(const std::vector<MediaJob> &jobs); // appended in order
    // Replaces the stored job with the same id; returns what differed (nothing: no signal, no save).
    JobChanges updateJob(const MediaJob &job, Save when = Save::now);
    // The same, then `saved` gets the save's failure or nothing once the change is on disk.
    void updateJobThen(const MediaJob &job, const SaveDone &saved);
    void updateJobs(const std::vector<MediaJob> &jobs); // one save for the lot
    void removeJobs(const std::vector<QUuid> &ids);
    void moveJob(std::size_t from, std::size_t to); // the job at `from` ends up at `to`
    void swapJobs(std::size_t a, std::size_t b); // as two moves, one save

    // ---- Other collections
    void setProject(const ProjectContext &project); // its folder becomes the project grant
    void putTemplate(const ProjectTemplate &projectTemplate); // replaces the one with its id, else appends
    void addPreset(const TranscodePreset &preset);
    bool removePreset(const QUuid &id);
    void addWatch(const WatchFolder &rule);
    bool updateWatch(const WatchFolder &rule); // false when no rule has its id
    bool removeWatch(const QUuid &id);
    void setTranscodeDestination(const FileGrant &folder);
    void setEngine(const QString &ffmpeg);

    // ---- Persistence
    void save();
    void saveThen(const SaveDone &done);
    void log(const QString &message); // one line of the operation log, in order with the saves
    void flush(); // returns once every save and log line asked for so far is on disk
    void compact(); // queues writing the whole state to state.json and starting the journal afresh
    // flush(), then throws VantorError ("Queue could not be saved: " + the reason) when any save failed.
    void flushSaves();
    // True once a save failed since the last call of clearSaveFailed().
    bool saveFailedSinceClear() const { return m_saveFailedSinceClear; }
    void clearSaveFailed() { m_saveFailedSinceClear = false; }

    QString directory() const { return m_directory; }
    std::optional<QString> persistenceError() const { return m_persistenceError; }
    bool storageBlocked() const { return m_storageBlocked; }
    std::size_t pendingWrites() const { return m_persistence.pending(); }
    std::size_t deepestBacklog() const { return m_persistence.deepestBacklog(); }
    std::size_t savesRequested() const { return m_savesRequested; }
    void setClock(Clock clock) { m_clock = std::move(clock); }

    // What differs between two versions of one job.
    static JobChanges changes(const MediaJob &before, const MediaJob &after);

Q_SIGNALS:
    void jobsInserted(int first, int last);
    void jobChanged(const QUuid &id, vantor::JobChanges what);
    void jobsRemoved(const QList<QUuid> &ids);
    void jobMoved(int from, int to);
    void projectChanged();
    void templatesChanged();
    void presetsChanged();
    void watchesChanged();
    void settingsChanged(); // the engine or the transcode destination
    void persistenceErrorChanged(const QString &message);

private:
    bool shift(std::size_t from, std::size_t to); // moves and signals; false when nothing moved
    void compactNow(); // on the persistence thread
    void reportFailure(const QString &message, bool save); // from the persistence thread
    void deliverFailures();

    QString m_directory;
    QueueLock m_lock;
    AppState m_state;
    ChangeTracker m_tracker;
    bool m_storageBlocked = false;
    std::optional<QString> m_persistenceError;
    std::size_t m_savesRequested = 0;
    double m_lastSave = -1e300; // the distant past: the first throttled save is never held back
    Clock m_clock;
    std::atomic<bool> m_saveFailedSinceClear = false;
    bool m_lastSaveFailed = false; // on the persistence thread only
    mutable std::mutex m_failuresMutex; // guards the two below, written on the persistence thread
    std::vector<QString> m_undelivered;
    std::optional<QString> m_saveFailure;
    std::unique_ptr<StateJournal> m_journal; // only the persistence thread touches it
    PersistenceQueue m_persistence; // last: stopped before anything it uses goes
};

} // namespace vantor
