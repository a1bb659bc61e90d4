#include "SavedState.h"

#include "state/StateStore.h"
#include "base/VantorError.h"

namespace vantor::cli {

AppState readSavedState()
{
    try {
        return StateStore::load(StateStore::directory());
    } catch (const std::exception &error) {
        throw VantorError(QStringLiteral("Saved state could not be read. The original state.json has been preserved. ")
                          + errorText(error));
    }
}

} // namespace vantor::cli
