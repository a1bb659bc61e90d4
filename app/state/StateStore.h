#pragma once

#include "state/AppState.h"

#include <QString>
#include <cstdint>

namespace vantor {
class JournalReplay;
}

namespace vantor::StateStore {

inline constexpr char fileName[] = "state.json";
inline constexpr char journalName[] = "state.journal"; // the saves since state.json was written

// What a load found, for the one who goes on appending to the journal.
struct Loaded {
    AppState state;
    bool journalUsable = false; // it follows state.json and ends with a whole frame
    qint64 journalLength = 0;
    qint64 stateSize = 0; // of state.json
};

// What `save` wrote: its size and xxHash64, which a journal started after it names.
struct Written {
    qint64 size = 0;
    std::uint64_t digest = 0;
};

// VANTOR_SUPPORT_DIR when set (as given), else the user's data folder + "/Vantor". Not created.
QString directory();

// The state in `directory`/state.json with the journal's saves replayed onto it; the fresh
// state when there is no state.json (nothing is written then). A read or decode error, or a
// damaged journal frame before its last one, is thrown unchanged and both files are left as
// they are.
AppState load(const QString &directory);
Loaded read(const QString &directory);

// Writes the state pretty-printed with sorted keys, replacing state.json atomically: a crash
// leaves the old file or the new one, never a torn one. Makes the folder first.
Written save(const AppState &state, const QString &directory);

// The bytes `save` writes.
QByteArray encode(const AppState &state);
// Decodes a whole state file; throws DecodingError.
AppState decode(const QByteArray &data);
// The same for the state file that `journal` follows: a job the journal carries is left with
// only its id, for the journal's replay to replace. Nothing is skipped when `journal` is null.
AppState decodeBefore(const QByteArray &data, const JournalReplay *journal);

} // namespace vantor::StateStore
