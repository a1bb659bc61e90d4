#pragma once

#include "queue/JobPhases.h"

#include <optional>
#include <vector>

namespace vantor::JobTransitions {

// The job as the launch's recovery leaves it, when it was left running or paused.
std::optional<MediaJob> interrupted(const MediaJob &job);
// Waiting again with its digests and committed copy kept: a committed copy is re-checked, not copied again.
MediaJob retried(const MediaJob &job);
// Complete with the result's digests, or cancelled or failed with `error` when there is no result.
MediaJob finished(const MediaJob &job, const JobPhaseResult *result, const QString &error, bool cancelled,
                  double elapsed);

// Throws VantorError naming the first destination of `added` that a queued job (cancelled ones
// aside), an earlier one of `added` or an existing file already claims. Names that differ only in
// case are one file on the card file systems editors deliver to.
void checkDestinations(const std::vector<MediaJob> &queued, const std::vector<MediaJob> &added);

} // namespace vantor::JobTransitions
