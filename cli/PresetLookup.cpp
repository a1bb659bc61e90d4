#include "PresetLookup.h"
#include "CommandLine.h"
#include "SavedState.h"

#include "state/StateStore.h"
#include "base/VantorError.h"
#include "presets/PresetService.h"

#include <QFileInfo>
#include <QStringList>

namespace vantor::cli {

QList<TranscodePreset> availablePresets()
{
    const QString directory = StateStore::directory();
    if (!QFileInfo::exists(directory + QStringLiteral("/state.json")))
        return PresetService::defaults();
    const AppState state = readSavedState();
    return QList<TranscodePreset>(state.presets.begin(), state.presets.end());
}

TranscodePreset findPreset(const QString &name)
{
    const QList<TranscodePreset> presets = availablePresets();
    if (const std::optional<TranscodePreset> found = PresetService::find(presets, name))
        return *found;
    QStringList names;
    for (const TranscodePreset &preset : presets)
        names << preset.name;
    throw UsageError(QStringLiteral("--preset names no preset “%1”. The presets are: %2.").arg(name, names.join(QStringLiteral(", "))));
}

} // namespace vantor::cli
