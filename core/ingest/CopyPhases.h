#pragma once

#include "base/ChecksumAlgorithm.h"
#include "base/JobControl.h"
#include "ingest/StagingWriter.h"

#include <QString>
#include <QtGlobal>
#include <functional>
#include <optional>
#include <utility>

namespace vantor {

// The two data phases of a verified copy, each a CopyPipeline: the copy into the staging file,
// and the verification that reads the source and the staging file back from the device.
namespace CopyPhases {

// Left empty, each is chosen per file from what its file system reports, as measured
// (docs/ingest.md); the benchmarks set them to compare.
struct Tuning {
    std::optional<StagingWriter::Mode> writeMode;
    std::optional<bool> directReads; // verification reads with O_DIRECT
    std::optional<bool> sideBySide;  // both verification reads at once
    std::size_t blockSize = std::size_t(4) << 20;
    int buffers = 4;                 // per ring
};

using Progress = std::function<void(double fraction)>;

// Copies input from its offset to its end into output and leaves it fsync'd and out of the page
// cache. Returns the bytes copied; progress gets copied ÷ expected after each block, uncapped.
qint64 write(int input, int output, qint64 expected, JobControl &control, const Progress &progress,
             const Tuning &tuning = {});

// Digests of source and copy as the device returns them; progress goes 0 → 1 over both.
std::pair<QString, QString> verify(int source, int copy, ChecksumAlgorithm algorithm, JobControl &control,
                                   const Progress &progress, const Tuning &tuning = {});

// Digest of one file as its device returns it, from its start; progress gets the bytes read.
QString readBack(int fd, ChecksumAlgorithm algorithm, JobControl &control, const std::function<void(qint64 bytes)> &progress,
                 const Tuning &tuning = {});

// Whether two files are read fastest at once: on different devices, or where seeking is free.
bool readSideBySide(int first, int second);

} // namespace CopyPhases

} // namespace vantor
