#pragma once

#include "presets/TranscodePreset.h"

#include <QList>
#include <QStringList>

namespace vantor::cli {

int presetsCommand(const QStringList &arguments);

// The listing's lines: a header and one aligned row per preset, in the given order.
QStringList presetTable(const QList<TranscodePreset> &presets);

} // namespace vantor::cli
