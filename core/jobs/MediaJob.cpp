#include "jobs/MediaJob.h"

#include "base/JsonCodec.h"

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
    QJsonObject object{
        {QStringLiteral("id"), JsonCodec::uuid(id)},
        {QStringLiteral("source"), JsonCodec::fileUrl(source)},
        {QStringLiteral("sourceGrant"), sourceGrant.toJson()},
        {QStringLiteral("destinationGrant"), destinationGrant.toJson()},
        {QStringLiteral("destinationRoot"), JsonCodec::fileUrl(destinationRoot, true)},
        {QStringLiteral("operation"), operation.rawValue()},
        {QStringLiteral("status"), status.rawValue()},
        {QStringLiteral("progress"), progress},
        {QStringLiteral("phaseProgress"), phaseProgress},
        {QStringLiteral("elapsed"), elapsed},
        {QStringLiteral("copyCommitted"), copyCommitted},
        {QStringLiteral("created"), JsonCodec::date(created)},
        {QStringLiteral("bytes"), bytes},
        {QStringLiteral("modified"), JsonCodec::date(modified)},
    };
    if (copyDestination)
        object.insert(QStringLiteral("copyDestination"), JsonCodec::fileUrl(*copyDestination));
    if (outputDestination)
        object.insert(QStringLiteral("outputDestination"), JsonCodec::fileUrl(*outputDestination));
    if (preset)
        object.insert(QStringLiteral("preset"), preset->toJson());
    if (checksum)
        object.insert(QStringLiteral("checksum"), checksum->rawValue());
    if (error)
        object.insert(QStringLiteral("error"), *error);
    if (sourceHash)
        object.insert(QStringLiteral("sourceHash"), *sourceHash);
    if (destinationHash)
        object.insert(QStringLiteral("destinationHash"), *destinationHash);
    if (copyPublish)
        object.insert(QStringLiteral("copyPublish"), copyPublish->toJson());
    if (outputPublish)
        object.insert(QStringLiteral("outputPublish"), outputPublish->toJson());
    if (started)
        object.insert(QStringLiteral("started"), JsonCodec::date(*started));
    if (finished)
        object.insert(QStringLiteral("finished"), JsonCodec::date(*finished));
    return object;
}

MediaJob MediaJob::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "MediaJob");
    MediaJob job;
    job.id = reader.uuid("id");
    job.source = reader.fileUrl("source");
    job.sourceGrant = FileGrant::fromJson(reader.value("sourceGrant"));
    job.destinationGrant = FileGrant::fromJson(reader.value("destinationGrant"));
    job.destinationRoot = reader.fileUrl("destinationRoot");
    job.copyDestination = reader.optionalFileUrl("copyDestination");
    job.outputDestination = reader.optionalFileUrl("outputDestination");
    job.operation = reader.enumeration<JobOperation>("operation");
    if (reader.has("preset"))
        job.preset = TranscodePreset::fromJson(reader.value("preset"));
    if (reader.has("checksum"))
        job.checksum = reader.enumeration<ChecksumAlgorithm>("checksum");
    job.status = reader.enumeration<JobStatus>("status");
    job.progress = reader.number("progress");
    job.phaseProgress = reader.number("phaseProgress");
    job.elapsed = reader.number("elapsed");
    job.error = reader.optionalString("error");
    job.sourceHash = reader.optionalString("sourceHash");
    job.destinationHash = reader.optionalString("destinationHash");
    job.copyCommitted = reader.boolean("copyCommitted");
    job.created = reader.date("created");
    job.bytes = reader.integer("bytes");
    job.modified = reader.date("modified");
    if (reader.has("copyPublish"))
        job.copyPublish = PublishRecord::fromJson(reader.value("copyPublish"));
    if (reader.has("outputPublish"))
        job.outputPublish = PublishRecord::fromJson(reader.value("outputPublish"));
    if (reader.has("started"))
        job.started = reader.date("started");
    if (reader.has("finished"))
        job.finished = reader.date("finished");
    return job;
}

} // namespace vantor
