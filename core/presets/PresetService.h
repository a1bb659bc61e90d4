#pragma once

#include "presets/TranscodePreset.h"

#include <QList>
#include <QString>
#include <optional>

namespace vantor {

// The built-in presets, the rules every preset must pass before it is saved or encoded, and
// the channel-map parser.
namespace PresetService {

// Each call makes fresh identities.
QList<TranscodePreset> defaults();

// Whether a suffix can be part of a file name: no "/", no "..", no control characters.
bool safeSuffix(const QString &suffix);

// Throws VantorError with the first rule the preset breaks.
void validate(const TranscodePreset &preset);

// The preset called `name`: its exact spelling first, else the one preset whose name differs
// from it in case only. Nothing when no preset, or more than one, matches.
std::optional<TranscodePreset> find(const QList<TranscodePreset> &presets, const QString &name);

// "3, 4" -> {2, 3}: zero-based source channels in output order. Throws VantorError.
QList<int> channelMapping(const QString &text);

} // namespace PresetService

} // namespace vantor
