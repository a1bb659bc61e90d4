#pragma once

#include "base/ChecksumAlgorithm.h"
#include "base/FileIo.h"
#include "base/JobControl.h"

#include <QString>
#include <functional>

namespace vantor {

// Whole-file digests that honour a job's pause and cancel between reads.
namespace ChecksumService {

using Progress = std::function<void(double fraction)>;

// Lower-case hexadecimal digest of the file at path. Reads 1 MiB at a time with a checkpoint
// before each read; progress gets the fraction read after each block (never for an empty file).
// Open and read errors are the system's own; a cancel throws CancellationError.
QString digest(const QString &path, ChecksumAlgorithm algorithm, JobControl &control,
               const Progress &progress = {});
// The same over an already open descriptor, from its current offset to the end.
QString digest(int fd, ChecksumAlgorithm algorithm, JobControl &control, const Progress &progress = {});

// Opens a file for reading without updating its access time where the system allows it
// (O_NOATIME needs ownership; without it the file is opened plainly).
FileIo::UniqueFd openForReading(const QString &path, int extraFlags = 0);

} // namespace ChecksumService

} // namespace vantor
