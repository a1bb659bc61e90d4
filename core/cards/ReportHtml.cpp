#include "cards/ReportHtml.h"

#include "ingest/VolumeSpace.h"

#include <cmath>

namespace vantor::ReportHtml {

namespace {

QString escaped(const QString &text)
{
    return text.toHtmlEscaped();
}

QString timeText(const std::optional<QDateTime> &time)
{
    return time ? time->toUTC().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss 'UTC'")) : QStringLiteral("\u2014");
}

QString row(const QStringList &cells, bool header = false)
{
    const QString tag = header ? QStringLiteral("th") : QStringLiteral("td");
    QString html = QStringLiteral("<tr>");
    for (const QString &cell : cells)
        html += QStringLiteral("<%1>%2</%1>").arg(tag, cell);
    return html + QStringLiteral("</tr>");
}

QString card(const CardReport &report, bool first)
{
    QString html = first ? QStringLiteral("<div>") : QStringLiteral("<div style=\"page-break-before: always\">");
    html += QStringLiteral("<h1>%1</h1><p class=\"path\">%2</p>").arg(escaped(report.label), escaped(report.sourceRoot));
    const QString tone = report.verdict.safe ? QStringLiteral("safe") : QStringLiteral("unsafe");
    html += QStringLiteral("<p class=\"%1\">%2</p>").arg(tone, escaped(report.verdict.label()));
    if (!report.verdict.reasons.empty()) {
        html += QStringLiteral("<ul>");
        for (const CardReason &reason : report.verdict.reasons)
            html += QStringLiteral("<li>%1</li>").arg(escaped(reason.text));
        html += QStringLiteral("</ul>");
    }

    const std::optional<double> speed = report.bytesPerSecond();
    html += QStringLiteral("<table class=\"facts\">");
    html += row({QStringLiteral("Files"), QString::number(report.files)});
    html += row({QStringLiteral("Bytes"), QStringLiteral("%1 (%2)").arg(report.bytes).arg(VolumeSpace::byteText(report.bytes))});
    html += row({QStringLiteral("Started"), timeText(report.started)});
    html += row({QStringLiteral("Finished"), timeText(report.finished)});
    html += row({QStringLiteral("Duration"), durationText(report.seconds())});
    html += row({QStringLiteral("Speed"),
                 speed ? VolumeSpace::byteText(qint64(*speed)) + QStringLiteral("/s") : QStringLiteral("\u2014")});
    html += QStringLiteral("</table>");

    html += QStringLiteral("<h2>Destinations</h2><table>");
    html += row({QStringLiteral("Destination"), QStringLiteral("Verified"), QStringLiteral("Bytes"),
                 QStringLiteral("Outcome"), QStringLiteral("Receipt")}, true);
    for (const CardReport::Destination &destination : report.destinations) {
        const bool complete = destination.verified == destination.files;
        html += row({escaped(destination.folder), QStringLiteral("%1 of %2").arg(destination.verified).arg(destination.files),
                     VolumeSpace::byteText(destination.bytes),
                     complete ? QStringLiteral("Every copy verified") : QStringLiteral("Copies missing or unverified"),
                     destination.receipt ? QStringLiteral("<span class=\"digest\">%1</span>").arg(escaped(*destination.receipt))
                                         : QStringLiteral("\u2014")});
    }
    if (report.destinations.empty())
        html += row({QStringLiteral("No copies were made."), QString(), QString(), QString(), QString()});
    html += QStringLiteral("</table>");

    html += QStringLiteral("<h2>Failures</h2>");
    if (report.failures.empty()) {
        html += QStringLiteral("<p>None.</p>");
    } else {
        html += QStringLiteral("<ul>");
        for (const CardReport::Failure &failure : report.failures)
            html += QStringLiteral("<li>%1: %2</li>").arg(escaped(failure.text), escaped(failure.file));
        html += QStringLiteral("</ul>");
    }

    html += QStringLiteral("<h2>Digests</h2>");
    if (report.digests.empty()) {
        html += QStringLiteral("<p>No file was verified with a checksum.</p>");
    } else {
        html += QStringLiteral("<table class=\"digests\">");
        html += row({QStringLiteral("File"), QStringLiteral("Checksum"), QStringLiteral("Source"), QStringLiteral("Copy")}, true);
        for (const CardReport::Digest &digest : report.digests)
            html += row({escaped(digest.file), escaped(digest.algorithm), escaped(digest.source),
                         digest.copy ? escaped(*digest.copy) : QStringLiteral("\u2014")});
        html += QStringLiteral("</table>");
    }
    return html + QStringLiteral("</div>");
}

} // namespace

QString durationText(double seconds)
{
    const qint64 whole = qint64(std::llround(std::max(0.0, seconds)));
    return QStringLiteral("%1:%2:%3")
        .arg(whole / 3600, 2, 10, QLatin1Char('0'))
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString render(const std::vector<CardReport> &cards, const QDateTime &generated)
{
    QString html = QStringLiteral(
        "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>Vantor offload report</title><style>"
        "body { font-family: sans-serif; font-size: 9pt; }"
        "h1 { font-size: 16pt; margin-bottom: 0; } h2 { font-size: 11pt; margin-top: 12px; }"
        ".path { color: #555555; margin-top: 2px; }"
        ".safe { font-size: 14pt; font-weight: bold; color: #1b7a3a; }"
        ".unsafe { font-size: 14pt; font-weight: bold; color: #b3261e; }"
        "table { border-collapse: collapse; } th, td { padding: 2px 6px; text-align: left; }"
        "th { border-bottom: 1px solid #888888; }"
        ".digests td { font-family: monospace; font-size: 7pt; } .digest { font-family: monospace; font-size: 7pt; }"
        "</style></head><body>\n");
    html += QStringLiteral("<p class=\"path\">Vantor offload report, %1</p>\n").arg(timeText(generated));
    if (cards.empty())
        html += QStringLiteral("<p>No card or folder was offloaded.</p>\n");
    for (std::size_t index = 0; index < cards.size(); ++index)
        html += card(cards[index], index == 0) + QLatin1Char('\n');
    return html + QStringLiteral("</body></html>\n");
}

} // namespace vantor::ReportHtml
