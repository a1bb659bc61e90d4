#include "state/StateChange.h"

namespace vantor {

void StateChange::takeFrom(const AppState &state)
{
    if (has(templates))
        templateList = state.templates;
    if (has(presets))
        presetList = state.presets;
    if (has(watches))
        watchList = state.watches;
    if (has(project)) {
        projectContext = state.project;
        projectGrant = state.projectGrant;
    }
    if (has(settings)) {
        ffmpeg = state.ffmpeg;
        transcodeDestination = state.transcodeDestination;
    }
}

} // namespace vantor
