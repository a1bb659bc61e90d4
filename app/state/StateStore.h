#pragma once

#include "state/AppState.h"

#include <QString>

namespace vantor::StateStore {

inline constexpr char fileName[] = "state.json";

// VANTOR_SUPPORT_DIR when set (as given), else the user's data folder + "/Vantor". Not created.
QString directory();

// The state in `directory`/state.json; the fresh state when there is no file (nothing is
// written then). A read or decode error is thrown unchanged, and the file is left as it is.
AppState load(const QString &directory);

// Writes the state pretty-printed with sorted keys, replacing state.json atomically: a crash
// leaves the old file or the new one, never a torn one. Makes the folder first.
void save(const AppState &state, const QString &directory);

// The bytes `save` writes.
QByteArray encode(const AppState &state);
// Decodes a whole state file; throws DecodingError.
AppState decode(const QByteArray &data);

} // namespace vantor::StateStore
