#include "state/StateRepository.h"

#include "AppInfo.h"
#include "base/VantorError.h"
#include "state/OperationLog.h"
#include "state/StateJournal.h"
#include "state/StateStore.h"

#include <QSet>

#include <chrono>

namespace vantor {

namespace {

double monotonicSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

template <typename Record> auto findID(std::vector<Record> &records, const QUuid &id)
{
    return std::find_if(records.begin(), records.end(), [&](const Record &record) { return record.id == id; });
}

template <typename Record> bool eraseID(std::vector<Record> &records, const QUuid &id)
{
    return std::erase_if(records, [&](const Record &record) { return record.id == id; }) > 0;
}

} // namespace

StateRepository::StateRepository(const QString &directory, QObject *parent)
    : QObject(parent), m_directory(directory), m_clock(monotonicSeconds), m_persistence(AppInfo::persistenceLabel())
{
    m_lock = QueueLock::acquire(directory);
    try {
        StateStore::Loaded loaded = StateStore::read(directory);
        m_state = loaded.state;
        m_journal = std::make_unique<StateJournal>(directory, std::move(loaded));
    } catch (const std::exception &error) {
        m_state = AppState::fresh();
        m_storageBlocked = true;
        m_persistenceError = QStringLiteral("Saved state could not be read. The original state.json has been preserved. ")
                             + errorText(error);
    }
    m_tracker.reset(m_state.jobs);
}

StateRepository::~StateRepository()
{
    if (!m_storageBlocked) {
        m_persistence.post([this] {
            // A close after a failed save is not a clean stop: the change the user was told was
            // not saved stays unsaved, and the journal still holds every save that succeeded.
            if (m_lastSaveFailed)
                return;
            try {
                compactNow();
            } catch (const std::exception &) {
                // No one is left to tell, and nothing is lost: the journal still holds every save.
            }
        });
    }
    m_persistence.flush();
}

void StateRepository::compactNow()
{
    if (!m_journal->hasFrames())
        return;
    m_lock.confirm();
    m_journal->compact();
}

void StateRepository::compact()
{
    if (m_storageBlocked)
        return;
    m_persistence.post([this] {
        try {
            compactNow();
        } catch (const std::exception &error) {
            // Every save is still on disk: in the old state.json with its journal, or in the new one.
            m_saveFailedSinceClear = true;
            reportFailure(QStringLiteral("Queue could not be saved: ") + errorText(error), true);
        }
    });
}

std::optional<std::size_t> StateRepository::indexOf(const QUuid &id) const
{
    return m_tracker.indexOf(id);
}

std::optional<std::size_t> StateRepository::firstWaiting() const
{
    return m_tracker.firstWaiting();
}

const MediaJob *StateRepository::job(const QUuid &id) const
{
    const auto position = indexOf(id);
    return position ? &m_state.jobs[*position] : nullptr;
}

JobChanges StateRepository::changes(const MediaJob &a, const MediaJob &b)
{
    JobChanges what;
    if (a.progress != b.progress || a.phaseProgress != b.phaseProgress || a.elapsed != b.elapsed)
        what |= JobChange::progress;
    if (a.status != b.status)
        what |= JobChange::status;
    if (a.error != b.error)
        what |= JobChange::message;
    if (a.started != b.started || a.finished != b.finished)
        what |= JobChange::timing;
    if (a.sourceHash != b.sourceHash || a.destinationHash != b.destinationHash || a.copyCommitted != b.copyCommitted)
        what |= JobChange::digests;
    if (a.source != b.source || a.copyDestination != b.copyDestination || a.outputDestination != b.outputDestination)
        what |= JobChange::paths;
    // Anything else: compared through the record's saved form, which holds every field.
    if (!what && a.toJson() != b.toJson())
        what |= JobChange::records;
    return what;
}

// ---- Jobs

void StateRepository::addJobs(const std::vector<MediaJob> &jobs)
{
    if (jobs.empty())
        return;
    const int first = int(m_state.jobs.size());
    m_state.jobs.insert(m_state.jobs.end(), jobs.begin(), jobs.end());
    m_tracker.appended(m_state.jobs, std::size_t(first));
    Q_EMIT jobsInserted(first, int(m_state.jobs.size()) - 1);
    save();
}

JobChanges StateRepository::updateJob(const MediaJob &job, Save when)
{
    const auto position = indexOf(job.id);
    if (!position)
        return {};
    MediaJob &stored = m_state.jobs[*position];
    const JobChanges what = changes(stored, job);
    if (!what)
        return what;
    stored = job;
    m_tracker.updated(job);
    Q_EMIT jobChanged(job.id, what);
    if (when == Save::now || m_clock() - m_lastSave > 1.0)
        save();
    return what;
}

void StateRepository::updateJobThen(const MediaJob &job, const SaveDone &saved)
{
    if (const auto position = indexOf(job.id)) {
        const JobChanges what = changes(m_state.jobs[*position], job);
        m_state.jobs[*position] = job;
        m_tracker.updated(job);
        if (what)
            Q_EMIT jobChanged(job.id, what);
    }
    saveThen(saved);
}

void StateRepository::updateJobs(const std::vector<MediaJob> &jobs)
{
    bool any = false;
    for (const MediaJob &job : jobs) {
        const auto position = indexOf(job.id);
        if (!position)
            continue;
        const JobChanges what = changes(m_state.jobs[*position], job);
        if (!what)
            continue;
        m_state.jobs[*position] = job;
        m_tracker.updated(job);
        any = true;
        Q_EMIT jobChanged(job.id, what);
    }
    if (any)
        save();
}

void StateRepository::removeJobs(const std::vector<QUuid> &ids)
{
    const QSet<QUuid> gone(ids.begin(), ids.end());
    QList<QUuid> removed;
    std::erase_if(m_state.jobs, [&](const MediaJob &job) {
        if (!gone.contains(job.id))
            return false;
        removed << job.id;
        return true;
    });
    if (removed.isEmpty())
        return;
    m_tracker.removed(removed, m_state.jobs);
    Q_EMIT jobsRemoved(removed);
    save();
}

bool StateRepository::shift(std::size_t from, std::size_t to)
{
    if (from == to || from >= m_state.jobs.size() || to >= m_state.jobs.size())
        return false;
    std::vector<MediaJob> &jobs = m_state.jobs;
    if (from < to)
        std::rotate(jobs.begin() + long(from), jobs.begin() + long(from) + 1, jobs.begin() + long(to) + 1);
    else
        std::rotate(jobs.begin() + long(to), jobs.begin() + long(from), jobs.begin() + long(from) + 1);
    m_tracker.moved(jobs, from, to);
    Q_EMIT jobMoved(int(from), int(to));
    return true;
}

void StateRepository::moveJob(std::size_t from, std::size_t to)
{
    if (shift(from, to))
        save();
}

void StateRepository::swapJobs(std::size_t a, std::size_t b)
{
    if (a > b)
        std::swap(a, b);
    if (!shift(a, b))
        return;
    shift(b - 1, a); // the job that was at b slid down by one
    save();
}

// ---- Other collections

void StateRepository::setProject(const ProjectContext &project)
{
    m_state.project = project;
    m_state.projectGrant = FileGrant(project.root);
    Q_EMIT projectChanged();
    m_tracker.changed(StateChange::project);
    save();
}

void StateRepository::putTemplate(const ProjectTemplate &projectTemplate)
{
    const auto existing = findID(m_state.templates, projectTemplate.id);
    if (existing != m_state.templates.end())
        *existing = projectTemplate;
    else
        m_state.templates.push_back(projectTemplate);
    Q_EMIT templatesChanged();
    m_tracker.changed(StateChange::templates);
    save();
}

void StateRepository::addPreset(const TranscodePreset &preset)
{
    m_state.presets.push_back(preset);
    Q_EMIT presetsChanged();
    m_tracker.changed(StateChange::presets);
    save();
}

bool StateRepository::removePreset(const QUuid &id)
{
    if (!eraseID(m_state.presets, id))
        return false;
    Q_EMIT presetsChanged();
    m_tracker.changed(StateChange::presets);
    save();
    return true;
}

void StateRepository::addWatch(const WatchFolder &rule)
{
    m_state.watches.push_back(rule);
    Q_EMIT watchesChanged();
    m_tracker.changed(StateChange::watches);
    save();
}

bool StateRepository::updateWatch(const WatchFolder &rule)
{
    const auto found = findID(m_state.watches, rule.id);
    if (found == m_state.watches.end())
        return false;
    if (*found == rule)
        return true;
    *found = rule;
    Q_EMIT watchesChanged();
    m_tracker.changed(StateChange::watches);
    save();
    return true;
}

bool StateRepository::removeWatch(const QUuid &id)
{
    if (!eraseID(m_state.watches, id))
        return false;
    Q_EMIT watchesChanged();
    m_tracker.changed(StateChange::watches);
    save();
    return true;
}

void StateRepository::setTranscodeDestination(const FileGrant &folder)
{
    if (m_state.transcodeDestination == folder)
        return;
    m_state.transcodeDestination = folder;
    Q_EMIT settingsChanged();
    m_tracker.changed(StateChange::settings);
    save();
}

void StateRepository::setEngine(const QString &ffmpeg)
{
    if (m_state.ffmpeg == ffmpeg)
        return;
    m_state.ffmpeg = ffmpeg;
    Q_EMIT settingsChanged();
    m_tracker.changed(StateChange::settings);
    save();
}

// ---- Persistence

void StateRepository::save()
{
    saveThen({});
}

void StateRepository::saveThen(const SaveDone &done)
{
    if (m_storageBlocked) {
        if (done)
            done(m_persistenceError.value_or(QStringLiteral("Queue could not be saved.")));
        return;
    }
    m_lastSave = m_clock();
    ++m_savesRequested;
    m_persistence.post([this, change = m_tracker.take(m_state), done] {
        std::optional<QString> failure;
        try {
            // Never over a state another process may have written since.
            m_lock.confirm();
            m_journal->record(change);
            m_lastSaveFailed = false;
        } catch (const std::exception &error) {
            m_lastSaveFailed = true;
            failure = QStringLiteral("Queue could not be saved: ") + errorText(error);
            m_saveFailedSinceClear = true;
            reportFailure(*failure, true);
        }
        if (done)
            done(failure);
    });
}

void StateRepository::log(const QString &message)
{
    m_persistence.post([this, line = OperationLog::line(message), directory = m_directory] {
        try {
            OperationLog::append(directory, line);
        } catch (const std::exception &error) {
            reportFailure(QStringLiteral("Operation log could not be written: ") + errorText(error), false);
        }
    });
}

void StateRepository::flush()
{
    m_persistence.flush();
}

void StateRepository::reportFailure(const QString &message, bool save)
{
    {
        std::lock_guard lock(m_failuresMutex);
        m_undelivered.push_back(message);
        if (save && !m_saveFailure)
            m_saveFailure = message;
    }
    QMetaObject::invokeMethod(this, [this] { deliverFailures(); }, Qt::QueuedConnection);
}

void StateRepository::deliverFailures()
{
    std::vector<QString> messages;
    {
        std::lock_guard lock(m_failuresMutex);
        messages.swap(m_undelivered);
    }
    for (const QString &message : messages) {
        m_persistenceError = message;
        Q_EMIT persistenceErrorChanged(message);
    }
}

void StateRepository::flushSaves()
{
    flush();
    deliverFailures(); // at once, not only when the event loop turns next
    std::lock_guard lock(m_failuresMutex);
    if (m_saveFailure)
        throw VantorError(*m_saveFailure);
}

} // namespace vantor
