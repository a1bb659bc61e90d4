#pragma once

#include "cards/CardReport.h"
#include "jobs/MediaJob.h"

#include <QDateTime>
#include <functional>
#include <optional>
#include <vector>

namespace vantor {

// The queue's report in each form a user exports: the JSON job list, and the per-card offload
// report as HTML or PDF.
namespace OffloadReport {

enum class Format { json, html, pdf };

std::optional<Format> formatNamed(const QString &name); // "json", "html" or "pdf"
QString formatName(Format format);
// "Vantor-queue-report" with the format's extension.
QString suggestedFileName(Format format);

// A verdict the caller already holds for a card (the window's, with its receipts); none: the
// card is listed again and judged now.
using KnownVerdict = std::function<std::optional<CardVerdict>(const QString &sourceRoot)>;

// One report per card the jobs were found in, in queue order.
std::vector<CardReport> cards(const std::vector<MediaJob> &jobs, const KnownVerdict &known = {});
// The document; cards are judged only for HTML and PDF. PDF needs a QGuiApplication.
QByteArray render(Format format, const std::vector<MediaJob> &jobs, const KnownVerdict &known = {},
                  const QDateTime &generated = QDateTime::currentDateTimeUtc());
// render(), written to `path` atomically; throws with the path on failure.
void write(Format format, const std::vector<MediaJob> &jobs, const QString &path, const KnownVerdict &known = {});

} // namespace OffloadReport

} // namespace vantor
