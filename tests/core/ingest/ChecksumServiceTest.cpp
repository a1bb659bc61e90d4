#include "ingest/ChecksumService.h"

#include "ChildProcess.h"
#include "TempDir.h"
#include "model/VantorError.h"

#include <QDir>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <xxhash.h>

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

using namespace vantor;

namespace {

QString oneShot(ChecksumAlgorithm algorithm, const QByteArray &data)
{
    if (algorithm == ChecksumAlgorithm::xxHash)
        return QStringLiteral("%1").arg(XXH64(data.constData(), std::size_t(data.size()), 0), 16, 16, QLatin1Char('0'));
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(data.constData(), std::size_t(data.size()), digest, &length,
               algorithm == ChecksumAlgorithm::md5 ? EVP_md5() : EVP_sha256(), nullptr);
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(digest), int(length)).toHex());
}

int openDescriptorCount()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

class ChecksumServiceTest : public testing::TestWithParam<ChecksumAlgorithm::Value> {
protected:
    ChecksumAlgorithm algorithm() const { return GetParam(); }
    test::TempDir dir;
    JobControl control;
};

} // namespace

TEST_P(ChecksumServiceTest, FilesOfEveryShortLengthMatchTheOneShotDigest)
{
    const QByteArray all = test::randomBytes(257, 21);
    for (qsizetype length = 0; length <= 257; ++length) {
        const QString path = dir.write(QStringLiteral("f%1").arg(length), all.left(length));
        const QString digest = ChecksumService::digest(path, algorithm(), control);
        ASSERT_EQ(digest, oneShot(algorithm(), all.left(length))) << "length " << length;
        ASSERT_EQ(digest.size(), algorithm().digestLength());
    }
}

// A file of several chunks with a ragged end, checked against the command-line tools.
TEST_P(ChecksumServiceTest, LargeFileMatchesTheReferenceToolAndReportsEachChunk)
{
    const QString path = dir.write(QStringLiteral("large.bin"), test::randomBytes(5 * (1 << 20) / 2 + 3, 8));
    std::vector<double> fractions;
    const QString digest = ChecksumService::digest(path, algorithm(), control, [&](double f) { fractions.push_back(f); });

    const QString tool = algorithm() == ChecksumAlgorithm::xxHash ? QStringLiteral("xxhsum")
                         : algorithm() == ChecksumAlgorithm::md5  ? QStringLiteral("md5sum")
                                                                  : QStringLiteral("sha256sum");
    const QStringList arguments = algorithm() == ChecksumAlgorithm::xxHash ? QStringList{QStringLiteral("-H1"), path}
                                                                           : QStringList{path};
    const test::ProcessResult result = test::runProgram(tool, arguments);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(digest, result.outText().section(QLatin1Char(' '), 0, 0));

    const double size = double(5 * (1 << 20) / 2 + 3);
    EXPECT_EQ(fractions, (std::vector<double>{(1 << 20) / size, (2 << 20) / size, 1.0}));
}

TEST_P(ChecksumServiceTest, EmptyFileReportsNoProgress)
{
    const QString path = dir.write(QStringLiteral("empty"), {});
    int calls = 0;
    EXPECT_EQ(ChecksumService::digest(path, algorithm(), control, [&](double) { ++calls; }),
              oneShot(algorithm(), {}));
    EXPECT_EQ(calls, 0);
}

INSTANTIATE_TEST_SUITE_P(Algorithms, ChecksumServiceTest,
                         testing::Values(ChecksumAlgorithm::xxHash, ChecksumAlgorithm::md5, ChecksumAlgorithm::sha256),
                         [](const auto &info) { return ChecksumAlgorithm(info.param).rawValue().remove(QLatin1Char('-')).toStdString(); });

TEST(ChecksumService, OpenErrorsAreTheSystemsOwn)
{
    test::TempDir dir;
    JobControl control;
    try {
        ChecksumService::digest(dir.file(QStringLiteral("missing")), ChecksumAlgorithm::xxHash, control);
        FAIL() << "a missing file was hashed";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code().value(), ENOENT);
    }
    try {
        ChecksumService::digest(dir.path(), ChecksumAlgorithm::sha256, control);
        FAIL() << "a folder was hashed";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code().value(), EISDIR);
    }
}

TEST(ChecksumService, CancelledControlReadsNothing)
{
    test::TempDir dir;
    const QString path = dir.write(QStringLiteral("a"), test::randomBytes(10, 1));
    JobControl control;
    control.cancel();
    const int before = openDescriptorCount();
    int calls = 0;
    EXPECT_THROW(ChecksumService::digest(path, ChecksumAlgorithm::md5, control, [&](double) { ++calls; }),
                 CancellationError);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(openDescriptorCount(), before);
}

// The worker pauses itself after the first chunk; the pause holds it before the next read,
// and a cancel while paused ends the wait with CancellationError and closes the file.
TEST(ChecksumService, PauseHoldsBeforeTheNextReadAndCancelEndsTheWait)
{
    test::TempDir dir;
    const QString path = dir.write(QStringLiteral("a"), test::randomBytes(3 << 20, 2));
    for (const bool cancelWhilePaused : {false, true}) {
        JobControl control;
        std::mutex mutex;
        std::condition_variable changed;
        int calls = 0;
        const int before = openDescriptorCount();
        bool cancelled = false;
        QString digest;
        std::thread worker([&] {
            try {
                digest = ChecksumService::digest(path, ChecksumAlgorithm::xxHash, control, [&](double) {
                    std::lock_guard lock(mutex);
                    if (++calls == 1)
                        control.pause();
                    changed.notify_all();
                });
            } catch (const CancellationError &) {
                cancelled = true;
            }
        });
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return calls >= 1; });
        }
        std::this_thread::yield();
        {
            std::lock_guard lock(mutex);
            EXPECT_EQ(calls, 1) << "a chunk was read while paused";
        }
        cancelWhilePaused ? control.cancel() : control.resume();
        worker.join();
        EXPECT_EQ(cancelled, cancelWhilePaused);
        EXPECT_EQ(calls, cancelWhilePaused ? 1 : 3);
        EXPECT_EQ(digest.isEmpty(), cancelWhilePaused);
        EXPECT_EQ(openDescriptorCount(), before);
    }
}
