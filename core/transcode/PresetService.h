#pragma once

#include "transcode/TranscodePreset.h"

#include <vector>

namespace vantor::PresetService {

// The built-in presets, each with a fresh id on every call.
std::vector<TranscodePreset> defaults();

} // namespace vantor::PresetService
