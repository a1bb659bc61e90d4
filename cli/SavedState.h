#pragma once

#include "state/AppState.h"

namespace vantor::cli {

// The state file as commands that only read it see it: a missing file is the fresh state; one
// that cannot be read is reported with the queue's own words and left exactly as it is.
AppState readSavedState();

} // namespace vantor::cli
