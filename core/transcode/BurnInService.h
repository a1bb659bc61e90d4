#pragma once

#include "transcode/BurnInAssets.h"
#include "transcode/MediaInfo.h"
#include "transcode/TranscodePreset.h"

#include <QString>

namespace vantor {

// Turns a preset's burn-in options into engine filters: a label (file name and/or free text)
// and a running timecode, placed at the preset's position.
namespace BurnInService {

// Throws VantorError; nothing it made is left behind then. The caller cleans up the result.
BurnInAssets prepare(const QString &source, const TranscodePreset &preset, const MediaInfo &info);

// The monospace font file fontconfig picks; throws VantorError when there is none.
QString fontFile();

// A value quoted for a filter option inside a filter graph, so that ':' ',' ';' '[' ']' '\'
// and quotes in it reach the filter unchanged: "'" + value + "'" for ordinary paths.
QString quotedFilterValue(const QString &value);

} // namespace BurnInService

} // namespace vantor
