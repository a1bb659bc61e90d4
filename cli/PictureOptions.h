#pragma once

#include "CommandLine.h"

#include "presets/TranscodePreset.h"

namespace vantor::cli {

// The picture options a command that encodes takes on top of its preset: crop, rotation,
// flips and the processing filters. Kept apart from the preset options so each stays small.
void addPictureOptions(CommandParser &parser);

// Applies the picture options that were given to the preset's encoding options. A malformed
// value is a UsageError naming the option; the ranges are the preset service's to check.
void applyPictureOptions(const CommandParser &parser, TranscodePreset &preset);

} // namespace vantor::cli
