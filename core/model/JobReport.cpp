#include "model/JobReport.h"

#include "model/AtomicFile.h"
#include "model/JsonCodec.h"
#include "model/VantorError.h"

#include <QFileInfo>
#include <system_error>

namespace vantor {

JobReport::JobReport(const MediaJob &job)
    : id(job.id)
    , filename(QFileInfo(job.source).fileName())
    , source(job.source)
    , destination(job.destination())
    , operation(job.operation.rawValue())
    , status(job.status.rawValue())
    , elapsed(job.elapsed)
    , sourceHash(job.sourceHash)
    , destinationHash(job.destinationHash)
    , error(job.error)
{
    if (job.preset)
        preset = job.preset->name;
    if (job.checksum)
        checksum = job.checksum->rawValue();
}

QJsonObject JobReport::toJson() const
{
    QJsonObject object {
        { QStringLiteral("id"), JsonCodec::uuid(id) },
        { QStringLiteral("filename"), filename },
        { QStringLiteral("source"), source },
        { QStringLiteral("destination"), destination },
        { QStringLiteral("operation"), operation },
        { QStringLiteral("status"), status },
        { QStringLiteral("elapsed"), elapsed },
    };
    const auto optional = [&](const char *key, const std::optional<QString> &text) {
        if (text)
            object.insert(QLatin1String(key), *text);
    };
    optional("preset", preset);
    optional("checksum", checksum);
    optional("sourceHash", sourceHash);
    optional("destinationHash", destinationHash);
    optional("error", error);
    return object;
}

JobReport JobReport::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "JobReport");
    JobReport report;
    report.id = reader.uuid("id");
    report.filename = reader.string("filename");
    report.source = reader.string("source");
    report.destination = reader.string("destination");
    report.operation = reader.string("operation");
    report.preset = reader.optionalString("preset");
    report.status = reader.string("status");
    report.elapsed = reader.number("elapsed");
    report.checksum = reader.optionalString("checksum");
    report.sourceHash = reader.optionalString("sourceHash");
    report.destinationHash = reader.optionalString("destinationHash");
    report.error = reader.optionalString("error");
    return report;
}

QByteArray JobReport::encodeQueue(const std::vector<MediaJob> &jobs)
{
    // An empty queue is written "[]" rather than the encoder's bracket pair on two lines.
    if (jobs.empty())
        return QByteArrayLiteral("[]");
    QJsonArray reports;
    for (const MediaJob &job : jobs)
        reports.append(JobReport(job).toJson());
    return JsonCodec::pretty(reports);
}

void JobReport::exportQueue(const std::vector<MediaJob> &jobs, const QString &path)
{
    try {
        AtomicFile::replace(path, encodeQueue(jobs));
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), path);
    }
}

} // namespace vantor
