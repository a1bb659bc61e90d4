#include "TempDir.h"
#include "ingest/MediaIngestService.h"
#include "planning/JobPlanner.h"
#include "queue/CardSeal.h"
#include "queue/CardTracker.h"
#include "queue/QueueService.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// A real queue copying a real card; `during` runs inside the first job, before its copy.
class CardTrackerTest : public ::testing::Test {
protected:
    TempDir dir;
    QString card = dir.makeDir("A001"), project = dir.makeDir("project");
    std::function<void()> during;
    std::unique_ptr<QueueService> queue;
    std::unique_ptr<CardTracker> tracker;

    void SetUp() override
    {
        for (const char *name : {"CLIP/C001.MOV", "CLIP/C002.MOV", "C001.XML"})
            dir.write(QStringLiteral("A001/") + name, QByteArray(1000, 'x'));
        queue = std::make_unique<QueueService>(dir.file("support"), [this](const MediaJob &job, JobControl &control,
                                                                          const QString &engine, const JobPhaseCallbacks &callbacks) {
            if (during)
                std::exchange(during, nullptr)();
            return runJobPhases(job, control, engine, callbacks);
        });
        tracker = std::make_unique<CardTracker>(queue->repository());
    }
    std::vector<MediaJob> planCard()
    {
        JobPlan plan;
        plan.operation = JobOperation::copy;
        plan.root = project;
        plan.grant = FileGrant(project);
        plan.checksum = ChecksumAlgorithm();
        return JobPlanner::plan(plan, MediaIngestService::scan({card}));
    }
    // Queues the card, runs it and returns what cardEnded carried.
    QList<QVariant> offload()
    {
        QSignalSpy ended(tracker.get(), &CardTracker::cardEnded);
        queue->enqueue(planCard());
        queue->start();
        EXPECT_TRUE(ended.wait(20000));
        EXPECT_EQ(ended.count(), 1);
        return ended.isEmpty() ? QList<QVariant>() : ended.takeFirst();
    }
};

TEST_F(CardTrackerTest, ACardEndsOnceWithItsJobsAndAVerdict)
{
    const QList<QVariant> ended = offload();
    ASSERT_EQ(ended.size(), 3);
    EXPECT_EQ(ended[0].toString(), card);
    QList<QUuid> ids;
    for (const MediaJob &job : queue->state().jobs)
        ids << job.id;
    EXPECT_EQ(ended[1].value<QList<QUuid>>(), ids);
    const auto verdict = ended[2].value<CardVerdict>();
    EXPECT_TRUE(verdict.safe) << verdict.text().toStdString();
    EXPECT_TRUE(tracker->verdict(card).has_value());
    EXPECT_FALSE(tracker->open(card));
    EXPECT_EQ(tracker->cards(), QStringList{card});
    EXPECT_EQ(tracker->fileCount(card), 3);
    // A tracker started over this history (the next launch) knows the card as ended.
    CardTracker relaunched(queue->repository());
    EXPECT_EQ(relaunched.cards(), QStringList{card});
    EXPECT_FALSE(relaunched.open(card));

    // Queueing the card again opens it: its verdict is gone until it ends again.
    QSignalSpy changed(tracker.get(), &CardTracker::verdictChanged);
    MediaJob again = queue->state().jobs.front();
    again.id = QUuid::createUuid();
    again.status = JobStatus::waiting;
    again.copyDestination = project + QStringLiteral("/again.MOV");
    queue->enqueue({again});
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(tracker->verdict(card).has_value());
    EXPECT_TRUE(tracker->open(card));
    EXPECT_EQ(tracker->fileCount(card), 3); // the same source queued twice is one file

    // Once its jobs are gone from the queue, so is the card.
    std::vector<QUuid> all;
    for (const MediaJob &job : queue->state().jobs)
        all.push_back(job.id);
    queue->repository().removeJobs(all);
    EXPECT_TRUE(tracker->cards().isEmpty());
    EXPECT_EQ(tracker->fileCount(card), 0);
    EXPECT_FALSE(tracker->open(card));
}

// A file the camera (or anyone) writes to the card while it is being offloaded is named.
TEST_F(CardTrackerTest, AFileAddedDuringTheOffloadMakesTheCardUnsafe)
{
    const QString added = dir.file("A001/CLIP/C003.MOV");
    during = [&] { dir.write("A001/CLIP/C003.MOV", "late"); };
    const CardVerdict verdict = offload().value(2).value<CardVerdict>();
    EXPECT_FALSE(verdict.safe);
    ASSERT_EQ(verdict.reasons.size(), 1u);
    EXPECT_EQ(verdict.reasons[0].text, "A file on the card was not offloaded: " + added);
    EXPECT_EQ(verdict.reasons[0].file, added);

    // The card was sealed before it was judged: the receipt is its root hash at the destination.
    const std::vector<CardReceipt> sealed{{project + "/A001", CardSeal::receipts(queue->state().jobs).value(card)}};
    EXPECT_TRUE(sealed[0].rootHash.startsWith("xxh64 ")) << sealed[0].rootHash.toStdString();
    EXPECT_EQ(verdict.receipts, sealed);
    // A receipt given again for the same destination replaces the one it had.
    tracker->addReceipt(card, CardReceipt{project + "/A001", QStringLiteral("c0ffee")});
    const std::vector<CardReceipt> replaced{CardReceipt{project + "/A001", QStringLiteral("c0ffee")}};
    EXPECT_EQ(tracker->verdict(card)->receipts, replaced);
}

} // namespace
