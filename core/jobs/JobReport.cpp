#include "jobs/JobReport.h"

#include "base/AtomicFile.h"
#include "base/JsonCodec.h"
#include "base/VantorError.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <system_error>
#include <cmath>

namespace vantor {

namespace {

std::optional<QString> isoText(const std::optional<Timestamp> &time)
{
    if (!time)
        return std::nullopt;
    return QDateTime::fromSecsSinceEpoch(qint64(std::floor(time->unixSeconds())), Qt::UTC).toString(Qt::ISODate);
}

} // namespace

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
    , copyPath(job.copyDestination)
    , outputPath(job.outputDestination)
    , bytes(job.bytes)
    , started(isoText(job.started))
    , finished(isoText(job.finished))
{
    // Only the copy phase computes a destination digest; a transcode's output has none.
    if (job.copyDestination)
        copyHash = job.destinationHash;
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
        { QStringLiteral("bytes"), bytes },
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
    optional("copyPath", copyPath);
    optional("copyHash", copyHash);
    optional("outputPath", outputPath);
    optional("started", started);
    optional("finished", finished);
    optional("cardReceipt", cardReceipt);
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
    report.copyPath = reader.optionalString("copyPath");
    report.copyHash = reader.optionalString("copyHash");
    report.outputPath = reader.optionalString("outputPath");
    report.bytes = reader.has("bytes") ? reader.integer("bytes") : 0;
    report.started = reader.optionalString("started");
    report.finished = reader.optionalString("finished");
    report.cardReceipt = reader.optionalString("cardReceipt");
    return report;
}

QByteArray JobReport::encodeQueue(const std::vector<MediaJob> &jobs, const QMap<QString, QString> &receipts)
{
    // An empty queue is written "[]" rather than the encoder's bracket pair on two lines.
    if (jobs.empty())
        return QByteArrayLiteral("[]");
    QJsonArray reports;
    for (const MediaJob &job : jobs) {
        JobReport report(job);
        if (job.sourceRoot && receipts.contains(*job.sourceRoot))
            report.cardReceipt = receipts.value(*job.sourceRoot);
        reports.append(report.toJson());
    }
    return JsonCodec::pretty(reports);
}

bool JobReport::writesUnder(const MediaJob &job, const QString &folder)
{
    const QString prefix = QDir::cleanPath(folder) + QLatin1Char('/');
    const auto under = [&](const std::optional<QString> &path) {
        return path && QDir::cleanPath(*path).startsWith(prefix);
    };
    return under(job.copyDestination) || under(job.outputDestination);
}

void JobReport::exportQueue(const std::vector<MediaJob> &jobs, const QString &path, const QMap<QString, QString> &receipts)
{
    try {
        AtomicFile::replace(path, encodeQueue(jobs, receipts));
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), path);
    }
}

} // namespace vantor
