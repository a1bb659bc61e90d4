#pragma once

#include "state/StateChange.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <optional>
#include <set>

namespace vantor {

// The repository's bookkeeping of its jobs, on the main thread: where each job stands, which
// are waiting, and what changed since the last save. Lookups cost the same however long the
// history is.
class ChangeTracker {
public:
    void reset(const std::vector<MediaJob> &jobs); // after a load: nothing changed yet
    std::optional<std::size_t> indexOf(const QUuid &id) const;
    std::optional<std::size_t> firstWaiting() const;

    void appended(const std::vector<MediaJob> &jobs, std::size_t first);
    void updated(const MediaJob &job);
    void removed(const QList<QUuid> &ids, const std::vector<MediaJob> &jobs); // `jobs` as they are now
    void moved(const std::vector<MediaJob> &jobs, std::size_t from, std::size_t to);
    void changed(StateChange::Part part) { m_parts |= part; }

    // What changed since the last call, as copies taken from the state; forgets it.
    StateChange take(const AppState &state);

private:
    void reindex(const std::vector<MediaJob> &jobs);
    void track(const MediaJob &job, std::size_t position);
    void rebuildWaiting();

    QHash<QUuid, std::size_t> m_index; // job id -> position
    QSet<QUuid> m_waiting;
    // The waiting jobs' positions, ordered: the next job is the first, however many wait.
    std::set<std::size_t> m_waitingPositions;
    QSet<QUuid> m_changedJobs; // added or changed since the last save
    std::vector<QUuid> m_removedJobs;
    unsigned m_parts = 0;
};

} // namespace vantor
