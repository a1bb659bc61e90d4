#include "workspace/ImportPlan.h"

#include "ingest/ExistingCopy.h"

#include <QFileInfo>

namespace vantor {

bool ImportPlan::needsComparison(const std::vector<MediaJob> &jobs)
{
    return std::any_of(jobs.begin(), jobs.end(), [](const MediaJob &job) {
        return job.copyDestination && job.backups.empty() && ExistingCopy::sameSize(*job.copyDestination, job.bytes);
    });
}

ImportPlan ImportPlan::settle(const std::vector<MediaJob> &jobs, ChecksumAlgorithm algorithm, JobControl &control)
{
    ImportPlan plan;
    for (const MediaJob &job : jobs) {
        // A job that owes backups is never set aside: its backups are not there yet.
        if (!job.copyDestination || !job.backups.empty() || !ExistingCopy::sameSize(*job.copyDestination, job.bytes)
            || !ExistingCopy::matches(job.source, *job.copyDestination, algorithm, control)) {
            plan.jobs.push_back(job);
            continue;
        }
        plan.offloaded.push_back(job);
        const QString output = job.outputDestination.value_or(QString());
        if (job.operation.transcodes() && !QFileInfo(output).exists() && !QFileInfo(output).isSymLink()) {
            MediaJob transcode = MediaJob::make(job.source, job.sourceGrant, job.destinationRoot, job.destinationGrant,
                                                std::nullopt, job.outputDestination, JobOperation::transcode,
                                                job.preset, std::nullopt, job.bytes, job.modified);
            transcode.sourceRoot = job.sourceRoot;
            transcode.mhl = job.mhl;
            plan.jobs.push_back(std::move(transcode));
        }
    }
    return plan;
}

} // namespace vantor
