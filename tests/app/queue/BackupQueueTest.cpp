#include "Privileges.h"
#include "TempDir.h"
#include "ingest/MediaIngestService.h"
#include "planning/JobPlanner.h"
#include "queue/CardTracker.h"
#include "queue/QueueService.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

constexpr long mebibyte = 1 << 20;
const QStringList clips{QStringLiteral("CLIP/C001.MOV"), QStringLiteral("CLIP/C002.MOV"), QStringLiteral("CLIP/C003.MOV")};

// Identity and time of a file: a destination left alone keeps both.
QString identity(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return QStringLiteral("missing");
    return QStringLiteral("%1 %2.%3").arg(info.st_ino).arg(info.st_mtim.tv_sec).arg(info.st_mtim.tv_nsec);
}

// A card of three 1.5 MiB clips offloaded through a real queue to a project and two backups,
// each on its own small tmpfs. The second backup holds a filler, so it fills on the third clip.
class BackupQueueTest : public ::testing::Test {
protected:
    TempDir dir;
    QString card = dir.makeDir(QStringLiteral("A001"));
    test::ScratchVolume projectVolume{dir.file(QStringLiteral("project")), 16 * mebibyte};
    test::ScratchVolume first{dir.file(QStringLiteral("b")), 16 * mebibyte};
    test::ScratchVolume second{dir.file(QStringLiteral("c")), 5 * mebibyte};
    QString project = projectVolume.path() + QStringLiteral("/Doc");
    QString filler = second.path() + QStringLiteral("/filler");
    std::unique_ptr<QueueService> queue;
    std::unique_ptr<CardTracker> tracker;

    void SetUp() override
    {
        if (!projectVolume.mounted() || !first.mounted() || !second.mounted())
            GTEST_SKIP() << "cannot mount scratch volumes here";
        for (int index = 0; index < clips.size(); ++index)
            dir.write(QStringLiteral("A001/") + clips[index], test::randomBytes(3 * mebibyte / 2, quint32(index + 1)));
        QDir().mkpath(project);
        fill();
        queue = std::make_unique<QueueService>(dir.file(QStringLiteral("support")));
        tracker = std::make_unique<CardTracker>(queue->repository());
    }
    void TearDown() override
    {
        tracker.reset();
        queue.reset();
    }
    void fill() const
    {
        QFile file(filler);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(test::randomBytes(mebibyte, 9)), mebibyte);
    }
    void enqueueCard(bool cascade = false, bool mhl = false)
    {
        JobPlan plan;
        plan.operation = JobOperation::copy;
        plan.root = project;
        plan.grant = FileGrant(project);
        plan.checksum = ChecksumAlgorithm();
        plan.mhl = mhl;
        plan.backups = {first.path(), second.path()};
        plan.cascade = cascade;
        queue->enqueue(JobPlanner::plan(plan, MediaIngestService::scan({card})));
    }
    // Starts the queue (or retries `job`) and returns the card's verdict once it ends.
    CardVerdict run(const std::optional<QUuid> &job = std::nullopt)
    {
        QSignalSpy ended(tracker.get(), &CardTracker::cardEnded);
        if (job)
            queue->retry(*job);
        queue->start();
        EXPECT_TRUE(ended.wait(30000));
        return ended.isEmpty() ? CardVerdict{} : ended.takeLast().value(2).value<CardVerdict>();
    }
    QString copyAt(const QString &root, int clip) const
    {
        return root + QStringLiteral("/Doc/A001/") + clips[clip];
    }
    const MediaJob &job(int clip) const { return queue->state().jobs.at(std::size_t(clip)); }
};

TEST_F(BackupQueueTest, AFullDestinationFailsAloneAndARetryCopiesOnlyIt)
{
    enqueueCard(false, true);
    const CardVerdict before = run();
    const QString source = card + QLatin1Char('/') + clips[2];
    const QString failed = copyAt(second.path(), 2);

    // The full destination failed with its message and no staging file; the others are verified.
    ASSERT_EQ(job(2).status, JobStatus::failed);
    const std::optional<QString> message = job(2).backups[1].error;
    ASSERT_TRUE(message.has_value());
    EXPECT_EQ(job(2).error, QStringLiteral("Not copied to ") + failed + QStringLiteral(": ") + *message
                                + (message->endsWith(QLatin1Char('.')) ? QString() : QStringLiteral(".")));
    EXPECT_EQ(test::listTree(second.path()),
              QStringList({"Doc/", "Doc/A001/", "Doc/A001/CLIP/", "Doc/A001/CLIP/C001.MOV", "Doc/A001/CLIP/C002.MOV", "filler"}));
    EXPECT_TRUE(job(2).copyCommitted);
    EXPECT_TRUE(job(2).backups[0].committed);
    QStringList untouched;
    for (int clip = 0; clip < clips.size(); ++clip) {
        for (const QString &copy : {project + QStringLiteral("/A001/") + clips[clip], copyAt(first.path(), clip)}) {
            EXPECT_EQ(test::readFile(copy), test::readFile(card + QLatin1Char('/') + clips[clip])) << copy.toStdString();
            untouched << identity(copy);
        }
    }
    EXPECT_FALSE(before.safe);
    ASSERT_EQ(before.reasons.size(), 1u) << before.text().toStdString();
    EXPECT_EQ(before.reasons[0].file, source);
    EXPECT_EQ(before.reasons[0].destination, failed);
    EXPECT_EQ(before.reasons[0].text,
              QStringLiteral("The copy failed: %1 \u2192 %2. %3").arg(source, failed, *message).trimmed());

    // Space freed, the retry copies the one destination owed; the others keep their files.
    ASSERT_TRUE(QFile::remove(filler));
    const CardVerdict after = run(job(2).id);
    EXPECT_EQ(job(2).status, JobStatus::complete) << job(2).error.value_or(QString()).toStdString();
    EXPECT_EQ(test::readFile(failed), test::readFile(source));
    EXPECT_EQ(job(2).backups[1].hash, job(2).sourceHash);
    QStringList now;
    for (int clip = 0; clip < clips.size(); ++clip) {
        for (const QString &copy : {project + QStringLiteral("/A001/") + clips[clip], copyAt(first.path(), clip)})
            now << identity(copy);
    }
    EXPECT_EQ(now, untouched);
    EXPECT_TRUE(after.safe) << after.text().toStdString();
    // Each destination's card folder has its own ASC MHL history: one receipt each.
    QStringList receipts;
    for (const CardReceipt &receipt : after.receipts)
        receipts << receipt.destination;
    EXPECT_EQ(receipts, QStringList({project + QStringLiteral("/A001"), first.path() + QStringLiteral("/Doc/A001"),
                                     second.path() + QStringLiteral("/Doc/A001")}));
}

// With the card gone, a retry reads a verified destination instead, and takes one only when it
// still gives the digest recorded for the source: a spoilt copy (same size and time, other
// bytes) is passed over for the next, and with none left nothing is copied.
TEST_F(BackupQueueTest, ARetryWithoutTheCardCopiesFromAVerifiedDestination)
{
    struct Case {
        const char *name;
        QStringList spoilt; // roots whose copy of the third clip is spoilt
        bool copied;
    };
    const Case cases[] = {{"verified project copy", {}, true},
                          {"spoilt project copy, verified backup", {project}, true},
                          {"every copy spoilt", {project, first.path() + QStringLiteral("/Doc")}, false}};
    for (const Case &each : cases) {
        SCOPED_TRACE(each.name);
        std::vector<QUuid> ids;
        for (const MediaJob &queued : queue->state().jobs)
            ids.push_back(queued.id);
        queue->repository().removeJobs(ids);
        for (const QString &root : {project + QStringLiteral("/A001"), first.path() + QStringLiteral("/Doc"),
                                    second.path() + QStringLiteral("/Doc")})
            QDir(root).removeRecursively();
        if (!QFile::exists(filler))
            fill();
        enqueueCard();
        run();
        ASSERT_EQ(job(2).status, JobStatus::failed);
        const QByteArray original = test::readFile(card + QLatin1Char('/') + clips[2]);
        const QString moved = dir.file(QStringLiteral("gone"));
        ASSERT_TRUE(QDir().rename(card, moved));
        for (const QString &root : each.spoilt) {
            const QString copy = root + QStringLiteral("/A001/") + clips[2];
            const QDateTime modified = QFileInfo(copy).lastModified();
            QFile spoilt(copy);
            ASSERT_TRUE(spoilt.open(QIODevice::ReadWrite));
            spoilt.write("spoilt");
            ASSERT_TRUE(spoilt.setFileTime(modified, QFileDevice::FileModificationTime));
        }
        ASSERT_TRUE(QFile::remove(filler));
        run(job(2).id);
        EXPECT_EQ(job(2).status, each.copied ? JobStatus::complete : JobStatus::failed)
            << job(2).error.value_or(QString()).toStdString();
        if (each.copied)
            EXPECT_EQ(test::readFile(copyAt(second.path(), 2)), original);
        else
            EXPECT_FALSE(QFile::exists(copyAt(second.path(), 2)));
        EXPECT_FALSE(test::listTree(second.path()).join(QLatin1Char(' ')).contains(QStringLiteral(".partial")));
        ASSERT_TRUE(QDir().rename(moved, card));
    }
}

// Cascade: the card is judged on its project copies alone, then the backups are copied from
// those copies (the card is gone by then) and the card is judged again, owing every destination.
TEST_F(BackupQueueTest, CascadeJudgesTheProjectCopiesThenCopiesTheBackupsFromThem)
{
    ASSERT_TRUE(QFile::remove(filler));
    std::vector<CardVerdict> verdicts;
    const QString moved = dir.file(QStringLiteral("gone"));
    QObject::connect(tracker.get(), &CardTracker::cardEnded, queue.get(),
            [&](const QString &, const QList<QUuid> &ids, const CardVerdict &verdict) {
                verdicts.push_back(verdict);
                if (verdicts.size() == 1) {
                    EXPECT_TRUE(QDir().rename(card, moved));
                    EXPECT_EQ(queue->runDeferredBackups(ids), clips.size());
                }
            });
    enqueueCard(true);
    QSignalSpy ended(tracker.get(), &CardTracker::cardEnded);
    queue->start();
    while (ended.size() < 2 && ended.wait(30000)) {
    }
    ASSERT_EQ(verdicts.size(), 2u);
    EXPECT_TRUE(verdicts[0].safe) << verdicts[0].text().toStdString();
    EXPECT_FALSE(verdicts[1].safe);
    ASSERT_EQ(verdicts[1].reasons.size(), 1u) << verdicts[1].text().toStdString();
    EXPECT_TRUE(verdicts[1].reasons[0].text.startsWith(QStringLiteral("The card could not be scanned again.")));
    for (int clip = 0; clip < clips.size(); ++clip) {
        EXPECT_EQ(job(clip).status, JobStatus::complete) << job(clip).error.value_or(QString()).toStdString();
        for (const QString &root : {first.path(), second.path()})
            EXPECT_EQ(test::readFile(copyAt(root, clip)), test::readFile(moved + QLatin1Char('/') + clips[clip]));
        for (const BackupCopy &backup : job(clip).backups) {
            EXPECT_FALSE(backup.deferred);
            EXPECT_EQ(backup.hash, job(clip).sourceHash);
        }
    }
}

} // namespace
