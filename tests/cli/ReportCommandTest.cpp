// vantor ingest's verdict per card, and vantor queue report in each of its forms.
#include "CliTest.h"
#include "jobs/JobReport.h"
#include "queue/CardSeal.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace vantor;
using namespace vantor::test;

namespace {

class ReportCommand : public CliTest {
protected:
    QString project = dir.makeDir("Doc");
    QString card(const QString &name, int files)
    {
        for (int index = 1; index <= files; ++index)
            dir.write(QStringLiteral("cards/%1/CLIP/C%2.MOV").arg(name).arg(index), randomBytes(2000 + index, quint32(index)));
        return dir.file("cards/" + name);
    }
    ProcessResult ingest(const QStringList &options, const QString &source)
    {
        return vantor(QStringList{"ingest", "--operation", "copy", "--project", project} + options + QStringList{source});
    }
    static QString pdfText(const QString &path)
    {
        const ProcessResult text = runProgram("pdftotext", {"-layout", path, "-"});
        EXPECT_EQ(text.exitCode, 0) << "pdftotext comes with poppler-utils (scripts/setup)";
        return text.outText();
    }
    static int pdfPages(const QString &path)
    {
        const ProcessResult info = runProgram("pdfinfo", {path});
        for (const QString &line : info.outText().split(u'\n')) {
            if (line.startsWith("Pages:"))
                return line.section(u':', 1).trimmed().toInt();
        }
        return -1;
    }
};

// The ingest ends with each card's verdict; a card it was to offload that is not safe fails it.
TEST_F(ReportCommand, IngestPrintsEachCardsVerdictAndThePdfHoldsThem)
{
    const QString safe = card("A001", 3), unsafe = card("B002", 1);
    const ProcessResult first = ingest({}, safe);
    EXPECT_EQ(first.exitCode, 0) << first.errText().toStdString();
    // The verdict names the card's ASC MHL root hash at its destination as the receipt.
    const QString scope = dir.file("Doc/02_FOOTAGE/ORIGINALS/A001");
    const QString receipt = CardSeal::receipts(stored().jobs).value(safe);
    EXPECT_TRUE(receipt.startsWith("xxh64 ")) << receipt.toStdString();
    EXPECT_TRUE(first.outText().endsWith("\nSafe to format: " + safe + "\n  Receipt " + receipt + ": " + scope + "\n"))
        << first.outText().toStdString();
    // The card's own report is in the project by itself, named on stderr.
    QStringList reports;
    const QRegularExpression named("Offload report: (" + QRegularExpression::escape(project)
                                   + "/Reports/A001 offload [-0-9]+ [0-9]{6}\\.(html|json))\n");
    for (const QRegularExpressionMatch &match : named.globalMatch(first.errText()))
        reports << match.captured(1);
    ASSERT_EQ(reports.size(), 2) << first.errText().toStdString();
    EXPECT_TRUE(QString::fromUtf8(readFile(reports[0])).contains("Safe to format"));
    EXPECT_TRUE(readFile(reports[1]).startsWith("["));

    const ProcessResult second = ingest({"--no-verify", "--json"}, unsafe);
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_TRUE(second.errText().endsWith("vantor: 1 of the cards are not safe to format; see the reasons above.\n"));
    const QJsonObject outcome = QJsonDocument::fromJson(second.out).object();
    ASSERT_EQ(outcome["cards"].toArray().size(), 1);
    const QJsonObject verdict = outcome["cards"][0].toObject();
    EXPECT_EQ(verdict["verdict"].toString(), "Not safe to format");
    EXPECT_EQ(verdict["reasons"][0]["text"].toString(),
              "The copy was not verified with a checksum: " + unsafe + "/CLIP/C1.MOV \u2192 " + project +
                  "/02_FOOTAGE/ORIGINALS/B002/CLIP/C1.MOV");
    EXPECT_EQ(outcome["outputs"].toArray().size(), 1);

    // One page per small card; the text holds each verdict and the counts.
    const QString pdf = dir.file("report.pdf");
    ASSERT_EQ(vantor({"queue", "report", "--format", "pdf", pdf}).exitCode, 0);
    EXPECT_EQ(pdfPages(pdf), 2);
    const QString text = pdfText(pdf);
    const QString unsafeTail = text.mid(text.indexOf("B002"));
    EXPECT_TRUE(text.contains(QRegularExpression("Safe to format\\s+Files\\s+3\\b"))) << text.toStdString();
    EXPECT_TRUE(text.contains(QRegularExpression("3 of 3\\s+6\\.0 kB\\s+Every copy verified"))) << text.toStdString();
    EXPECT_TRUE(unsafeTail.contains(QRegularExpression("Not safe to format\\b"))) << text.toStdString();
    EXPECT_TRUE(unsafeTail.contains(QRegularExpression("0 of 1\\s+0 bytes\\s+Copies missing or unverified")))
        << text.toStdString();
}

TEST_F(ReportCommand, FormatsAndTheirExits)
{
    ASSERT_EQ(ingest({}, card("A001", 1)).exitCode, 0);
    const QString blocked = dir.makeDir("blocked");
    const struct {
        QStringList arguments;
        int exitCode;
        QString begins; // the file's first bytes, or the last line of stderr
    } cases[] = {
        {{"report.json"}, 0, JobReport::encodeQueue(stored().jobs, CardSeal::receipts(stored().jobs))},
        {{"--format", "json", "report.json"}, 0, JobReport::encodeQueue(stored().jobs, CardSeal::receipts(stored().jobs))},
        {{"--format", "html", "report.html"}, 0, "<!DOCTYPE html>"},
        {{"--format", "pdf", "report.pdf"}, 0, "%PDF-"},
        {{"--format=pdf", "report.pdf"}, 0, "%PDF-"},
        {{"--format", "xml", "report.xml"}, 2, "vantor: --format takes json, html or pdf, not \"xml\""},
        {{"--format", "pdf"}, 2, "vantor: queue report takes one FILE"},
        {{"--format", "pdf", blocked}, 1, "vantor: " + blocked + ": Is a directory"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.arguments.join(u' ').toStdString());
        QStringList arguments = c.arguments;
        const QString target = arguments.isEmpty() || arguments.last().startsWith("-") ? QString() : dir.file(arguments.last());
        if (!target.isEmpty() && !target.startsWith(blocked))
            arguments.last() = target;
        QFile::remove(target);
        const ProcessResult result = vantor(QStringList{"queue", "report"} + arguments);
        EXPECT_EQ(result.exitCode, c.exitCode) << result.errText().toStdString();
        if (c.exitCode == 0)
            EXPECT_TRUE(readFile(target).startsWith(c.begins.toUtf8()));
        else
            EXPECT_TRUE(result.errText().contains(c.begins + "\n")) << result.errText().toStdString();
    }
}

// `vantor ingest --backup` copies each file to every destination and reports each one's outcome;
// a destination that cannot take its copies fails alone, and `queue retry` then copies only it.
TEST_F(ReportCommand, IngestWithBackupsReportsEachDestinationAndRetriesOnlyTheFailedOne)
{
    const QString source = card("A001", 2);
    const QString first = dir.makeDir("drive1"), second = dir.makeDir("drive2");
    const QString blocker = dir.write("drive2/Doc", "a file where the project's folder would go");
    const ProcessResult run = ingest({"--json", "--backup", first, "--backup", second}, source);
    EXPECT_EQ(run.exitCode, 1) << run.errText().toStdString();
    const QJsonObject outcome = QJsonDocument::fromJson(run.out).object();
    const QJsonArray jobs = outcome["jobs"].toArray();
    ASSERT_EQ(jobs.size(), 2);
    for (const QJsonValue &job : jobs) {
        const QString below = "/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/" + QFileInfo(job["source"].toString()).fileName();
        QStringList states;
        for (const QJsonValue &destination : job["destinations"].toArray())
            states << destination["role"].toString() + " " + destination["path"].toString() + " " + destination["state"].toString();
        EXPECT_EQ(states, QStringList({"project " + dir.path() + below + " verified", "backup " + first + below + " verified",
                                       "backup " + second + below + " failed"}));
        EXPECT_EQ(job["destinations"][1]["hash"], job["destinations"][0]["hash"]);
        EXPECT_TRUE(job["error"].toString().startsWith("Not copied to " + second + below + ": ")) << job["error"].toString().toStdString();
    }
    EXPECT_EQ(outcome["cards"][0]["verdict"].toString(), "Not safe to format");
    EXPECT_EQ(outcome["cards"][0]["reasons"].toArray().size(), 2);
    const ProcessResult listed = vantor({"queue", "list"});
    EXPECT_TRUE(listed.outText().contains("    backup " + first + "/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C1.MOV: verified\n"))
        << listed.outText().toStdString();
    EXPECT_TRUE(listed.outText().contains("    backup " + second + "/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C1.MOV: failed. "))
        << listed.outText().toStdString();

    // Unblocked, the retry writes the failed destination only.
    const QString kept = dir.file("Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C1.MOV");
    const QDateTime keptTime = QFileInfo(kept).lastModified();
    ASSERT_TRUE(QFile::remove(blocker));
    ASSERT_EQ(vantor({"queue", "retry", "--failed"}).exitCode, 0);
    const ProcessResult again = vantor({"queue", "run"});
    EXPECT_EQ(again.exitCode, 0) << again.errText().toStdString();
    for (const MediaJob &job : stored().jobs) {
        EXPECT_EQ(job.status, JobStatus::complete) << job.error.value_or(QString()).toStdString();
        ASSERT_EQ(job.backups.size(), 2u);
        EXPECT_EQ(readFile(job.backups[1].path), readFile(job.source));
        EXPECT_EQ(job.backups[1].hash, job.sourceHash);
    }
    EXPECT_EQ(QFileInfo(kept).lastModified(), keptTime);
}

// With --cascade the card is judged on the project copies first, then the backups are copied
// from them; the ingest ends once they are, with the card judged on every destination.
TEST_F(ReportCommand, IngestWithCascadeCopiesTheBackupsAfterTheProjectCopies)
{
    const QString source = card("A001", 2);
    const QString backup = dir.makeDir("drive1");
    const ProcessResult run = ingest({"--json", "--cascade", "--backup", backup}, source);
    EXPECT_EQ(run.exitCode, 0) << run.errText().toStdString();
    EXPECT_TRUE(run.errText().contains("Safe to format on the project copies: " + source + "\n")) << run.errText().toStdString();
    const QJsonObject outcome = QJsonDocument::fromJson(run.out).object();
    for (const QJsonValue &job : outcome["jobs"].toArray()) {
        EXPECT_EQ(job["destinations"][1]["state"].toString(), "verified");
        EXPECT_EQ(readFile(job["destinations"][1]["path"].toString()), readFile(job["source"].toString()));
    }
    EXPECT_EQ(outcome["cards"][0]["verdict"].toString(), "Safe to format");
    EXPECT_EQ(outcome["cards"][0]["receipts"].toArray().size(), 2);
}

} // namespace
