#include "projects/WatchFolder.h"

#include <gtest/gtest.h>

using namespace vantor;

// The signature is the key of a watch rule's seen entries, so it must read the same as the
// state files already written: size, a colon, the time in the shortest decimal form, never an exponent.
TEST(VersionSignature, IsSizeColonShortestSecondsAndTellsVersionsApart)
{
    const auto signature = [](qint64 size, double seconds) {
        return WatchFolder::versionSignature(size, Timestamp::fromUnixSeconds(seconds));
    };
    EXPECT_EQ(QStringList({signature(734003200, 1731690000.0), signature(734003200, 1731690000.5), signature(0, 0.0),
                           signature(12, -86400.25), signature(1, 1e17)}),
              QStringList({"734003200:1731690000.0", "734003200:1731690000.5", "0:0.0", "12:-86400.25",
                           "1:100000000000000000.0"}));
    // Times carried with nanoseconds from the file system, as a scan reports them.
    for (const long nanoseconds : {0L, 1L, 123456789L, 999999999L}) {
        const Timestamp time = Timestamp::fromTimespec({1731690000, nanoseconds});
        const QString text = WatchFolder::versionSignature(42, time);
        EXPECT_EQ(text.section(':', 1).toDouble(), time.unixSeconds()) << text.toStdString();
        EXPECT_FALSE(text.contains('e'));
        EXPECT_NE(text, WatchFolder::versionSignature(43, time));
        EXPECT_NE(text, WatchFolder::versionSignature(42, Timestamp::fromTimespec({1731690001, nanoseconds})));
    }
}
