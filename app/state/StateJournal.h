#pragma once

#include "base/FileIo.h"
#include "state/StateMirror.h"
#include "state/StateStore.h"

namespace vantor {

// The writing side of the state's two files, used only on the persistence thread. Each save
// appends its change to the journal and syncs it; past a size bound, and when asked, the whole
// state goes to state.json and the journal starts afresh. It keeps its own copy of the state,
// brought up to date by the same changes, so writing the whole state takes nothing from the
// main thread.
class StateJournal {
public:
    static constexpr qint64 defaultBound = 16 << 20;

    // Compacts once the journal would pass `bound` bytes or the size of state.json, whichever
    // is larger.
    StateJournal(const QString &directory, StateStore::Loaded loaded, qint64 bound = defaultBound);

    // Applies the change to the copy, then appends it, or compacts when the journal is past its
    // bound or cannot be appended to. On failure the next record compacts, so the change still
    // reaches the disk with it.
    void record(const StateChange &change);
    // Writes state.json atomically, then replaces the journal by an empty one naming it: a crash
    // between the two leaves a journal that names another state file, and is ignored.
    void compact();
    bool hasFrames() const; // or no usable journal at all
    qint64 journalLength() const { return m_length; }

private:
    void append(const QByteArray &frame);

    QString m_directory;
    StateMirror m_mirror;
    FileIo::UniqueFd m_file;
    bool m_usable; // the journal on disk follows state.json and ends with a whole frame
    qint64 m_length;
    qint64 m_stateSize;
    qint64 m_bound;
};

} // namespace vantor
