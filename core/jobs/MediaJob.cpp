#include "jobs/MediaJob.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"

#include <algorithm>

namespace vantor {

MediaJob MediaJob::make(const QString &source, const FileGrant &sourceGrant, const QString &destinationRoot,
                        const FileGrant &destinationGrant, std::optional<QString> copyDestination,
                        std::optional<QString> outputDestination, JobOperation operation,
                        std::optional<TranscodePreset> preset, std::optional<ChecksumAlgorithm> checksum,
                        qint64 bytes, Timestamp modified)
{
    MediaJob job;
    job.id = QUuid::createUuid();
    job.source = source;
    job.sourceGrant = sourceGrant;
    job.destinationRoot = destinationRoot;
    job.destinationGrant = destinationGrant;
    job.copyDestination = std::move(copyDestination);
    job.outputDestination = std::move(outputDestination);
    job.operation = operation;
    job.preset = std::move(preset);
    job.checksum = checksum;
    job.status = JobStatus::waiting;
    job.created = Timestamp::now();
    job.bytes = bytes;
    job.modified = modified;
    return job;
}

QString MediaJob::destination() const
{
    if (outputDestination)
        return *outputDestination;
    if (copyDestination)
        return *copyDestination;
    return source;
}

std::vector<JobStatus> MediaJob::phases() const
{
    if (operation == JobOperation::transcode)
        return {JobStatus::transcoding};
    std::vector<JobStatus> list{JobStatus::copying};
    if (checksum)
        list.push_back(JobStatus::verifying);
    if (operation == JobOperation::copyAndTranscode)
        list.push_back(JobStatus::transcoding);
    return list;
}

void MediaJob::reportPhaseProgress(JobStatus phase, double value)
{
    const std::vector<JobStatus> list = phases();
    const auto found = std::find(list.begin(), list.end(), phase);
    const double index = found == list.end() ? 0.0 : double(found - list.begin());
    phaseProgress = value;
    progress = std::min(1.0, (index + value) / double(list.size()));
}

QJsonObject MediaJob::toJson() const
{
    return fieldsToJson(*this);
}

MediaJob MediaJob::fromJson(const QJsonValue &value)
{
    return readFields<MediaJob>(value);
}

} // namespace vantor
