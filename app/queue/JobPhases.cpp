#include "queue/JobPhases.h"

#include "model/VantorError.h"

namespace vantor {

// Placeholder until the real phases land on main; a merge of main replaces this file.
JobPhaseResult runJobPhases(const MediaJob &, JobControl &, const QString &, const JobPhaseCallbacks &)
{
    throw VantorError(QStringLiteral("This build cannot run jobs yet: the copy and transcode phases are missing."));
}

} // namespace vantor
