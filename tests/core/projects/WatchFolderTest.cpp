#include "model/VantorError.h"
#include "projects/WatchFolder.h"

#include "SampleRecords.h"


#include <gtest/gtest.h>

using namespace vantor;

namespace {

TEST(WatchFolder, NewRuleIsDisabledAndHasSeenNothing)
{
    const WatchFolder rule = WatchFolder::make(FileGrant("/in"), FileGrant("/out"), TranscodePreset());
    EXPECT_FALSE(rule.enabled);
    EXPECT_TRUE(rule.seen.isEmpty());
    EXPECT_FALSE(rule.id.isNull());
    EXPECT_NE(rule.id, WatchFolder::make(FileGrant("/in"), FileGrant("/out"), TranscodePreset()).id);
}

struct SignatureCase {
    qint64 size;
    double unixSeconds;
    const char *expected;
};

class VersionSignature : public testing::TestWithParam<SignatureCase> {};

TEST_P(VersionSignature, IsSizeColonShortestSeconds)
{
    const SignatureCase &c = GetParam();
    EXPECT_EQ(WatchFolder::versionSignature(c.size, Timestamp::fromUnixSeconds(c.unixSeconds)),
              QString::fromLatin1(c.expected));
}

INSTANTIATE_TEST_SUITE_P(Times, VersionSignature,
                         testing::Values(SignatureCase{734003200, 1731690000.0, "734003200:1731690000.0"},
                                         SignatureCase{734003200, 1731690000.5, "734003200:1731690000.5"},
                                         SignatureCase{0, 0.0, "0:0.0"},
                                         SignatureCase{12, -86400.25, "12:-86400.25"},
                                         SignatureCase{1, 1e17, "1:100000000000000000.0"}));

TEST(VersionSignature, ReadsBackToTheSameTimeAndTellsVersionsApart)
{
    // Times carried with nanoseconds from the file system, as a scan reports them.
    for (const long nanoseconds : {0L, 1L, 123456789L, 999999999L}) {
        const Timestamp time = Timestamp::fromTimespec({1731690000, nanoseconds});
        const QString signature = WatchFolder::versionSignature(42, time);
        EXPECT_EQ(signature, WatchFolder::versionSignature(42, time));
        EXPECT_EQ(signature.section(':', 1).toDouble(), time.unixSeconds()) << signature.toStdString();
        EXPECT_FALSE(signature.contains('e'));
        EXPECT_NE(signature, WatchFolder::versionSignature(43, time));
        EXPECT_NE(signature, WatchFolder::versionSignature(42, Timestamp::fromTimespec({1731690001, nanoseconds})));
    }
}

TEST(WatchFolder, JsonKeepsEverythingAndRequiresAllSixKeys)
{
    WatchFolder rule = WatchFolder::make(FileGrant("/in"), FileGrant("/out"), test::samplePreset());
    rule.enabled = true;
    rule.seen.insert("/in/A001.mov", "10:1731690000.0");
    rule.seen.insert("/in/Day 2/B.mov", "11:1731690000.25");
    EXPECT_EQ(WatchFolder::fromJson(rule.toJson()), rule);
    for (const char *key : {"id", "source", "destination", "preset", "enabled", "seen"}) {
        QJsonObject missing = rule.toJson();
        missing.remove(QLatin1String(key));
        EXPECT_THROW(WatchFolder::fromJson(missing), DecodingError) << key;
    }
    QJsonObject wrong = rule.toJson();
    wrong.insert("seen", QJsonObject{{"/in/A001.mov", 3}});
    EXPECT_THROW(WatchFolder::fromJson(wrong), DecodingError);
}

} // namespace
