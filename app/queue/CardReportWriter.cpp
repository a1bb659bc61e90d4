#include "queue/CardReportWriter.h"

#include "base/FileIo.h"
#include "base/VantorError.h"
#include "cards/CardReport.h"
#include "cards/ReportHtml.h"
#include "files/SafeFiles.h"
#include "jobs/JobReport.h"
#include "queue/CardSeal.h"

#include <QFileInfo>
#include <QLocale>
#include <system_error>
#include <unistd.h>

namespace vantor::CardReportWriter {

QString folder(const QString &destinationRoot)
{
    const QString reports = destinationRoot + QStringLiteral("/01_REPORTS");
    const QFileInfo info(reports);
    return info.isDir() && !info.isSymLink() ? reports : destinationRoot + QStringLiteral("/Reports");
}

Written write(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardVerdict &verdict, const QDateTime &when)
{
    if (jobs.empty())
        throw VantorError(QStringLiteral("The card has no jobs to report."));
    const QString root = jobs.front().destinationRoot;
    const QString into = folder(root);
    QString label = cardLabel(sourceRoot);
    if (label.isEmpty())
        label = QStringLiteral("Card");
    const QDateTime local = when.toLocalTime();
    const QString stem = label + QStringLiteral(" offload ")
                         + QLocale::c().toString(local, QStringLiteral("yyyy-MM-dd HHmmss"));

    const QByteArray html = ReportHtml::render({CardReport::build(sourceRoot, jobs, verdict)}, local).toUtf8();
    const QByteArray json = JobReport::encodeQueue(jobs, CardSeal::receipts(jobs));

    try {
        // Walked from the project root: the folder is made when missing and never reached through a link.
        SafeFiles::ParentFolder parent = SafeFiles::prepareParent(
            into + QLatin1Char('/') + QFile::decodeName(SafeFiles::stagingName(QString())), root);
        const int dir = parent.folder.get();
        QByteArray stagedHtml, stagedJson;
        try {
            stagedHtml = SafeFiles::stageBytes(dir, html, QStringLiteral(".html.partial"));
            stagedJson = SafeFiles::stageBytes(dir, json, QStringLiteral(".json.partial"));
            QString name;
            for (int n = 1;; ++n) {
                name = n == 1 ? stem : stem + QLatin1Char(' ') + QString::number(n);
                if (!FileIo::existsAt(dir, FileIo::encodeName(name + QStringLiteral(".html")))
                    && !FileIo::existsAt(dir, FileIo::encodeName(name + QStringLiteral(".json"))))
                    break;
            }
            parent.targetName = FileIo::encodeName(name + QStringLiteral(".html"));
            SafeFiles::publish(parent, stagedHtml);
            stagedHtml.clear();
            const QByteArray publishedHtml = parent.targetName;
            parent.targetName = FileIo::encodeName(name + QStringLiteral(".json"));
            try {
                SafeFiles::publish(parent, stagedJson);
            } catch (...) {
                // Half a report is no report: the HTML just published goes too.
                ::unlinkat(dir, publishedHtml.constData(), 0);
                throw;
            }
            return {parent.path + QLatin1Char('/') + name + QStringLiteral(".html"),
                    parent.path + QLatin1Char('/') + name + QStringLiteral(".json")};
        } catch (...) {
            for (const QByteArray &staged : {stagedHtml, stagedJson}) {
                if (!staged.isEmpty())
                    ::unlinkat(dir, staged.constData(), 0);
            }
            throw;
        }
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), into);
    }
}

} // namespace vantor::CardReportWriter
