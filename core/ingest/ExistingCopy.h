#pragma once

#include "base/ChecksumAlgorithm.h"
#include "base/JobControl.h"

#include <QString>

namespace vantor {

// Tells an earlier, complete copy at a destination from a different file of the same name.
namespace ExistingCopy {

// Whether `destination` is a regular file (not a link) of exactly `bytes` bytes: cheap, no
// content read.
bool sameSize(const QString &destination, qint64 bytes);

// Whether `destination` holds the same bytes as `source`: same size and the same digest. Reads
// both files whole, honouring the control's pause and cancel.
bool matches(const QString &source, const QString &destination, ChecksumAlgorithm algorithm, JobControl &control);

} // namespace ExistingCopy

} // namespace vantor
