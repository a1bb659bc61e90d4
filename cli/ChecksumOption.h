#pragma once

#include "CommandLine.h"

#include "base/ChecksumAlgorithm.h"

namespace vantor::cli {

// The -a/--algorithm option shared by the commands that compute digests.
void addAlgorithmOption(CommandParser &parser);
// xxHash64 unless the option names another algorithm; an unknown name is a UsageError.
ChecksumAlgorithm algorithmOption(const CommandParser &parser);

} // namespace vantor::cli
