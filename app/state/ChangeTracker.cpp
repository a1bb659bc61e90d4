#include "state/ChangeTracker.h"

#include <algorithm>

namespace vantor {

void ChangeTracker::reset(const std::vector<MediaJob> &jobs)
{
    reindex(jobs);
    m_waiting.clear();
    m_waitingPositions.clear();
    for (std::size_t i = 0; i < jobs.size(); ++i)
        track(jobs[i], i);
    m_changedJobs.clear();
    m_removedJobs.clear();
    m_parts = 0;
}

void ChangeTracker::reindex(const std::vector<MediaJob> &jobs)
{
    m_index.clear();
    m_index.reserve(qsizetype(jobs.size()));
    for (std::size_t i = 0; i < jobs.size(); ++i)
        m_index.insert(jobs[i].id, i);
}

void ChangeTracker::track(const MediaJob &job, std::size_t position)
{
    if (job.status == JobStatus::waiting) {
        m_waiting.insert(job.id);
        m_waitingPositions.insert(position);
    } else if (m_waiting.remove(job.id)) {
        m_waitingPositions.erase(position);
    }
}

void ChangeTracker::rebuildWaiting()
{
    m_waitingPositions.clear();
    for (const QUuid &id : std::as_const(m_waiting))
        m_waitingPositions.insert(m_index.value(id));
}

std::optional<std::size_t> ChangeTracker::indexOf(const QUuid &id) const
{
    const auto found = m_index.constFind(id);
    if (found == m_index.constEnd())
        return std::nullopt;
    return *found;
}

std::optional<std::size_t> ChangeTracker::firstWaiting() const
{
    if (m_waitingPositions.empty())
        return std::nullopt;
    return *m_waitingPositions.begin();
}

void ChangeTracker::appended(const std::vector<MediaJob> &jobs, std::size_t first)
{
    for (std::size_t i = first; i < jobs.size(); ++i) {
        m_index.insert(jobs[i].id, i);
        m_changedJobs.insert(jobs[i].id);
        track(jobs[i], i);
    }
}

void ChangeTracker::updated(const MediaJob &job)
{
    m_changedJobs.insert(job.id);
    if (const auto position = indexOf(job.id))
        track(job, *position);
}

void ChangeTracker::removed(const QList<QUuid> &ids, const std::vector<MediaJob> &jobs)
{
    for (const QUuid &id : ids)
        m_waiting.remove(id);
    m_removedJobs.insert(m_removedJobs.end(), ids.begin(), ids.end());
    reindex(jobs);
    rebuildWaiting();
}

void ChangeTracker::moved(const std::vector<MediaJob> &jobs, std::size_t from, std::size_t to)
{
    for (std::size_t i = std::min(from, to); i <= std::max(from, to); ++i)
        m_index.insert(jobs[i].id, i);
    rebuildWaiting();
    m_parts |= StateChange::order;
}

StateChange ChangeTracker::take(const AppState &state)
{
    StateChange change;
    change.parts = std::exchange(m_parts, 0u);
    change.takeFrom(state);
    change.removed = std::exchange(m_removedJobs, {});
    if (change.has(StateChange::order)) {
        change.jobOrder.reserve(state.jobs.size());
        for (const MediaJob &job : state.jobs)
            change.jobOrder.push_back(job.id);
    }
    // Queue order, so that added jobs are appended as they stand.
    std::vector<std::size_t> positions;
    positions.reserve(std::size_t(m_changedJobs.size()));
    for (const QUuid &id : std::as_const(m_changedJobs)) {
        if (const auto position = indexOf(id))
            positions.push_back(*position);
    }
    m_changedJobs.clear();
    std::sort(positions.begin(), positions.end());
    change.jobs.reserve(positions.size());
    for (const std::size_t position : positions)
        change.jobs.push_back(state.jobs[position]);
    return change;
}

} // namespace vantor
