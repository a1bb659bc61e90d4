#include "ingest/ChecksumService.h"
#include "ingest/MediaIngestService.h"
#include "ingest/StagingWriter.h"

#include "Privileges.h"
#include "FailureText.h"
#include "TempDir.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QRegularExpression>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

using namespace vantor;

namespace {

const QString mismatch = QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched.");
using Update = std::pair<JobStatus, double>;

void flipByte(const QString &path, qint64 offset)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(offset));
    const char byte = char(file.peek(1).at(0) ^ 0x01);
    file.write(&byte, 1);
}

// A job as the queue makes it from a scanned source: the fingerprint taken now.
MediaJob jobFor(const QString &source, const QString &root, const QString &target,
                std::optional<ChecksumAlgorithm> checksum = ChecksumAlgorithm::xxHash)
{
    const struct stat info = test::statOf(source);
    return MediaJob::make(source, FileGrant(source), root, FileGrant(root), target, std::nullopt, JobOperation::copy,
                          std::nullopt, checksum, qint64(info.st_size), Timestamp::fromTimespec(info.st_mtim));
}

class CopyTest : public testing::Test {
protected:
    void SetUp() override { resetSource(); }
    void resetSource()
    {
        QFile::remove(source);
        dir.write(QStringLiteral("card/A001C001.MXF"), content);
        test::setModified(source, {1600000000, 123456789});
    }
    QString copyFailure(const MediaJob &job, const MediaIngestService::Update &update = {})
    {
        return test::failureText([&] { MediaIngestService::copy(job, control, update); });
    }
    QStringList filesUnderRoot() const { return test::listTree(root).filter(QRegularExpression(QStringLiteral("[^/]$"))); }
    // Whatever failed, the source is as it was and nothing but folders is under the root.
    void expectNothingLeft()
    {
        EXPECT_EQ(test::readFile(source), content);
        EXPECT_EQ(test::statOf(source).st_mtim.tv_nsec, 123456789);
        EXPECT_EQ(filesUnderRoot(), QStringList());
    }

    test::TempDir dir;
    const QByteArray content = test::randomBytes(9 * test::mebibyte + 5, 4); // three copy chunks, ten hash chunks
    const QString source = dir.file(QStringLiteral("card/A001C001.MXF"));
    const QString root = dir.makeDir(QStringLiteral("project"));
    const QString target = root + QStringLiteral("/02_FOOTAGE/A001/A001C001.MXF");
    MediaJob job() const { return jobFor(source, root, target); }
    JobControl control;
};

} // namespace

TEST_F(CopyTest, CopiesInEachAlgorithmOrUnverified)
{
    for (const std::optional<ChecksumAlgorithm> algorithm :
         {std::optional<ChecksumAlgorithm>(), {ChecksumAlgorithm::xxHash}, {ChecksumAlgorithm::md5}, {ChecksumAlgorithm::sha256}}) {
        const QString name = algorithm ? algorithm->rawValue() : QStringLiteral("none");
        SCOPED_TRACE(name.toStdString());
        const QString destination = root + QStringLiteral("/%1/clip.mxf").arg(name);
        // A staging file left by a crashed attempt of the same job is replaced.
        const MediaJob each = jobFor(source, root, destination, algorithm);
        dir.write(QStringLiteral("project/%1/").arg(name) + MediaIngestService::stagingName(each), "stale");
        std::vector<Update> updates;
        const auto result = MediaIngestService::copy(each, control, [&](JobStatus phase, double f) { updates.emplace_back(phase, f); });
        EXPECT_EQ(test::readFile(destination), content);
        EXPECT_EQ(std::pair(test::statOf(destination).st_mtim.tv_sec, test::statOf(destination).st_mtim.tv_nsec), std::pair(1600000000L, 123456789L));
        // Three copy blocks, then verification's start and three blocks of each file, rising to the end.
        ASSERT_EQ(updates.size(), algorithm ? 10u : 3u);
        EXPECT_EQ(updates[0], Update(JobStatus::copying, double(4 * test::mebibyte) / double(content.size())));
        EXPECT_EQ(updates.back(), Update(algorithm ? JobStatus::verifying : JobStatus::copying, 1.0));
        EXPECT_TRUE(std::is_sorted(updates.begin() + 3, updates.end(), [](auto &a, auto &b) { return a.second < b.second; }));
        const std::optional<QString> digest = algorithm ? std::optional(ChecksumService::digest(source, *algorithm, control)) : std::nullopt;
        EXPECT_EQ(std::pair(result.sourceHash, result.destinationHash), std::pair(digest, digest));
    }
    EXPECT_EQ(test::listTree(root).filter(QStringLiteral(".vantor-")), QStringList());

}

// Refused jobs, /proc files that report a size of 0 but read as more or fail to read, a source that
// changes before, during or after the copy, and a cancel after verification or before the start:
// each fails with its own text and leaves nothing under the root.
TEST_F(CopyTest, EachFailureHasItsTextAndLeavesNothing)
{
    const QString changed = QStringLiteral("The source changed after it was queued. Add it again: A001C001.MXF");
    const MediaJob queued = job();
    MediaJob missing = queued, grown = queued;
    missing.copyDestination.reset();
    grown.bytes += 1;
    const auto grow = [&] {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("!");
    };
    const struct {
        MediaJob job;
        MediaIngestService::Update update;
        QString message;
    } cases[] = {
        {missing, {}, QStringLiteral("Copy destination is missing.")},
        {jobFor(QStringLiteral("/proc/self/status"), root, root + QStringLiteral("/status")), {},
         QStringLiteral("Source size changed during copy. Nothing was committed.")},
        {jobFor(QStringLiteral("/proc/self/mem"), root, root + QStringLiteral("/mem")), {}, QString::fromLocal8Bit(std::strerror(EIO))},
        {grown, {}, changed},
        {queued, [&](JobStatus phase, double f) { if (phase == JobStatus::copying && f < 0.5) grow(); }, changed},
        {queued, [&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f > 0.5) test::setModified(source, {1600000001, 0}); }, changed},
        {queued, [&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f == 0.0) flipByte(source, 7); }, mismatch},
        {queued, [&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f == 1.0) control.cancel(); }, "(cancelled)"},
        {queued, [&](JobStatus, double) { ADD_FAILURE() << "copied after a cancel"; }, "(cancelled)"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(copyFailure(c.job, c.update), c.message);
        EXPECT_EQ(filesUnderRoot(), QStringList());
        resetSource();
    }
}

// However a byte of the copy goes bad between writing and verifying, the digests disagree.
TEST_F(CopyTest, FlippedByteInTheStagingFileIsAlwaysCaught)
{
    for (const ChecksumAlgorithm::Value algorithm : ChecksumAlgorithm::allCases) {
        for (const qint64 offset : {qint64(0), qint64(test::mebibyte - 1), qint64(test::mebibyte), qint64(4 * test::mebibyte + 31), qint64(content.size() - 1)}) {
            SCOPED_TRACE(ChecksumAlgorithm(algorithm).rawValue().toStdString() + " at " + std::to_string(offset));
            const MediaJob each = jobFor(source, root, target, algorithm);
            const QString staging = QFileInfo(target).path() + QLatin1Char('/') + MediaIngestService::stagingName(each);
            EXPECT_EQ(copyFailure(each, [&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f == 0.0) flipByte(staging, offset); }),
                      mismatch);
            expectNothingLeft();
        }
    }
}

// Every mutating step of a copy, failed once in turn, fails the copy with the system's text and
// leaves no file at the final name, no staging file, and the source as it was.
TEST_F(CopyTest, EveryFailedFileOperationLeavesNothing)
{
    FileIo::Faults::clear();
    MediaIngestService::copy(job(), control);
    const long operations = FileIo::Faults::mutatingCount();
    ASSERT_GE(operations, 10);
    const FileIo::Faults::Plan plans[] = {{.error = EIO}, {.error = ENOSPC}, {.error = ENOSPC, .shortWrite = true}};
    for (const FileIo::Faults::Plan &fault : plans) {
        const QString systemText = QString::fromLocal8Bit(std::strerror(fault.error));
        for (long step = 1; step <= operations; ++step) {
            SCOPED_TRACE(systemText.toStdString() + (fault.shortWrite ? " short" : "") + " at step " + std::to_string(step));
            QDir(root + QStringLiteral("/02_FOOTAGE")).removeRecursively(); // so making the folders fails in turn too
            FileIo::Faults::Plan plan = fault;
            plan.failAt = step;
            FileIo::Faults::set(plan);
            const QString message = copyFailure(job());
            FileIo::Faults::clear();
            EXPECT_TRUE(message == systemText || message == QStringLiteral("Could not create a staging file. Check drive access.")
                        || message == QStringLiteral("Could not commit A001C001.MXF: ") + systemText
                                          + QStringLiteral(". The existing destination was not replaced."))
                << message.toStdString();
            expectNothingLeft();
        }
    }

    // A file system that takes O_DIRECT and then refuses a direct write (EINVAL) gets that chunk
    // again through the cache: the copy completes. EINVAL anywhere else fails as any error does.
    int completed = 0;
    for (long step = 1; step <= operations; ++step) {
        QDir(root + QStringLiteral("/02_FOOTAGE")).removeRecursively();
        FileIo::Faults::set({.failAt = step, .error = EINVAL});
        const QString message = copyFailure(job());
        FileIo::Faults::clear();
        if (message == QStringLiteral("(no error)")) {
            ++completed;
            EXPECT_EQ(test::readFile(target), content) << step;
            EXPECT_EQ(filesUnderRoot(), QStringList(QStringLiteral("02_FOOTAGE/A001/A001C001.MXF"))) << step;
        } else {
            expectNothingLeft();
        }
    }
    // The two whole-block chunk writes, and the publishing rename, whose EINVAL means a file
    // system without RENAME_NOREPLACE and is answered with a link.
    EXPECT_EQ(completed, 3);
}

// A real volume too small for the copy is refused before anything is written.
TEST_F(CopyTest, FullVolume)
{
    test::ScratchVolume volume(dir.file(QStringLiteral("small")), 8 * test::mebibyte);
    if (!volume.mounted())
        GTEST_SKIP() << "cannot mount a scratch volume here";
    EXPECT_EQ(copyFailure(jobFor(source, volume.path(), volume.path() + QStringLiteral("/a.mov"))),
              QStringLiteral("Not enough free space for A001C001.MXF."));
    EXPECT_EQ(test::listTree(volume.path()), QStringList());
}

// In every write mode, when verification starts not one page of the staging file is in the page
// cache, so its digest is of what the device returns.
TEST_F(CopyTest, VerificationReadsTheStagingFileFromTheDevice)
{
    if (test::isMemoryFileSystem(root))
        GTEST_SKIP() << "the temporary folder is in memory: no device to read from";
    for (const StagingWriter::Mode mode : {StagingWriter::Mode::direct, StagingWriter::Mode::writeBehind}) {
        SCOPED_TRACE(StagingWriter::modeName(mode).toStdString());
        CopyPhases::Tuning tuning;
        tuning.writeMode = mode;
        const MediaJob each = job();
        const QString staging = QFileInfo(target).path() + QLatin1Char('/') + MediaIngestService::stagingName(each);
        long cached = -1;
        MediaIngestService::copy(each, control, [&](JobStatus phase, double f) {
            if (phase == JobStatus::verifying && f == 0.0)
                cached = test::cachedPages(staging);
        }, {}, tuning);
        EXPECT_EQ(cached, 0);
        EXPECT_EQ(test::readFile(target), content);
        QFile::remove(target);
    }
}
