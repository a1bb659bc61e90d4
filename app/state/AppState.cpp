#include "state/AppState.h"

#include "base/FieldWriter.h"
#include "base/VantorError.h"
#include "projects/ProjectTemplateService.h"
#include "presets/PresetService.h"

namespace vantor {

AppState AppState::fresh()
{
    AppState state;
    state.templates = ProjectTemplateService::defaults();
    const auto presets = PresetService::defaults();
    state.presets.assign(presets.begin(), presets.end());
    return state;
}

void AppState::refuseNewer(qint64 version)
{
    if (version > currentVersion)
        throw DecodingError(QStringLiteral("The state file was written by a newer version of Vantor (state version "
                                           "%1; this version reads up to %2). Use the newer version.")
                                .arg(version)
                                .arg(currentVersion));
}

QJsonObject AppState::toJson() const
{
    return fieldsToJson(*this);
}

} // namespace vantor
