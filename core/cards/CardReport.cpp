#include "cards/CardReport.h"

#include <QHash>
#include <QSet>

namespace vantor {

namespace {

QDateTime utc(const Timestamp &time)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(time.unixSeconds() * 1000), Qt::UTC);
}

QString belowRoot(const QString &root, const QString &path)
{
    const QString prefix = root + QLatin1Char('/');
    return path.startsWith(prefix) ? path.mid(prefix.size()) : path;
}

} // namespace

double CardReport::seconds() const
{
    return started && finished ? std::max(0.0, started->msecsTo(*finished) / 1000.0) : 0.0;
}

std::optional<double> CardReport::bytesPerSecond() const
{
    const double elapsed = seconds();
    if (elapsed <= 0)
        return std::nullopt;
    return bytes / elapsed;
}

CardReport CardReport::build(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardVerdict &verdict)
{
    CardReport report;
    report.sourceRoot = sourceRoot;
    report.label = cardLabel(sourceRoot);
    report.verdict = verdict;
    QHash<QString, const MediaJob *> last;
    for (const MediaJob &job : jobs)
        last.insert(job.source, &job);
    QHash<QString, std::size_t> destinationIndex;
    for (const MediaJob &job : jobs) {
        if (last.value(job.source) != &job)
            continue;
        ++report.files;
        report.bytes += job.bytes;
        if (job.started && (!report.started || utc(*job.started) < *report.started))
            report.started = utc(*job.started);
        if (job.finished && (!report.finished || utc(*job.finished) > *report.finished))
            report.finished = utc(*job.finished);
        for (const RequiredCopy &copy : requiredCopies(job)) {
            if (!destinationIndex.contains(copy.destination)) {
                destinationIndex.insert(copy.destination, report.destinations.size());
                report.destinations.push_back(Destination{copy.destination, 0, 0, 0, std::nullopt});
            }
            Destination &destination = report.destinations[destinationIndex.value(copy.destination)];
            ++destination.files;
            if (copy.verified) {
                ++destination.verified;
                destination.bytes += job.bytes;
            }
        }
        if (job.status == JobStatus::failed || job.status == JobStatus::cancelled)
            report.failures.push_back(Failure{job.source, job.error.value_or(QStringLiteral("Cancelled."))});
        if (job.checksum && job.sourceHash)
            report.digests.push_back(Digest{belowRoot(sourceRoot, job.source), job.checksum->rawValue(),
                                            *job.sourceHash, job.copyCommitted ? job.destinationHash : std::nullopt});
    }
    // A receipt names the card's folder at a destination: it belongs to the destination holding it.
    for (const CardReceipt &receipt : verdict.receipts) {
        for (auto it = destinationIndex.constBegin(); it != destinationIndex.constEnd(); ++it) {
            if (receipt.destination == it.key() || receipt.destination.startsWith(it.key() + QLatin1Char('/')))
                report.destinations[it.value()].receipt = receipt.rootHash;
        }
    }
    return report;
}

} // namespace vantor
