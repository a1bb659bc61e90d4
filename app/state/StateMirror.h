#pragma once

#include "state/StateChange.h"

#include <QHash>

namespace vantor {

// A state with its jobs indexed by id, brought up to date by applying changes one after the
// other: loading replays the journal through one, and the persistence thread keeps one so that
// compaction needs nothing from the main thread.
class StateMirror {
public:
    explicit StateMirror(AppState state = {});

    const AppState &state() const { return m_state; }
    AppState takeState() { return std::move(m_state); } // the mirror is not used after
    // Throws DecodingError when the change does not fit the state (an order naming other jobs).
    void apply(const StateChange &change);
    void apply(StateChange &&change);

private:
    void reindex();
    template <typename Change> void applyChange(Change &&change);

    AppState m_state;
    QHash<QUuid, std::size_t> m_index;
};

} // namespace vantor
