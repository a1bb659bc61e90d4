#pragma once

#include "base/JobControl.h"
#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>
#include <utility>

namespace vantor {

// Everything the system asks of the media engine: finding it, running it, probing a file and
// building the transcode command line.
namespace TranscodeService {

// ---- Engine (TranscodeService.cpp)

// The ffmpeg (probe false) or ffprobe (probe true) to run; `custom` is the stored ffmpeg path,
// empty when none. Searched afresh on every call. Throws VantorError when none is executable.
QString executable(const QString &custom, bool probe);

// Runs one engine process to its end with stdout and stderr merged, handing each complete line
// to `line` on the calling thread. Returns the whole output. Pause and cancel reach the process
// through `control`; a cancel throws CancellationError, a non-zero exit VantorError.
QString run(const QString &executable, const QStringList &arguments, JobControl &control,
    const std::function<void(const QString &)> &line);

// ---- Probe (TranscodeProbe.cpp)

MediaInfo probe(const QString &path, const QString &custom, JobControl &control);
// Reduces ffprobe's merged output (its JSON answer, possibly with diagnostic lines) for the file
// named `fileName`; throws VantorError for a file without video and DecodingError for an
// answer that is not JSON.
MediaInfo mediaInfo(const QByteArray &probeOutput, const QString &fileName);

// ---- Command line (TranscodeArguments.cpp); pure, never touch the disk or the engine

std::pair<qint64, qint64> outputDimensions(const TranscodePreset &preset, const MediaInfo &info);
QString videoFilters(const TranscodePreset &preset, const MediaInfo &info);
QStringList arguments(const QString &source, const QString &output, const TranscodePreset &preset,
    const MediaInfo &info, const QStringList &burnFilters);

} // namespace TranscodeService

} // namespace vantor
