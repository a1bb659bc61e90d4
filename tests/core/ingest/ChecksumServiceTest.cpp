#include "ingest/ChecksumService.h"

#include "TempDir.h"
#include "model/VantorError.h"

#include <QDir>
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
