#include "ingest/ChecksumService.h"
#include "ingest/MediaIngestService.h"

#include "Privileges.h"
#include "TempDir.h"
#include "model/FileIo.h"
#include "model/VantorError.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

using namespace vantor;

namespace {

constexpr qsizetype mebibyte = 1 << 20;

struct stat statOf(const QString &path)
{
    struct stat info {};
    ::lstat(QFile::encodeName(path).constData(), &info);
    return info;
}

void setModified(const QString &path, timespec time)
{
    const timespec times[2] = {{0, UTIME_OMIT}, time};
    ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, AT_SYMLINK_NOFOLLOW);
}

void appendTo(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write(bytes);
}

void flipByte(const QString &path, qint64 offset)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR);
    ASSERT_GE(fd, 0);
    char byte = 0;
    ASSERT_EQ(::pread(fd, &byte, 1, offset), 1);
    byte = char(byte ^ 0x01);
    ASSERT_EQ(::pwrite(fd, &byte, 1, offset), 1);
    ::close(fd);
}

// A job as the queue makes it from a scanned source: the fingerprint taken now.
MediaJob jobFor(const QString &source, const QString &root, const QString &target,
                std::optional<ChecksumAlgorithm> checksum = ChecksumAlgorithm::xxHash)
{
    const struct stat info = statOf(source);
    return MediaJob::make(source, FileGrant(source), root, FileGrant(root), target, std::nullopt, JobOperation::copy,
                          std::nullopt, checksum, qint64(info.st_size), Timestamp::fromTimespec(info.st_mtim));
}

QString failure(const std::function<void()> &body)
{
    try {
        body();
    } catch (const CancellationError &) {
        return QStringLiteral("(cancelled)");
    } catch (const std::exception &error) {
        return errorText(error);
    }
    return QStringLiteral("(no error)");
}

class CopyTest : public testing::Test {
protected:
    void SetUp() override
    {
        content = test::randomBytes(9 * mebibyte + 5, 4); // three copy chunks, ten hash chunks
        source = dir.write(QStringLiteral("card/A001C001.MXF"), content);
        setModified(source, {1600000000, 123456789});
        sourceBefore = statOf(source);
        root = dir.makeDir(QStringLiteral("project"));
        target = root + QStringLiteral("/02_FOOTAGE/A001/A001C001.MXF");
    }

    // Whatever failed, the source is as it was and nothing but folders is under the root.
    void expectNothingLeft()
    {
        EXPECT_EQ(test::readFile(source), content);
        const struct stat now = statOf(source);
        EXPECT_EQ(now.st_mtim.tv_sec, sourceBefore.st_mtim.tv_sec);
        EXPECT_EQ(now.st_mtim.tv_nsec, sourceBefore.st_mtim.tv_nsec);
        for (const QString &entry : test::listTree(root))
            EXPECT_TRUE(entry.endsWith(QLatin1Char('/'))) << "left behind: " << entry.toStdString();
    }

    test::TempDir dir;
    QByteArray content;
    QString source;
    struct stat sourceBefore {};
    QString root;
    QString target;
    JobControl control;
};

} // namespace

TEST_F(CopyTest, VerifiedCopyInEachAlgorithm)
{
    for (const ChecksumAlgorithm::Value algorithm : ChecksumAlgorithm::allCases) {
        SCOPED_TRACE(ChecksumAlgorithm(algorithm).rawValue().toStdString());
        const QString destination = root + QStringLiteral("/%1/A001/clip.mxf").arg(ChecksumAlgorithm(algorithm).rawValue());
        std::vector<std::pair<JobStatus, double>> updates;
        const auto result = MediaIngestService::copy(jobFor(source, root, destination, algorithm), control,
                                                     [&](JobStatus phase, double f) { updates.emplace_back(phase, f); });
        const QString expected = ChecksumService::digest(source, algorithm, control);
        EXPECT_EQ(result.sourceHash, expected);
        EXPECT_EQ(result.destinationHash, expected);
        EXPECT_EQ(test::readFile(destination), content);
        const struct stat copied = statOf(destination);
        EXPECT_EQ(copied.st_mtim.tv_sec, 1600000000);
        EXPECT_EQ(copied.st_mtim.tv_nsec, 123456789);

        // Three copy chunks, then the two halves of verification, each rising to its end.
        ASSERT_EQ(updates.size(), 3u + 1u + 10u + 10u);
        EXPECT_EQ(updates[0], std::make_pair(JobStatus(JobStatus::copying), double(4 * mebibyte) / double(content.size())));
        EXPECT_EQ(updates[2], std::make_pair(JobStatus(JobStatus::copying), 1.0));
        EXPECT_EQ(updates[3], std::make_pair(JobStatus(JobStatus::verifying), 0.0));
        EXPECT_EQ(updates[13], std::make_pair(JobStatus(JobStatus::verifying), 0.5));
        EXPECT_EQ(updates.back(), std::make_pair(JobStatus(JobStatus::verifying), 1.0));
        EXPECT_TRUE(std::is_sorted(updates.begin() + 3, updates.end(),
                                   [](const auto &a, const auto &b) { return a.second < b.second; }));
    }
    EXPECT_EQ(test::listTree(root).filter(QStringLiteral(".vantor-")), QStringList());
}

TEST_F(CopyTest, UnverifiedAndEmptyCopies)
{
    std::vector<JobStatus> phases;
    const auto record = [&](JobStatus phase, double) { phases.push_back(phase); };
    const auto plain = MediaIngestService::copy(jobFor(source, root, target, std::nullopt), control, record);
    EXPECT_FALSE(plain.sourceHash || plain.destinationHash);
    EXPECT_EQ(phases, std::vector<JobStatus>(3, JobStatus::copying));
    EXPECT_EQ(test::readFile(target), content);

    // No chunk is read, so no copying progress; the empty-input digest is still compared.
    phases.clear();
    const QString empty = dir.write(QStringLiteral("card/empty.wav"), {});
    const auto result = MediaIngestService::copy(jobFor(empty, root, root + QStringLiteral("/empty.wav"), ChecksumAlgorithm::md5),
                                                 control, record);
    EXPECT_EQ(result.destinationHash, QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(phases, std::vector<JobStatus>{JobStatus::verifying});
    EXPECT_TRUE(QFile::exists(root + QStringLiteral("/empty.wav")));
}

TEST_F(CopyTest, StagingLeftByACrashedAttemptIsReplaced)
{
    const MediaJob job = jobFor(source, root, target);
    const QString staging = root + QStringLiteral("/02_FOOTAGE/A001/") + MediaIngestService::stagingName(job);
    EXPECT_TRUE(staging.contains(job.id.toString(QUuid::WithoutBraces).toUpper()));
    dir.write(QStringLiteral("project/02_FOOTAGE/A001/") + MediaIngestService::stagingName(job), "stale partial data");
    MediaIngestService::copy(job, control);
    EXPECT_EQ(test::readFile(target), content);
    EXPECT_FALSE(QFile::exists(staging));
}

TEST_F(CopyTest, RefusedDestinations)
{
    const QString existing = dir.write(QStringLiteral("project/taken.mxf"), "keep me");
    dir.makeDir(QStringLiteral("elsewhere"));
    ::symlink("../elsewhere", QFile::encodeName(root + QStringLiteral("/linked")).constData());
    MediaJob missing = jobFor(source, root, target);
    missing.copyDestination.reset();
    const struct {
        MediaJob job;
        QString message;
    } cases[] = {
        {missing, QStringLiteral("Copy destination is missing.")},
        {jobFor(source, root, existing),
         QStringLiteral("File already exists. Choose a different name or destination: taken.mxf")},
        {jobFor(source, root, root + QStringLiteral("/../outside.mxf")),
         QStringLiteral("Output would escape the selected destination.")},
        {jobFor(source, root, root + QStringLiteral("/linked/a/clip.mxf")),
         QStringLiteral("A destination component is a link or file: ") + root + QStringLiteral("/linked")},
    };
    for (const auto &c : cases)
        EXPECT_EQ(failure([&] { MediaIngestService::copy(c.job, control); }), c.message);
    EXPECT_EQ(test::readFile(existing), "keep me");
    EXPECT_EQ(test::listTree(dir.file(QStringLiteral("elsewhere"))), QStringList());
    EXPECT_FALSE(QFile::exists(dir.file(QStringLiteral("outside.mxf"))));
}

// A source that changes before, during or after the copy is refused, whichever check sees it.
TEST_F(CopyTest, ChangedSourceIsRefusedAndNothingIsLeft)
{
    const QString changed = QStringLiteral("The source changed after it was queued. Add it again: A001C001.MXF");
    const MediaJob job = jobFor(source, root, target);
    const struct {
        const char *when;
        std::function<void(JobStatus, double)> update;
        QString message;
    } cases[] = {
        {"grew during the copy", [&](JobStatus phase, double f) {
             if (phase == JobStatus::copying && f < 0.5)
                 appendTo(source, "!");
         }, changed},
        {"touched during verification", [&](JobStatus phase, double f) {
             if (phase == JobStatus::verifying && f > 0.5)
                 setModified(source, {1600000001, 0});
         }, changed},
        {"rewritten in place during verification", [&](JobStatus phase, double f) {
             if (phase == JobStatus::verifying && f == 0.0)
                 flipByte(source, 7);
         }, QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched.")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.when);
        EXPECT_EQ(failure([&] { MediaIngestService::copy(job, control, c.update); }), c.message);
        EXPECT_FALSE(QFile::exists(target));
        EXPECT_EQ(test::listTree(root).filter(QStringLiteral(".vantor-")), QStringList());
        QFile::remove(source);
        dir.write(QStringLiteral("card/A001C001.MXF"), content);
        setModified(source, {1600000000, 123456789});
    }

    appendTo(source, "!"); // before the copy starts
    EXPECT_EQ(failure([&] { MediaIngestService::copy(job, control); }), changed);
    EXPECT_EQ(test::listTree(root), QStringList({QStringLiteral("02_FOOTAGE/"), QStringLiteral("02_FOOTAGE/A001/")}));
}

// Files whose size the system reports as 0 but which read as more, or fail to read at all.
TEST_F(CopyTest, ReadCountAndReadErrorsDiscardTheStaging)
{
    const QString status = QStringLiteral("/proc/self/status");
    EXPECT_EQ(failure([&] { MediaIngestService::copy(jobFor(status, root, root + QStringLiteral("/status")), control); }),
              QStringLiteral("Source size changed during copy. Nothing was committed."));
    const QString memory = QStringLiteral("/proc/self/mem");
    EXPECT_EQ(failure([&] { MediaIngestService::copy(jobFor(memory, root, root + QStringLiteral("/mem")), control); }),
              QString::fromLocal8Bit(std::strerror(EIO)));
    EXPECT_EQ(test::listTree(root), QStringList());
}

// However a byte of the copy goes bad between writing and verifying, the digests disagree.
TEST_F(CopyTest, FlippedByteInTheStagingFileIsAlwaysCaught)
{
    for (const ChecksumAlgorithm::Value algorithm : ChecksumAlgorithm::allCases) {
        for (const qint64 offset : {qint64(0), qint64(mebibyte - 1), qint64(mebibyte), qint64(4 * mebibyte + 31),
                                    qint64(content.size() - 8), qint64(content.size() - 1)}) {
            SCOPED_TRACE(ChecksumAlgorithm(algorithm).rawValue().toStdString() + " at " + std::to_string(offset));
            const MediaJob job = jobFor(source, root, target, algorithm);
            const QString staging = QFileInfo(target).path() + QLatin1Char('/') + MediaIngestService::stagingName(job);
            const QString message = failure([&] {
                MediaIngestService::copy(job, control, [&](JobStatus phase, double f) {
                    if (phase == JobStatus::verifying && f == 0.0)
                        flipByte(staging, offset);
                });
            });
            EXPECT_EQ(message, QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched."));
            expectNothingLeft();
        }
    }
}

TEST_F(CopyTest, CancelDiscardsTheCopyAtEveryStage)
{
    {
        JobControl cancelled;
        cancelled.cancel();
        EXPECT_EQ(failure([&] { MediaIngestService::copy(jobFor(source, root, target), cancelled); }),
                  QStringLiteral("(cancelled)"));
    }
    {
        // After the copy is verified and before it is published.
        JobControl late;
        EXPECT_EQ(failure([&] {
                      MediaIngestService::copy(jobFor(source, root, target), late, [&](JobStatus, double f) {
                          if (f == 1.0)
                              late.cancel();
                      });
                  }),
                  QStringLiteral("(cancelled)"));
    }
    expectNothingLeft();

    // The worker pauses after its first chunk; a cancel while it waits ends the copy.
    JobControl paused;
    std::mutex mutex;
    std::condition_variable changed;
    int chunks = 0;
    QString message;
    std::thread worker([&] {
        message = failure([&] {
            MediaIngestService::copy(jobFor(source, root, target), paused, [&](JobStatus, double) {
                std::lock_guard lock(mutex);
                if (++chunks == 1)
                    paused.pause();
                changed.notify_all();
            });
        });
    });
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return chunks >= 1; });
    }
    paused.cancel();
    worker.join();
    EXPECT_EQ(message, QStringLiteral("(cancelled)"));
    EXPECT_EQ(chunks, 1);
    expectNothingLeft();
}

// Every mutating step of a copy, failed once in turn, fails the copy with the system's text and
// leaves no file at the final name, no staging file, and the source as it was.
TEST_F(CopyTest, EveryFailedFileOperationLeavesNothing)
{
    if (!FileIo::Faults::available())
        GTEST_SKIP() << "fault points are compiled out";
    FileIo::Faults::clear();
    MediaIngestService::copy(jobFor(source, root, target), control);
    const long operations = FileIo::Faults::mutatingCount();
    ASSERT_GE(operations, 10);
    // Each attempt starts from an empty root, so making the folders fails in turn too.
    const auto emptyRoot = [&] { QDir(root + QStringLiteral("/02_FOOTAGE")).removeRecursively(); };
    emptyRoot();

    const struct {
        const char *name;
        FileIo::Faults::Plan plan;
        int error;
    } faults[] = {
        {"EIO", {.error = EIO}, EIO},
        {"ENOSPC", {.error = ENOSPC}, ENOSPC},
        {"short write", {.error = ENOSPC, .shortWrite = true}, ENOSPC},
    };
    for (const auto &fault : faults) {
        for (long step = 1; step <= operations; ++step) {
            SCOPED_TRACE(std::string(fault.name) + " at step " + std::to_string(step));
            FileIo::Faults::Plan plan = fault.plan;
            plan.failAt = step;
            emptyRoot();
            FileIo::Faults::set(plan);
            const QString message = failure([&] { MediaIngestService::copy(jobFor(source, root, target), control); });
            FileIo::Faults::clear();
            const QString systemText = QString::fromLocal8Bit(std::strerror(fault.error));
            EXPECT_TRUE(message == systemText
                        || message == QStringLiteral("Could not create a staging file. Check drive access.")
                        || message == QStringLiteral("Could not commit A001C001.MXF: ") + systemText
                                          + QStringLiteral(". The existing destination was not replaced."))
                << message.toStdString();
            EXPECT_FALSE(QFile::exists(target));
            expectNothingLeft();
        }
    }
}

// A real volume that fills up: too small from the start, or filled by someone else mid-copy.
TEST_F(CopyTest, FullVolume)
{
    test::ScratchVolume volume(dir.file(QStringLiteral("small")), 8 * mebibyte);
    if (!volume.mounted())
        GTEST_SKIP() << "cannot mount a scratch volume here";
    const QString large = dir.write(QStringLiteral("card/large.mov"), test::randomBytes(9 * mebibyte, 9));
    EXPECT_EQ(failure([&] { MediaIngestService::copy(jobFor(large, volume.path(), volume.path() + QStringLiteral("/large.mov")), control); }),
              QStringLiteral("Not enough free space for large.mov."));

    const QString medium = dir.write(QStringLiteral("card/medium.mov"), test::randomBytes(6 * mebibyte, 6));
    const QString message = failure([&] {
        MediaIngestService::copy(jobFor(medium, volume.path(), volume.path() + QStringLiteral("/medium.mov")), control,
                                 [&](JobStatus, double) {
                                     QFile filler(volume.path() + QStringLiteral("/filler"));
                                     if (filler.exists() || !filler.open(QIODevice::WriteOnly))
                                         return;
                                     const QByteArray block(64 * 1024, 'f');
                                     while (filler.write(block) == block.size() && filler.flush()) {
                                     }
                                 });
    });
    EXPECT_EQ(message, QString::fromLocal8Bit(std::strerror(ENOSPC)));
    EXPECT_EQ(test::listTree(volume.path()), QStringList({QStringLiteral("filler")}));
}
