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
#include <thread>

using namespace vantor;

namespace {

constexpr qsizetype mebibyte = 1 << 20;
const QString mismatch = QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched.");

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

void flipByte(const QString &path, qint64 offset)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(offset);
    const char byte = char(file.read(1).at(0) ^ 0x01);
    file.seek(offset);
    file.write(&byte, 1);
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
    void SetUp() override { resetSource(); }
    void resetSource()
    {
        QFile::remove(source);
        dir.write(QStringLiteral("card/A001C001.MXF"), content);
        setModified(source, {1600000000, 123456789});
    }
    QString copyFailure(const MediaIngestService::Update &update = {}, JobControl *with = nullptr)
    {
        return failure([&] { MediaIngestService::copy(jobFor(source, root, target), with ? *with : control, update); });
    }
    // Whatever failed, the source is as it was and nothing but folders is under the root.
    void expectNothingLeft()
    {
        EXPECT_EQ(test::readFile(source), content);
        EXPECT_EQ(statOf(source).st_mtim.tv_nsec, 123456789);
        for (const QString &entry : test::listTree(root))
            EXPECT_TRUE(entry.endsWith(QLatin1Char('/'))) << "left behind: " << entry.toStdString();
    }

    test::TempDir dir;
    const QByteArray content = test::randomBytes(9 * mebibyte + 5, 4); // three copy chunks, ten hash chunks
    const QString source = dir.file(QStringLiteral("card/A001C001.MXF"));
    const QString root = dir.makeDir(QStringLiteral("project"));
    const QString target = root + QStringLiteral("/02_FOOTAGE/A001/A001C001.MXF");
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
        const MediaJob job = jobFor(source, root, destination, algorithm);
        const QString stale = dir.write(QStringLiteral("project/%1/").arg(name) + MediaIngestService::stagingName(job), "stale");
        EXPECT_TRUE(stale.contains(job.id.toString(QUuid::WithoutBraces).toUpper()));
        std::vector<std::pair<JobStatus, double>> updates;
        const auto result = MediaIngestService::copy(job, control, [&](JobStatus phase, double f) { updates.emplace_back(phase, f); });
        EXPECT_EQ(test::readFile(destination), content);
        EXPECT_EQ(statOf(destination).st_mtim.tv_sec, 1600000000);
        EXPECT_EQ(statOf(destination).st_mtim.tv_nsec, 123456789);
        // Three copy chunks, then the two halves of verification, each rising to its end.
        EXPECT_EQ(updates[0], std::make_pair(JobStatus(JobStatus::copying), double(4 * mebibyte) / double(content.size())));
        EXPECT_EQ(updates[2], std::make_pair(JobStatus(JobStatus::copying), 1.0));
        if (!algorithm) {
            EXPECT_FALSE(result.sourceHash || result.destinationHash);
            EXPECT_EQ(updates.size(), 3u);
            continue;
        }
        const QString expected = ChecksumService::digest(source, *algorithm, control);
        EXPECT_EQ(result.sourceHash, expected);
        EXPECT_EQ(result.destinationHash, expected);
        ASSERT_EQ(updates.size(), 3u + 1u + 10u + 10u);
        EXPECT_EQ(updates[3], std::make_pair(JobStatus(JobStatus::verifying), 0.0));
        EXPECT_EQ(updates[13], std::make_pair(JobStatus(JobStatus::verifying), 0.5));
        EXPECT_EQ(updates.back(), std::make_pair(JobStatus(JobStatus::verifying), 1.0));
        EXPECT_TRUE(std::is_sorted(updates.begin() + 3, updates.end(), [](auto &a, auto &b) { return a.second < b.second; }));
    }
    EXPECT_EQ(test::listTree(root).filter(QStringLiteral(".vantor-")), QStringList());

    // An empty file reads no chunk, so no copying progress; its digest is still compared.
    std::vector<JobStatus> phases;
    const QString empty = dir.write(QStringLiteral("card/empty.wav"), {});
    const auto result = MediaIngestService::copy(jobFor(empty, root, root + QStringLiteral("/empty.wav"), ChecksumAlgorithm::md5),
                                                 control, [&](JobStatus phase, double) { phases.push_back(phase); });
    EXPECT_EQ(result.destinationHash, QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
    EXPECT_EQ(phases, std::vector<JobStatus>{JobStatus::verifying});
}

TEST_F(CopyTest, RefusedDestinationsAndUnreadableSources)
{
    const QString existing = dir.write(QStringLiteral("project/taken.mxf"), "keep me");
    dir.makeDir(QStringLiteral("elsewhere"));
    ::symlink("../elsewhere", QFile::encodeName(root + QStringLiteral("/linked")).constData());
    MediaJob missing = jobFor(source, root, target);
    missing.copyDestination.reset();
    // /proc files report a size of 0 but read as more, or fail to read at all.
    const struct {
        MediaJob job;
        QString message;
    } cases[] = {
        {missing, QStringLiteral("Copy destination is missing.")},
        {jobFor(source, root, existing), QStringLiteral("File already exists. Choose a different name or destination: taken.mxf")},
        {jobFor(source, root, root + QStringLiteral("/../outside.mxf")), QStringLiteral("Output would escape the selected destination.")},
        {jobFor(source, root, root + QStringLiteral("/linked/a/clip.mxf")),
         QStringLiteral("A destination component is a link or file: ") + root + QStringLiteral("/linked")},
        {jobFor(QStringLiteral("/proc/self/status"), root, root + QStringLiteral("/status")),
         QStringLiteral("Source size changed during copy. Nothing was committed.")},
        {jobFor(QStringLiteral("/proc/self/mem"), root, root + QStringLiteral("/mem")), QString::fromLocal8Bit(std::strerror(EIO))},
    };
    for (const auto &c : cases)
        EXPECT_EQ(failure([&] { MediaIngestService::copy(c.job, control); }), c.message);
    EXPECT_EQ(test::readFile(existing), "keep me");
    EXPECT_EQ(test::listTree(dir.file(QStringLiteral("elsewhere"))), QStringList());
    EXPECT_EQ(test::listTree(root), QStringList({QStringLiteral("linked"), QStringLiteral("taken.mxf")}));
    EXPECT_FALSE(QFile::exists(dir.file(QStringLiteral("outside.mxf"))));
}

// A source that changes before, during or after the copy is refused, whichever check sees it.
TEST_F(CopyTest, ChangedSourceIsRefusedAndNothingIsLeft)
{
    const QString changed = QStringLiteral("The source changed after it was queued. Add it again: A001C001.MXF");
    const MediaJob job = jobFor(source, root, target);
    const auto grow = [&] {
        QFile file(source);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("!");
    };
    const struct {
        std::function<void(JobStatus, double)> update;
        QString message;
    } cases[] = {
        {[&](JobStatus phase, double f) { if (phase == JobStatus::copying && f < 0.5) grow(); }, changed},
        {[&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f > 0.5) setModified(source, {1600000001, 0}); }, changed},
        {[&](JobStatus phase, double f) { if (phase == JobStatus::verifying && f == 0.0) flipByte(source, 7); }, mismatch},
        {{}, changed}, // grown before the copy starts
    };
    for (const auto &c : cases) {
        if (!c.update)
            grow();
        EXPECT_EQ(failure([&] { MediaIngestService::copy(job, control, c.update); }), c.message);
        EXPECT_FALSE(QFile::exists(target));
        EXPECT_EQ(test::listTree(root), QStringList({QStringLiteral("02_FOOTAGE/"), QStringLiteral("02_FOOTAGE/A001/")}));
        resetSource();
    }
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
            EXPECT_EQ(failure([&] {
                          MediaIngestService::copy(job, control, [&](JobStatus phase, double f) {
                              if (phase == JobStatus::verifying && f == 0.0)
                                  flipByte(staging, offset);
                          });
                      }), mismatch);
            expectNothingLeft();
        }
    }
}

// Cancelled before the start, after verification before publishing, and while paused.
TEST_F(CopyTest, CancelDiscardsTheCopyAtEveryStage)
{
    JobControl cancelled, late, paused;
    cancelled.cancel();
    EXPECT_EQ(copyFailure({}, &cancelled), QStringLiteral("(cancelled)"));
    EXPECT_EQ(copyFailure([&](JobStatus, double f) { if (f == 1.0) late.cancel(); }, &late), QStringLiteral("(cancelled)"));
    expectNothingLeft();

    std::mutex mutex;
    std::condition_variable changed;
    int chunks = 0;
    QString message;
    std::thread worker([&] {
        message = copyFailure([&](JobStatus, double) {
            std::lock_guard lock(mutex);
            if (++chunks == 1)
                paused.pause();
            changed.notify_all();
        }, &paused);
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
    const FileIo::Faults::Plan plans[] = {{.error = EIO}, {.error = ENOSPC}, {.error = ENOSPC, .shortWrite = true}};
    for (const FileIo::Faults::Plan &fault : plans) {
        const QString systemText = QString::fromLocal8Bit(std::strerror(fault.error));
        for (long step = 1; step <= operations; ++step) {
            SCOPED_TRACE(systemText.toStdString() + (fault.shortWrite ? " short" : "") + " at step " + std::to_string(step));
            QDir(root + QStringLiteral("/02_FOOTAGE")).removeRecursively(); // so making the folders fails in turn too
            FileIo::Faults::Plan plan = fault;
            plan.failAt = step;
            FileIo::Faults::set(plan);
            const QString message = copyFailure();
            FileIo::Faults::clear();
            EXPECT_TRUE(message == systemText || message == QStringLiteral("Could not create a staging file. Check drive access.")
                        || message == QStringLiteral("Could not commit A001C001.MXF: ") + systemText
                                          + QStringLiteral(". The existing destination was not replaced."))
                << message.toStdString();
            expectNothingLeft();
        }
    }
}

// A real volume too small for the copy is refused before anything is written.
TEST_F(CopyTest, FullVolume)
{
    test::ScratchVolume volume(dir.file(QStringLiteral("small")), 8 * mebibyte);
    if (!volume.mounted())
        GTEST_SKIP() << "cannot mount a scratch volume here";
    EXPECT_EQ(failure([&] { MediaIngestService::copy(jobFor(source, volume.path(), volume.path() + QStringLiteral("/a.mov")), control); }),
              QStringLiteral("Not enough free space for A001C001.MXF."));
    EXPECT_EQ(test::listTree(volume.path()), QStringList());
}
