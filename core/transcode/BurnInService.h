#pragma once

#include "transcode/BurnInAssets.h"
#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QString>

namespace vantor {

// Turns a preset's burn-in options into engine filters: a label (file name and/or free text)
// and a running timecode, placed at the preset's position.
namespace BurnInService {

// Throws VantorError; nothing it made is left behind then. The caller cleans up the result.
BurnInAssets prepare(const QString &source, const TranscodePreset &preset, const MediaInfo &info);

// The font file for drawing `text`: the first font in fontconfig's order for "monospace" that has
// every character of it some installed font has (for an empty text, the monospace font itself).
// Throws VantorError when fontconfig lists no font.
QString fontFile(const QString &text = QString());
// The characters of `text` that no installed font has, each once, in order: they are drawn as
// empty boxes.
QString uncoveredCharacters(const QString &text);
// The label a finish burns into a picture of `source`: its file name and/or the free text, one
// per line; empty when it burns none.
QString labelText(const QString &source, const FinishingOptions &finish);

// A value quoted for a filter option inside a filter graph, so that ':' ',' ';' '[' ']' '\'
// and quotes in it reach the filter unchanged: "'" + value + "'" for ordinary paths.
QString quotedFilterValue(const QString &value);

} // namespace BurnInService

} // namespace vantor
