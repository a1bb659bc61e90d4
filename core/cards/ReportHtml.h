#pragma once

#include "cards/CardReport.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace vantor {

// The offload report as one HTML document: a section per card, each starting a new printed page,
// with every name and message escaped. Simple enough for QTextDocument to lay out as a PDF.
namespace ReportHtml {

QString render(const std::vector<CardReport> &cards, const QDateTime &generated);
// "hh:mm:ss", as the Queue page writes durations.
QString durationText(double seconds);

} // namespace ReportHtml

} // namespace vantor
