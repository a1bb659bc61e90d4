#include "state/StateMirror.h"

#include "base/VantorError.h"

#include <QSet>

#include <type_traits>

namespace vantor {

StateMirror::StateMirror(AppState state) : m_state(std::move(state))
{
    reindex();
}

void StateMirror::reindex()
{
    m_index.clear();
    m_index.reserve(qsizetype(m_state.jobs.size()));
    for (std::size_t i = 0; i < m_state.jobs.size(); ++i)
        m_index.insert(m_state.jobs[i].id, i);
}

void StateMirror::apply(const StateChange &change)
{
    applyChange(change);
}

void StateMirror::apply(StateChange &&change)
{
    applyChange(std::move(change));
}

template <typename Change> void StateMirror::applyChange(Change &&change)
{
    // A change applied once (a replayed frame) gives its jobs up rather than have them copied.
    constexpr bool owned = !std::is_lvalue_reference_v<Change>;
    std::vector<MediaJob> &jobs = m_state.jobs;
    if (!change.removed.empty()) {
        const QSet<QUuid> gone(change.removed.begin(), change.removed.end());
        const std::size_t before = jobs.size();
        std::erase_if(jobs, [&](const MediaJob &job) { return gone.contains(job.id); });
        if (jobs.size() != before)
            reindex();
    }
    for (auto &job : change.jobs) {
        const auto found = m_index.constFind(job.id);
        const bool known = found != m_index.constEnd();
        if (!known)
            m_index.insert(job.id, jobs.size());
        MediaJob &target = known ? jobs[*found] : jobs.emplace_back();
        if constexpr (owned)
            target = std::move(job);
        else
            target = job;
    }
    if (change.has(StateChange::order)) {
        if (change.jobOrder.size() != jobs.size())
            throw DecodingError(QStringLiteral("A saved queue order names %1 jobs where the queue holds %2.")
                                    .arg(change.jobOrder.size())
                                    .arg(jobs.size()));
        std::vector<MediaJob> ordered;
        ordered.reserve(jobs.size());
        std::vector<bool> taken(jobs.size());
        for (const QUuid &id : change.jobOrder) {
            const auto found = m_index.constFind(id);
            if (found == m_index.constEnd() || taken[*found])
                throw DecodingError(QStringLiteral("A saved queue order names a job the queue does not hold once: %1.")
                                        .arg(id.toString(QUuid::WithoutBraces).toUpper()));
            taken[*found] = true;
            ordered.push_back(std::move(jobs[*found]));
        }
        jobs = std::move(ordered);
        reindex();
    }
    if (change.has(StateChange::templates))
        m_state.templates = change.templateList;
    if (change.has(StateChange::presets))
        m_state.presets = change.presetList;
    if (change.has(StateChange::watches))
        m_state.watches = change.watchList;
    if (change.has(StateChange::project)) {
        m_state.project = change.projectContext;
        m_state.projectGrant = change.projectGrant;
    }
    if (change.has(StateChange::settings)) {
        m_state.ffmpeg = change.ffmpeg;
        m_state.transcodeDestination = change.transcodeDestination;
    }
}

} // namespace vantor
