#pragma once

#include "CommandLine.h"

#include "presets/TranscodePreset.h"

#include <QString>

namespace vantor::cli {

// The -p/--preset option and the options that change the chosen preset for one run, shared by
// the commands that encode.
void addPresetOptions(CommandParser &parser);

struct ChosenPreset {
    TranscodePreset preset;
    QString engine; // the engine the user stored; empty when none
};

// The named preset (stored ones first, then the built-ins) with the options applied, validated
// as any preset is. The state file is only read, never written.
ChosenPreset chosenPreset(const CommandParser &parser);

} // namespace vantor::cli
