#pragma once

#include "cards/CardVerdict.h"
#include "jobs/MediaJob.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace vantor {

// Writes a card's offload report into the project its jobs copied to, once the card is judged,
// whatever the verdict: the HTML of the card and the JSON report of its jobs. Blocking: call it
// off the main thread.
namespace CardReportWriter {

struct Written {
    QString html;
    QString json;
};

// "<root>/01_REPORTS" when the project has it, else "<root>/Reports".
QString folder(const QString &destinationRoot);
// Publishes "<label> offload <yyyy-MM-dd HHmmss>.html" and ".json" (`when` in local time) into
// folder(), never replacing a file: a clash adds " 2", " 3", … to both names. Throws with the
// reason; nothing is then left at a final name.
Written write(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardVerdict &verdict,
              const QDateTime &when = QDateTime::currentDateTime());

} // namespace CardReportWriter

} // namespace vantor
