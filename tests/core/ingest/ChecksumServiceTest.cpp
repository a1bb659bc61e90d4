#include "ingest/ChecksumService.h"
#include "ingest/XXHash64.h"

#include "TempDir.h"
#include "base/VantorError.h"

#include <QDir>
#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <xxhash.h>

#include <system_error>

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

// Feeds data split before each cut; finalizing between pieces must not disturb the state.
QString fedInPieces(const QByteArray &data, const std::vector<qsizetype> &cuts)
{
    XXHash64 hash;
    qsizetype start = 0;
    for (const qsizetype cut : cuts) {
        hash.update(data.constData() + start, std::size_t(cut - start));
        hash.finalize();
        start = cut;
    }
    hash.update(data.constData() + start, std::size_t(data.size() - start));
    return hash.finalize();
}

class ChecksumServiceTest : public testing::TestWithParam<ChecksumAlgorithm::Value> {};

} // namespace

// Every length from 0 to 257, and a file of several 1 MiB chunks with a ragged end; progress after
// each chunk, none for an empty file.
TEST_P(ChecksumServiceTest, MatchesTheOneShotDigestAndReportsEachChunk)
{
    test::TempDir dir;
    JobControl control;
    const QByteArray large = test::randomBytes(5 * (1 << 20) / 2 + 3, 8);
    const double size = double(large.size());
    for (qsizetype length = -1; length <= 257; ++length) {
        const QByteArray data = length < 0 ? large : large.left(length);
        std::vector<double> fractions;
        EXPECT_EQ(ChecksumService::digest(dir.write(QStringLiteral("f%1").arg(length), data), GetParam(), control,
                                          [&](double f) { fractions.push_back(f); }), oneShot(GetParam(), data));
        const std::vector<double> expected = length < 0 ? std::vector{(1 << 20) / size, (2 << 20) / size, 1.0}
                                                        : length ? std::vector{1.0} : std::vector<double>{};
        EXPECT_EQ(fractions, expected) << length;
    }
}

// A copy is verified through descriptors in direct I/O, which read whole blocks and end short:
// lengths around the block and chunk edges give the same digests as reading through the cache.
TEST_P(ChecksumServiceTest, DirectReadsGiveTheSameDigest)
{
    test::TempDir dir;
    JobControl control;
    const QByteArray data = test::randomBytes((1 << 20) + 4097, 9);
    for (const qsizetype length : {0, 1, 4095, 4096, 4097, 1 << 20, (1 << 20) + 1, (1 << 20) + 4097}) {
        const QString path = dir.write(QStringLiteral("d%1").arg(length), data.left(length));
        const FileIo::UniqueFd fd = FileIo::open(path, O_RDONLY);
        ASSERT_TRUE(FileIo::tryDirect(fd.get())) << "the test folder's file system takes no direct I/O";
        EXPECT_EQ(ChecksumService::digest(fd.get(), GetParam(), control), oneShot(GetParam(), data.left(length))) << length;
    }
}

INSTANTIATE_TEST_SUITE_P(Algorithms, ChecksumServiceTest,
                         testing::Values(ChecksumAlgorithm::xxHash, ChecksumAlgorithm::md5, ChecksumAlgorithm::sha256),
                         [](const auto &info) { return ChecksumAlgorithm(info.param).rawValue().remove(QLatin1Char('-')).toStdString(); });

// Open errors are the system's own; a cancelled control reads nothing; no descriptor is left open.
TEST(ChecksumService, OpenErrorsAndCancelLeaveNoDescriptor)
{
    test::TempDir dir;
    JobControl control;
    const auto descriptors = [] { return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System); };
    const QStringList before = descriptors();
    EXPECT_THROW(ChecksumService::digest(dir.path(), ChecksumAlgorithm::sha256, control), std::system_error);
    control.cancel();
    int calls = 0;
    EXPECT_THROW(ChecksumService::digest(dir.write(QStringLiteral("a"), "abc"), ChecksumAlgorithm::md5, control,
                                         [&](double) { ++calls; }), CancellationError);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(descriptors(), before);
}

// Lengths 0..257 cover the short path (< 32), the merge path and every tail of 8-, 4- and 1-byte
// words, each fed byte by byte and split at every point; a large input is cut in random chunks.
TEST(XXHash64, MatchesTheReferenceForEveryLengthAndSplit)
{
    const QByteArray all = test::randomBytes(3 * 1024 * 1024 + 17, 7);
    for (qsizetype length = 0; length <= 257; ++length) {
        const QByteArray data = all.left(length);
        const QString expected = oneShot(ChecksumAlgorithm::xxHash, data);
        std::vector<qsizetype> everyByte;
        for (qsizetype i = 1; i < length; ++i)
            everyByte.push_back(i);
        ASSERT_EQ(fedInPieces(data, everyByte), expected) << "length " << length << " byte by byte";
        for (qsizetype cut = 0; cut <= length; ++cut)
            ASSERT_EQ(fedInPieces(data, {cut}), expected) << "length " << length << " cut at " << cut;
    }
    QRandomGenerator random(11);
    for (int trial = 0; trial < 10; ++trial) {
        std::vector<qsizetype> cuts;
        for (qsizetype at = 0; at < all.size(); at += random.bounded(1, trial % 2 ? 64 : 200000))
            cuts.push_back(at);
        ASSERT_EQ(fedInPieces(all, cuts), oneShot(ChecksumAlgorithm::xxHash, all)) << "trial " << trial;
    }
}
