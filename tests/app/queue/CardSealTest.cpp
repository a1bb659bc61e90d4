// A card copied through the real copy phase is sealed in ASC MHL histories at its destination,
// and its proxies name the very hashes the card's history holds.
#include "MhlTesting.h"
#include "presets/PresetService.h"
#include "TempDir.h"
#include "base/VantorError.h"
#include "ingest/MediaIngestService.h"
#include "jobs/JobReport.h"
#include "mhl/MhlHasher.h"
#include "mhl/MhlHistory.h"
#include "mhl/MhlVerify.h"
#include "planning/JobPlanner.h"
#include "queue/CardSeal.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

namespace vantor {
namespace {

struct Import {
    test::TempDir dir;
    QString card = dir.file("media/A001");
    QString project = dir.makeDir("project");
    std::vector<MediaJob> jobs;

    Import()
    {
        dir.write("media/A001/Clips/A001C001.mov", test::randomBytes(300000, 7));
        dir.write("media/A001/Clips/A001C002.mov", test::randomBytes(2000, 8));
        dir.write("media/A001/Sidecar.txt", "camera notes");
    }
    // Plans the card as the Import page does, copies each file for real, and makes the proxies.
    void run(std::optional<ChecksumAlgorithm> checksum, bool hierarchy = true, bool mhl = true)
    {
        JobPlan plan;
        plan.root = project;
        plan.grant = FileGrant(project);
        plan.copyFolder = "ORIGINALS";
        plan.outputFolder = "PROXIES";
        plan.checksum = checksum;
        plan.hierarchy = hierarchy;
        plan.mhl = mhl;
        plan.preset = PresetService::defaults().front();
        jobs = JobPlanner::plan(plan, MediaIngestService::scan({card}));
        for (MediaJob &job : jobs) {
            JobControl control;
            const MediaIngestService::CopyResult copied = MediaIngestService::copy(job, control);
            job.sourceHash = copied.sourceHash;
            job.destinationHash = copied.destinationHash;
            if (job.outputDestination)
                dir.write(QDir(dir.path()).relativeFilePath(*job.outputDestination), "proxy of " + job.source.toUtf8());
            job.status = JobStatus::complete;
        }
    }
    CardSeal::Outcome seal()
    {
        JobControl control;
        return CardSeal::seal(card, jobs, control);
    }
    QString cardScope() const { return project + "/ORIGINALS/A001"; }
    QString proxyScope() const { return project + "/PROXIES/A001"; }
};

TEST(CardSeal, AVerifiedCardAndItsProxiesGetHistoriesThatCrossReference)
{
    for (const ChecksumAlgorithm checksum : {ChecksumAlgorithm::xxHash, ChecksumAlgorithm::md5}) {
        SCOPED_TRACE(checksum.rawValue().toStdString());
        Import import;
        import.run(checksum);
        const CardSeal::Outcome outcome = import.seal();
        EXPECT_EQ(outcome.notice, "");
        EXPECT_EQ(outcome.cardScope, import.cardScope());
        EXPECT_EQ(outcome.proxyScope, import.proxyScope());
        const HashFormat format = checksum == ChecksumAlgorithm::md5 ? HashFormat::md5 : HashFormat::xxh64;
        EXPECT_EQ(outcome.receipt(), HashFormats::name(format) + " " + outcome.rootContent);

        const MhlHistory::History card = MhlHistory::read(import.cardScope());
        ASSERT_EQ(card.generations.size(), 1u);
        const MhlManifest &manifest = card.generations[0].manifest;
        EXPECT_EQ(manifest.process, "transfer");
        EXPECT_EQ(manifest.rootHash(format)->value, outcome.rootContent);
        const auto recorded = MhlHistory::recordedHashes(card);
        ASSERT_EQ(recorded.size(), 3u);
        for (const MediaJob &job : import.jobs)
            EXPECT_EQ(recorded.at(QDir(import.cardScope()).relativeFilePath(*job.copyDestination)).hashes.at(format), *job.sourceHash);

        // Each proxy's entry names its original and the hash the card's history holds for it.
        const MhlManifest proxies = MhlHistory::read(import.proxyScope()).generations.back().manifest;
        int noted = 0;
        for (const MhlEntry &entry : proxies.entries) {
            if (entry.isDirectory)
                continue;
            ASSERT_EQ(entry.sources.size(), 1u) << entry.path.toStdString();
            const MhlSourceNote &note = entry.sources[0];
            const QString copy = QDir(import.cardScope()).relativeFilePath(note.copyPath);
            EXPECT_EQ(note.hash, recorded.at(copy).hashes.at(format));
            EXPECT_EQ(note.sourcePath, import.card + "/" + copy);
            EXPECT_EQ(entry.hashes[0].value, HashFormats::text(format, MhlHasher::digest(format, "proxy of " + note.sourcePath.toUtf8())));
            ++noted;
        }
        EXPECT_EQ(noted, 2);
        for (const QString &path : test::historyFiles(import.project))
            EXPECT_EQ(test::schemaErrors(path), "") << path.toStdString();
        // The report names the card's root hash for each of its jobs.
        for (const QJsonValue &report : QJsonDocument::fromJson(JobReport::encodeQueue(import.jobs, CardSeal::receipts(import.jobs))).array())
            EXPECT_EQ(report["cardReceipt"].toString(), outcome.receipt());
        JobControl control;
        EXPECT_TRUE(MhlVerify::verify(import.cardScope(), control).ok());
        EXPECT_TRUE(MhlVerify::verify(import.proxyScope(), control).ok());
    }
}

TEST(CardSeal, NoHistoryWithoutAVerifiedCopyThatKeepsTheCardsFolder)
{
    const struct {
        const char *name;
        std::optional<ChecksumAlgorithm> checksum;
        bool hierarchy;
        bool mhl;
        bool fail;
        QString notice; // after "…: " + the card
    } cases[] = {
        {"sha-256", ChecksumAlgorithm::sha256, true, true, false, "ASC MHL has no SHA-256 hash, so no history was written for this card"},
        {"unverified", std::nullopt, true, true, false, "Not every file of this card was copied and verified, so it has no ASC MHL history"},
        {"a failed job", ChecksumAlgorithm::xxHash, true, true, true, "Not every file of this card was copied and verified, so it has no ASC MHL history"},
        {"flat", ChecksumAlgorithm::xxHash, false, true, false, "The copies of this card do not keep its folder, so it has no ASC MHL history"},
        {"switched off", ChecksumAlgorithm::xxHash, true, false, false, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Import import;
        import.run(c.checksum, c.hierarchy, c.mhl);
        if (c.fail)
            import.jobs.back().status = JobStatus::failed;
        const CardSeal::Outcome outcome = import.seal();
        EXPECT_EQ(outcome.notice, c.notice.isEmpty() ? QString() : c.notice + ": " + import.card);
        EXPECT_EQ(outcome.receipt(), "");
        EXPECT_EQ(test::historyFiles(import.project), QStringList());
        EXPECT_TRUE(CardSeal::receipts(import.jobs).isEmpty());
    }
}

// A card that arrives with a history is copied with it, ascmhl/ and all, and gets a verified
// transfer generation; a copy that differs from the card's history is recorded as failed.
TEST(CardSeal, ACardWithAHistoryGetsAVerifiedGeneration)
{
    for (const bool damaged : {false, true}) {
        Import import;
        QDir(import.card).removeRecursively();
        test::copyTree(test::ascmhlData("scenarios/scenario_01/travel_01/A002R2EC"), import.card);
        if (damaged)
            import.dir.write("media/A001/Sidecar.txt", "not what the history holds");
        import.run(ChecksumAlgorithm::xxHash);
        EXPECT_EQ(import.jobs.size(), 5u) << "the card's ascmhl/ files are copied with it";

        const CardSeal::Outcome outcome = import.seal();
        const MhlHistory::History history = MhlHistory::read(import.cardScope());
        ASSERT_EQ(history.generations.size(), 2u);
        const MhlManifest &latest = history.generations[1].manifest;
        EXPECT_EQ(latest.process, "transfer");
        for (const MhlEntry &entry : latest.entries) {
            if (!entry.isDirectory) {
                EXPECT_EQ(entry.hashes[0].action, damaged && entry.path == "Sidecar.txt" ? HashAction::failed : HashAction::verified)
                    << entry.path.toStdString();
            }
        }
        EXPECT_EQ(outcome.failed, damaged ? QStringList{import.cardScope() + "/Sidecar.txt"} : QStringList());
        if (!damaged) {
            EXPECT_EQ(outcome.rootContent, "8d02114c32e28cbe"); // scenario 01's root: same bytes, same hash
        }
    }
}

} // namespace
} // namespace vantor
