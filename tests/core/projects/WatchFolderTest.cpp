#include "projects/WatchFolder.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

struct SignatureCase {
    qint64 size;
    double unixSeconds;
    const char *expected;
};

class VersionSignature : public testing::TestWithParam<SignatureCase> {};

TEST_P(VersionSignature, IsSizeColonShortestSeconds)
{
    EXPECT_EQ(WatchFolder::versionSignature(GetParam().size, Timestamp::fromUnixSeconds(GetParam().unixSeconds)),
              QString::fromLatin1(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(Times, VersionSignature,
                         testing::Values(SignatureCase{734003200, 1731690000.0, "734003200:1731690000.0"},
                                         SignatureCase{734003200, 1731690000.5, "734003200:1731690000.5"},
                                         SignatureCase{0, 0.0, "0:0.0"}, SignatureCase{12, -86400.25, "12:-86400.25"},
                                         SignatureCase{1, 1e17, "1:100000000000000000.0"}));

TEST(VersionSignature, ReadsBackToTheSameTimeAndTellsVersionsApart)
{
    // Times carried with nanoseconds from the file system, as a scan reports them.
    for (const long nanoseconds : {0L, 1L, 123456789L, 999999999L}) {
        const Timestamp time = Timestamp::fromTimespec({1731690000, nanoseconds});
        const QString signature = WatchFolder::versionSignature(42, time);
        EXPECT_EQ(signature.section(':', 1).toDouble(), time.unixSeconds()) << signature.toStdString();
        EXPECT_FALSE(signature.contains('e'));
        EXPECT_NE(signature, WatchFolder::versionSignature(43, time));
        EXPECT_NE(signature, WatchFolder::versionSignature(42, Timestamp::fromTimespec({1731690001, nanoseconds})));
    }
}

} // namespace
