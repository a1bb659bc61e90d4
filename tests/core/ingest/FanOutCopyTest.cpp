#include "ingest/ChecksumService.h"
#include "ingest/FanOutCopy.h"

#include "Privileges.h"
#include "FailureText.h"
#include "TempDir.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

using namespace vantor;

namespace {


QString writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        ADD_FAILURE() << "cannot write " << path.toStdString();
    return path;
}

// Takes all but `leave` bytes of the room left on the volume that holds `folder`.
void fill(const QString &folder, qint64 leave)
{
    struct statvfs volume {};
    ::statvfs(QFile::encodeName(folder).constData(), &volume);
    qint64 remaining = qint64(volume.f_bavail) * qint64(volume.f_frsize) - leave;
    QFile filler(folder + QStringLiteral("/filler"));
    ASSERT_TRUE(filler.open(QIODevice::WriteOnly));
    const QByteArray block(test::mebibyte, 'f');
    while (remaining > 0) {
        const qint64 length = std::min<qint64>(remaining, block.size());
        ASSERT_EQ(filler.write(block.constData(), length), length);
        remaining -= length;
    }
}

// A card and three destination drives, each a small volume of its own, so a destination can
// fill up or fail its reads while the others and the card stay sound.
class FanOutCopyTest : public testing::Test {
protected:
    void SetUp() override
    {
        for (const QString &name : {QStringLiteral("card"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}) {
            volumes.push_back(std::make_unique<test::ScratchVolume>(dir.file(name), 24 * test::mebibyte));
            if (!volumes.back()->mounted())
                GTEST_SKIP() << "cannot mount scratch volumes here";
        }
        source = writeFile(volumes[0]->path() + QStringLiteral("/A001/A001C001.MXF"), content);
        test::setModified(source, {1600000000, 123456789});
        for (int drive = 1; drive <= 3; ++drive) {
            const QString root = volumes[std::size_t(drive)]->path();
            targets.push_back({root + QStringLiteral("/A001/A001C001.MXF"), root, FileGrant(root)});
        }
        tuning.blockSize = test::mebibyte; // several blocks, so there is a middle of the copy
        tuning.buffers = 2;
    }
    void TearDown() override { FileIo::Faults::clear(); }

    MediaJob job(std::optional<ChecksumAlgorithm> checksum = ChecksumAlgorithm::xxHash) const
    {
        const struct stat info = test::statOf(source);
        return MediaJob::make(source, FileGrant(source), targets[0].root, targets[0].grant, targets[0].path, std::nullopt,
                              JobOperation::copy, std::nullopt, checksum, qint64(info.st_size),
                              Timestamp::fromTimespec(info.st_mtim));
    }
    FanOutCopy::Result run(const MediaJob &each, const MediaIngestService::Update &update = {},
                           const FanOutCopy::BeforePublish &beforePublish = {},
                           const std::optional<QString> &expectedHash = std::nullopt)
    {
        return FanOutCopy::copy(each, source, targets, *control, update, beforePublish, expectedHash, tuning);
    }
    void expectPublished(std::size_t index, const FanOutCopy::Outcome &outcome, const std::optional<QString> &hash)
    {
        SCOPED_TRACE(index);
        EXPECT_EQ(outcome.error, std::nullopt);
        EXPECT_TRUE(outcome.published);
        EXPECT_EQ(outcome.hash, hash);
        EXPECT_EQ(test::readFile(targets[index].path), content);
        const timespec modified = test::statOf(targets[index].path).st_mtim;
        EXPECT_EQ(std::pair(modified.tv_sec, modified.tv_nsec), std::pair(1600000000L, 123456789L));
    }
    // Nothing under the destination but folders and what the test put there; the card as it was.
    void expectLeft(std::size_t index, const QStringList &files)
    {
        SCOPED_TRACE(index);
        QStringList found = test::listTree(targets[index].root);
        found.removeIf([](const QString &entry) { return entry.endsWith(QLatin1Char('/')); });
        EXPECT_EQ(found, files);
        EXPECT_EQ(test::readFile(source), content);
        EXPECT_EQ(test::statOf(source).st_mtim.tv_nsec, 123456789);
    }
    dev_t deviceOf(std::size_t index) const { return test::statOf(targets[index].root).st_dev; }

    test::TempDir dir;
    std::vector<std::unique_ptr<test::ScratchVolume>> volumes;
    const QByteArray content = test::randomBytes(6 * test::mebibyte + 7, 21);
    QString source;
    std::vector<FanOutCopy::Target> targets;
    CopyPhases::Tuning tuning;
    std::unique_ptr<JobControl> control = std::make_unique<JobControl>();
};

} // namespace

// Every destination gets a verified copy from one read of the card, in each algorithm and
// unverified; the publish record of each comes just before its publish.
TEST_F(FanOutCopyTest, ReadsTheSourceOnceForEveryDestination)
{
    for (const std::optional<ChecksumAlgorithm> algorithm :
         {std::optional<ChecksumAlgorithm>(), {ChecksumAlgorithm::xxHash}, {ChecksumAlgorithm::sha256}}) {
        SCOPED_TRACE(algorithm ? algorithm->rawValue().toStdString() : "none");
        FileIo::Faults::Plan plan;
        plan.readDevice = test::statOf(source).st_dev;
        FileIo::Faults::set(plan);
        std::vector<std::pair<std::size_t, PublishRecord>> records;
        double lastVerifying = -1;
        const FanOutCopy::Result result = run(
            job(algorithm),
            [&](JobStatus phase, double f) {
                // A slow first report (a busy caller) lets the read-backs end meanwhile: their
                // end must still be seen.
                if (phase == JobStatus::verifying && f > 0 && lastVerifying <= 0)
                    std::this_thread::sleep_for(std::chrono::milliseconds(200));
                if (phase == JobStatus::verifying)
                    lastVerifying = f;
            },
            [&](std::size_t index, const PublishRecord &record) {
                EXPECT_FALSE(QFileInfo::exists(targets[index].path));
                records.emplace_back(index, record);
            });
        EXPECT_EQ(FileIo::Faults::bytesRead(), content.size());
        const ChecksumAlgorithm recorded = algorithm.value_or(ChecksumAlgorithm::xxHash);
        const QString digest = ChecksumService::digest(source, recorded, *control);
        EXPECT_EQ(result.sourceHash, algorithm ? std::optional(digest) : std::nullopt);
        ASSERT_EQ(result.outcomes.size(), 3u);
        ASSERT_EQ(records.size(), 3u);
        for (std::size_t index = 0; index < 3; ++index) {
            expectPublished(index, result.outcomes[index], result.sourceHash);
            EXPECT_EQ(records[index], std::pair(index, PublishRecord{content.size(), recorded, digest}));
            QFile::remove(targets[index].path);
        }
        EXPECT_EQ(lastVerifying, algorithm ? 1.0 : -1.0);
    }
}

// A destination that fills up mid-copy, fails its read-back, already holds the name or lacks
// the room up front fails alone with a sentence naming it, and leaves no staging file; the other
// two publish verified copies.
TEST_F(FanOutCopyTest, AFailingDestinationFailsAlone)
{
    const struct {
        const char *name;
        std::size_t bad;
        std::function<void(FileIo::Faults::Plan &)> arrange;
        QStringList left;
        QString message; // with {target} and {folder} of the bad destination
    } cases[] = {
        {"fills up mid-copy", 2,
         [this](FileIo::Faults::Plan &plan) {
             // After every room check passed, before the first byte lands: 2 MiB stay free.
             plan.onMutation = [this, filled = false](const char *operation) mutable {
                 if (!filled && std::strcmp(operation, "write") == 0) {
                     filled = true;
                     fill(targets[2].root, 2 * test::mebibyte);
                 }
             };
         },
         {QStringLiteral("filler")},
         QStringLiteral("The copy to this destination failed (No space left on device) and was discarded: {target}")},
        {"reads back a flipped byte", 1,
         [this](FileIo::Faults::Plan &plan) {
             plan.readDevice = deviceOf(1);
             plan.corruptReads = true;
         },
         {},
         QStringLiteral("Checksum mismatch on this destination. The copy was discarded; the source is untouched: {target}")},
        {"already holds the name", 0,
         [this](FileIo::Faults::Plan &) {
             writeFile(targets[0].path, "theirs");
         },
         {QStringLiteral("A001/A001C001.MXF")},
         QStringLiteral("File already exists. Choose a different name or destination: A001C001.MXF")},
        {"lacks the room up front", 1,
         [this](FileIo::Faults::Plan &) { fill(targets[1].root, test::mebibyte); },
         {QStringLiteral("filler")},
         QStringLiteral("Not enough free space for A001C001.MXF on this destination: {folder}")},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.name);
        FileIo::Faults::Plan plan;
        each.arrange(plan);
        FileIo::Faults::set(plan);
        const FanOutCopy::Result result = run(job());
        FileIo::Faults::clear();
        ASSERT_EQ(result.outcomes.size(), 3u);
        for (std::size_t index = 0; index < 3; ++index) {
            if (index != each.bad) {
                expectPublished(index, result.outcomes[index], result.sourceHash);
                QFile::remove(targets[index].path);
                continue;
            }
            const FanOutCopy::Outcome &outcome = result.outcomes[index];
            EXPECT_FALSE(outcome.published);
            EXPECT_EQ(outcome.hash, std::nullopt);
            QString message = each.message;
            message.replace(QStringLiteral("{target}"), targets[index].path);
            message.replace(QStringLiteral("{folder}"), QFileInfo(targets[index].path).path());
            EXPECT_EQ(outcome.error, message);
            expectLeft(index, each.left);
            QFile::remove(targets[index].path);
            QFile::remove(targets[index].root + QStringLiteral("/filler"));
        }
    }
}

// An unreadable card, a changed card, a read whose digest is not the recorded one, and a cancel in either phase fail
// every destination: nothing at any final name, no staging file anywhere, the card untouched.
TEST_F(FanOutCopyTest, ASourceFailureOrCancelFailsEveryDestination)
{
    const QString changed = QStringLiteral("The source changed after it was queued. Add it again: A001C001.MXF");
    const auto touch = [this] { test::setModified(source, {1700000000, 0}); };
    const struct {
        const char *name;
        JobStatus phase;   // when `during` runs, at its first progress
        std::function<void()> during;
        bool touched;      // the card's time was changed by the test, not by the copy
        std::optional<QString> expectedHash;
        QString message;
        int readError = 0; // every read of the card fails with it
    } cases[] = {
        {"unreadable", JobStatus::copying, {}, false, std::nullopt,
         QStringLiteral("The source could not be read (Input/output error); nothing was published: {source}"), EIO},
        {"changed before", JobStatus::copying, {}, true, std::nullopt, changed},
        {"changed during the copy", JobStatus::copying, touch, true, std::nullopt, changed},
        {"not the recorded digest", JobStatus::copying, {}, false, QStringLiteral("0123456789abcdef"),
         QStringLiteral("The copy it was read from no longer matches its recorded checksum. Nothing was published: {source}")},
        {"cancelled while copying", JobStatus::copying, [this] { control->cancel(); }, false, std::nullopt,
         QStringLiteral("(cancelled)")},
        {"cancelled while verifying", JobStatus::verifying, [this] { control->cancel(); }, false, std::nullopt,
         QStringLiteral("(cancelled)")},
    };
    for (const auto &each : cases) {
        SCOPED_TRACE(each.name);
        control = std::make_unique<JobControl>();
        const MediaJob queued = job();
        if (each.touched && !each.during)
            touch();
        FileIo::Faults::Plan plan;
        plan.readDevice = test::statOf(source).st_dev;
        plan.readError = each.readError;
        FileIo::Faults::set(plan);
        bool ran = false;
        const QString message = test::failureText([&] {
            run(queued, [&](JobStatus phase, double) {
                if (phase == each.phase && each.during && !ran) {
                    ran = true;
                    each.during();
                }
            }, {}, each.expectedHash);
        });
        EXPECT_EQ(message, QString(each.message).replace(QStringLiteral("{source}"), source));
        EXPECT_EQ(ran, bool(each.during));
        test::setModified(source, {1600000000, 123456789});
        for (std::size_t index = 0; index < 3; ++index)
            expectLeft(index, {});
    }
}
