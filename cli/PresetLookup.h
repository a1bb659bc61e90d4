#pragma once

#include "presets/TranscodePreset.h"

#include <QList>
#include <QString>

namespace vantor::cli {

// The presets a command can use: those of the stored state once a state file exists (built-in
// ones included, as the first save wrote them), else the built-ins. The state is only read.
// A state file that cannot be read is reported, never replaced by the built-ins silently.
QList<TranscodePreset> availablePresets();

// The preset named by --preset, as PresetService::find matches names; a UsageError lists the names.
TranscodePreset findPreset(const QString &name);

} // namespace vantor::cli
