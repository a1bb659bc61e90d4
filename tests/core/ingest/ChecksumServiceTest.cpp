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

// Short files, and one of several chunks with a ragged end; progress after each chunk, none
// for an empty file.
TEST_P(ChecksumServiceTest, MatchesTheOneShotDigestAndReportsEachChunk)
{
    const QByteArray large = test::randomBytes(5 * (1 << 20) / 2 + 3, 8);
    const double size = double(large.size());
    const std::pair<QByteArray, std::vector<double>> cases[] = {
        {{}, {}}, {"abc", {1.0}}, {large.left(257), {1.0}}, {large, {(1 << 20) / size, (2 << 20) / size, 1.0}}};
    for (const auto &[data, expected] : cases) {
        std::vector<double> fractions;
        EXPECT_EQ(ChecksumService::digest(dir.write(QStringLiteral("f%1").arg(data.size()), data), algorithm(), control,
                                          [&](double f) { fractions.push_back(f); }), oneShot(algorithm(), data));
        EXPECT_EQ(fractions, expected) << data.size();
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
    const int before = openDescriptorCount();
    for (const auto &[path, error] : {std::pair{dir.file(QStringLiteral("missing")), ENOENT}, std::pair{dir.path(), EISDIR}}) {
        try {
            ChecksumService::digest(path, ChecksumAlgorithm::sha256, control);
            ADD_FAILURE() << "hashed " << path.toStdString();
        } catch (const std::system_error &thrown) {
            EXPECT_EQ(thrown.code().value(), error);
        }
    }
    control.cancel();
    int calls = 0;
    EXPECT_THROW(ChecksumService::digest(dir.write(QStringLiteral("a"), "abc"), ChecksumAlgorithm::md5, control,
                                         [&](double) { ++calls; }), CancellationError);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(openDescriptorCount(), before);
}
