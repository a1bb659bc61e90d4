#include "reports/OffloadReport.h"

#include "base/AtomicFile.h"
#include "base/VantorError.h"
#include "cards/ReportHtml.h"
#include "jobs/JobReport.h"
#include "queue/CardSeal.h"
#include "reports/ReportPdf.h"

#include <system_error>

namespace vantor::OffloadReport {

std::optional<Format> formatNamed(const QString &name)
{
    for (const Format format : {Format::json, Format::html, Format::pdf}) {
        if (name == formatName(format))
            return format;
    }
    return std::nullopt;
}

QString formatName(Format format)
{
    switch (format) {
    case Format::json:
        return QStringLiteral("json");
    case Format::html:
        return QStringLiteral("html");
    case Format::pdf:
        break;
    }
    return QStringLiteral("pdf");
}

QString suggestedFileName(Format format)
{
    return QStringLiteral("Vantor-queue-report.") + formatName(format);
}

std::vector<CardReport> cards(const std::vector<MediaJob> &jobs, const KnownVerdict &known)
{
    std::vector<CardReport> reports;
    const QMap<QString, QString> receipts = CardSeal::receipts(jobs);
    for (const QString &root : cardRoots(jobs)) {
        const std::vector<MediaJob> own = cardJobs(jobs, root);
        std::optional<CardVerdict> verdict = known ? known(root) : std::nullopt;
        if (!verdict)
            verdict = judgeCard(root, own, snapshotCard(root, own));
        // The sealed history on disk is the receipt, whoever judged the card.
        if (const auto receipt = receipts.constFind(root); receipt != receipts.constEnd() && verdict->receipts.empty())
            verdict->receipts.push_back({own.front().destinationRoot, *receipt});
        reports.push_back(CardReport::build(root, own, *verdict));
    }
    return reports;
}

QByteArray render(Format format, const std::vector<MediaJob> &jobs, const KnownVerdict &known, const QDateTime &generated)
{
    if (format == Format::json)
        return JobReport::encodeQueue(jobs, CardSeal::receipts(jobs));
    const QString html = ReportHtml::render(cards(jobs, known), generated);
    if (format == Format::html)
        return html.toUtf8();
    return ReportPdf::render(html, QStringLiteral("Vantor offload report"));
}

void write(Format format, const std::vector<MediaJob> &jobs, const QString &path, const KnownVerdict &known)
{
    const QByteArray document = render(format, jobs, known);
    try {
        AtomicFile::replace(path, document);
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), path);
    }
}

} // namespace vantor::OffloadReport
