#include "cards/CardReport.h"
#include "cards/CardVerdict.h"
#include "cards/ReportHtml.h"
#include "ingest/MediaIngestService.h"

#include "TempDir.h"

#include <QDir>
#include <QFile>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

// A card with two files, each copied and verified into the project, as the queue leaves them.
struct OffloadedCard {
    TempDir dir;
    QString card = dir.makeDir("A001"), project = dir.makeDir("project");
    std::vector<MediaJob> jobs;

    OffloadedCard()
    {
        dir.write("A001/CLIP/a.MOV", "aaaa");
        dir.write("A001/CLIP/b.MOV", "bbbbbb");
        for (const SourceFile &file : MediaIngestService::scan({card})) {
            const QString copy = project + u'/' + file.relative;
            QDir().mkpath(QFileInfo(copy).path());
            QFile::copy(file.url, copy);
            MediaJob job = MediaJob::make(file.url, file.grant, project, FileGrant(project), copy, std::nullopt,
                                          JobOperation::copy, std::nullopt, ChecksumAlgorithm(), file.size, file.modified);
            job.status = JobStatus::complete;
            job.copyCommitted = true;
            job.sourceHash = job.destinationHash = QStringLiteral("00aa");
            job.sourceRoot = card;
            jobs.push_back(job);
        }
    }
    // Job `index` also owes a backup in `folder`; a committed one is there, verified.
    void addBackup(std::size_t index, bool committed, bool deferred = false, const QString &folder = QStringLiteral("backup"))
    {
        MediaJob &job = jobs[index];
        BackupCopy backup;
        backup.root = dir.file(folder);
        backup.path = backup.root + "/A001/CLIP/" + QFileInfo(job.source).fileName();
        backup.committed = committed;
        backup.deferred = deferred;
        if (committed) {
            QDir().mkpath(QFileInfo(backup.path).path());
            QFile::copy(job.source, backup.path);
            backup.hash = job.sourceHash;
        } else if (!deferred) {
            backup.error = QStringLiteral("No space left on device.");
            job.status = JobStatus::failed;
            job.error = "Not copied to " + backup.path + ": No space left on device.";
        }
        job.backups.push_back(backup);
    }
    QString backupPair(const char *name) const { return source(name) + " \u2192 " + dir.file("backup/A001/CLIP/") + name; }
    QString source(const char *name) const { return card + "/CLIP/" + name; }
    QString copy(const char *name) const { return project + "/A001/CLIP/" + name; }
    QString pair(const char *name) const { return source(name) + " \u2192 " + copy(name); }
    CardVerdict judge() const { return judgeCard(card, jobs, snapshotCard(card, jobs)); }
};

QStringList texts(const CardVerdict &verdict)
{
    QStringList lines;
    for (const CardReason &reason : verdict.reasons)
        lines << reason.text;
    return lines;
}

TEST(CardVerdict, SafeOnlyWhenEveryFileHasAVerifiedCopyAndTheCardHoldsNothingNew)
{
    const struct {
        const char *label;
        std::function<void(OffloadedCard &)> change;
        std::function<QStringList(const OffloadedCard &)> reasons;
    } cases[] = {
        {"all verified", [](OffloadedCard &) {}, [](const OffloadedCard &) { return QStringList(); }},
        {"failed job",
         [](OffloadedCard &c) {
             c.jobs[1].status = JobStatus::failed;
             c.jobs[1].copyCommitted = false;
             c.jobs[1].error = QStringLiteral("Input/output error.");
         },
         [](const OffloadedCard &c) { return QStringList{"The copy failed: " + c.pair("b.MOV") + ". Input/output error."}; }},
        {"cancelled job", [](OffloadedCard &c) { c.jobs[0].status = JobStatus::cancelled; c.jobs[0].copyCommitted = false; },
         [](const OffloadedCard &c) { return QStringList{"The copy was cancelled: " + c.pair("a.MOV")}; }},
        {"copy without checksum", [](OffloadedCard &c) { c.jobs[0].checksum.reset(); c.jobs[0].sourceHash.reset(); },
         [](const OffloadedCard &c) { return QStringList{"The copy was not verified with a checksum: " + c.pair("a.MOV")}; }},
        {"digests differ", [](OffloadedCard &c) { c.jobs[1].destinationHash = QStringLiteral("00bb"); },
         [](const OffloadedCard &c) { return QStringList{"The copy's digest differs from the source's: " + c.pair("b.MOV")}; }},
        {"copy missing", [](OffloadedCard &c) { QFile::remove(c.copy("b.MOV")); },
         [](const OffloadedCard &c) { return QStringList{"The copy is no longer there: " + c.pair("b.MOV")}; }},
        {"copy shortened", [](OffloadedCard &c) { QFile(c.copy("a.MOV")).resize(1); },
         [](const OffloadedCard &c) { return QStringList{"The copy's size differs from the source's: " + c.pair("a.MOV")}; }},
        {"file added", [](OffloadedCard &c) { c.dir.write("A001/CLIP/c.MOV", "new"); },
         [](const OffloadedCard &c) { return QStringList{"A file on the card was not offloaded: " + c.source("c.MOV")}; }},
        {"file changed", [](OffloadedCard &c) { c.dir.write("A001/CLIP/a.MOV", "rewritten"); },
         [](const OffloadedCard &c) { return QStringList{"A file on the card changed after it was read: " + c.source("a.MOV")}; }},
        {"card gone", [](OffloadedCard &c) { QDir(c.card).removeRecursively(); },
         [](const OffloadedCard &c) {
             return QStringList{"The card could not be scanned again. The card or folder is no longer there: " + c.card};
         }},
        {"not copied", [](OffloadedCard &c) { c.jobs[0].operation = JobOperation::transcode; c.jobs[0].copyDestination.reset(); },
         [](const OffloadedCard &c) { return QStringList{"The file is not copied anywhere: " + c.source("a.MOV")}; }},
        {"verified backups", [](OffloadedCard &c) { c.addBackup(0, true); c.addBackup(1, true); },
         [](const OffloadedCard &) { return QStringList(); }},
        {"a failed backup, with the project copy verified", [](OffloadedCard &c) { c.addBackup(0, true); c.addBackup(1, false); },
         [](const OffloadedCard &c) { return QStringList{"The copy failed: " + c.backupPair("b.MOV") + ". No space left on device."}; }},
        {"a backup gone", [](OffloadedCard &c) { c.addBackup(0, true); QFile::remove(c.jobs[0].backups[0].path); },
         [](const OffloadedCard &c) { return QStringList{"The copy is no longer there: " + c.backupPair("a.MOV")}; }},
        {"a cascade's backup, not yet due", [](OffloadedCard &c) { c.addBackup(0, false, true); },
         [](const OffloadedCard &) { return QStringList(); }},
        {"a failed try, then a verified retry", // each file's last job decides
         [](OffloadedCard &c) {
             MediaJob failed = c.jobs[0];
             failed.id = QUuid::createUuid();
             failed.status = JobStatus::failed;
             c.jobs.insert(c.jobs.begin(), failed);
         },
         [](const OffloadedCard &) { return QStringList(); }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        OffloadedCard card;
        c.change(card);
        const CardVerdict verdict = card.judge();
        const QStringList expected = c.reasons(card);
        EXPECT_EQ(texts(verdict), expected);
        EXPECT_EQ(verdict.safe, expected.isEmpty());
        EXPECT_EQ(verdict.label(), expected.isEmpty() ? "Safe to format" : "Not safe to format");
    }
}

// The report counts what the card's jobs did, and the receipts land on their destinations.
TEST(CardReport, CountsFilesBytesCopiesFailuresAndDigests)
{
    OffloadedCard card;
    card.jobs[1].status = JobStatus::failed;
    card.jobs[1].copyCommitted = false;
    card.jobs[1].error = QStringLiteral("Input/output error.");
    card.jobs[0].started = Timestamp{100};
    card.jobs[0].finished = Timestamp{101};
    card.jobs[1].started = Timestamp{101};
    card.jobs[1].finished = Timestamp{104};
    card.addBackup(0, true);
    CardVerdict verdict = card.judge();
    verdict.receipts.push_back(CardReceipt{card.project, QStringLiteral("c0ffee")});
    verdict.receipts.push_back(CardReceipt{card.dir.file("backup/A001"), QStringLiteral("beef")});

    const CardReport report = CardReport::build(card.card, card.jobs, verdict);
    EXPECT_EQ(report.label, "A001");
    EXPECT_EQ(report.files, 2);
    EXPECT_EQ(report.bytes, 10);
    EXPECT_EQ(report.seconds(), 4.0);
    EXPECT_EQ(report.bytesPerSecond(), 2.5);
    EXPECT_EQ(report.destinations[0].folder, card.project);
    EXPECT_EQ(report.destinations[0].files, 2);
    EXPECT_EQ(report.destinations[0].verified, 1);
    EXPECT_EQ(report.destinations[0].bytes, 4);
    EXPECT_EQ(report.destinations[0].receipt, "c0ffee");
    // The backup is a destination of its own; its receipt names the card's folder in it.
    ASSERT_EQ(report.destinations.size(), 2u);
    EXPECT_EQ(report.destinations[1].folder, card.dir.file("backup"));
    EXPECT_EQ(report.destinations[1].files, 1);
    EXPECT_EQ(report.destinations[1].verified, 1);
    EXPECT_EQ(report.destinations[1].receipt, "beef");
    ASSERT_EQ(report.failures.size(), 1u);
    EXPECT_EQ(report.failures[0].file, card.source("b.MOV"));
    ASSERT_EQ(report.digests.size(), 2u);
    EXPECT_EQ(report.digests[0].file, "CLIP/a.MOV");
    EXPECT_EQ(report.digests[0].copy, "00aa");
    EXPECT_EQ(report.digests[1].copy, std::nullopt); // never committed
    EXPECT_TRUE(verdict.text().endsWith("\nReceipt c0ffee: " + card.project + "\nReceipt beef: " + card.dir.file("backup/A001")));
}

// Names and messages are text, never markup, wherever they appear in the HTML.
TEST(ReportHtml, EscapesNamesAndMessages)
{
    OffloadedCard card;
    const QString hostile = QStringLiteral("<i>&\"x\".MOV");
    card.jobs[0].source = card.card + "/CLIP/" + hostile;
    card.jobs[0].status = JobStatus::failed;
    card.jobs[0].error = QStringLiteral("<script>alert(1)</script>");
    const CardReport report = CardReport::build(card.card, card.jobs, card.judge());
    const QString html = ReportHtml::render({report}, QDateTime::fromSecsSinceEpoch(0, Qt::UTC));

    for (const QString &raw : {hostile, QStringLiteral("<script>")})
        EXPECT_FALSE(html.contains(raw)) << raw.toStdString();
    EXPECT_TRUE(html.contains("CLIP/&lt;i&gt;&amp;&quot;x&quot;.MOV"));
    EXPECT_TRUE(html.contains("&lt;script&gt;alert(1)&lt;/script&gt;"));
    EXPECT_TRUE(html.contains("Not safe to format"));
}

TEST(ReportHtml, DurationText)
{
    const struct {
        double seconds;
        const char *text;
    } cases[] = {{0, "00:00:00"}, {59.6, "00:01:00"}, {3725, "01:02:05"}, {-3, "00:00:00"}};
    for (const auto &c : cases)
        EXPECT_EQ(ReportHtml::durationText(c.seconds), c.text) << c.seconds;
}

} // namespace
