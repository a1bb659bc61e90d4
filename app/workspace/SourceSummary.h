#pragma once

#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QList>
#include <QString>
#include <optional>
#include <utility>

namespace vantor {

// The Transcode page's Summary: what the selected source is and what its output will be.
namespace SourceSummary {

// What is known of the selected source: nothing selected, a probe running, a failed probe, or
// the probe's answer.
struct SourceState {
    std::optional<QString> source;
    bool inspecting = false;
    std::optional<QString> error;
    std::optional<MediaInfo> info;
};

// The rows "Format", "Video", "Audio", "Source", "Frame Rate", "Timecode", "Output Name" and
// "Estimated Output", in that order, as (label, value).
QList<std::pair<QString, QString>> rows(const TranscodePreset &preset, const SourceState &state);

// "25 FPS", "29.97 FPS": at most two decimals, without trailing zeros.
QString framesPerSecond(double fps);

} // namespace SourceSummary

} // namespace vantor
