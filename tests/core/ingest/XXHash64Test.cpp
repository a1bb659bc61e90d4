#include "ingest/XXHash64.h"

#include "TempDir.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <xxhash.h>

using namespace vantor;

namespace {

QString reference(const QByteArray &data)
{
    return QStringLiteral("%1").arg(XXH64(data.constData(), std::size_t(data.size()), 0), 16, 16, QLatin1Char('0'));
}

QString fedInPieces(const QByteArray &data, const std::vector<qsizetype> &cuts)
{
    XXHash64 hash;
    qsizetype start = 0;
    for (const qsizetype cut : cuts) {
        hash.update(data.constData() + start, std::size_t(cut - start));
        start = cut;
    }
    hash.update(data.constData() + start, std::size_t(data.size() - start));
    return hash.finalize();
}

} // namespace

TEST(XXHash64, PublishedValuesForSeedZero)
{
    EXPECT_EQ(XXHash64().finalize(), QStringLiteral("ef46db3751d8e999"));
    XXHash64 abc;
    abc.update(QByteArrayLiteral("abc"));
    EXPECT_EQ(abc.finalize(), QStringLiteral("44bc2cf5ad770999"));
}

// Lengths 0..257 cover the short path (< 32), the merge path (exactly 32 and above) and every
// tail of 8-, 4- and 1-byte words, each fed whole, byte by byte and split at every point.
TEST(XXHash64, MatchesTheReferenceForEveryLengthAndSplit)
{
    const QByteArray all = test::randomBytes(257, 7);
    for (qsizetype length = 0; length <= 257; ++length) {
        const QByteArray data = all.left(length);
        const QString expected = reference(data);
        ASSERT_EQ(fedInPieces(data, {}), expected) << "length " << length;

        std::vector<qsizetype> everyByte;
        for (qsizetype i = 1; i < length; ++i)
            everyByte.push_back(i);
        ASSERT_EQ(fedInPieces(data, everyByte), expected) << "length " << length << " byte by byte";

        for (qsizetype cut = 0; cut <= length; ++cut)
            ASSERT_EQ(fedInPieces(data, {cut}), expected) << "length " << length << " cut at " << cut;
    }
}

TEST(XXHash64, LargeInputsAgreeForAnyChunking)
{
    QRandomGenerator random(11);
    const QByteArray data = test::randomBytes(3 * 1024 * 1024 + 17, 3);
    const QString expected = reference(data);
    EXPECT_EQ(fedInPieces(data, {}), expected);

    std::vector<qsizetype> alternating; // 31/33 keeps the tail buffer busy at every stripe
    for (qsizetype at = 31, step = 33; at < data.size(); at += step, step = step == 33 ? 31 : 33)
        alternating.push_back(at);
    EXPECT_EQ(fedInPieces(data, alternating), expected);

    std::vector<qsizetype> mebibytes;
    for (qsizetype at = 1 << 20; at < data.size(); at += 1 << 20)
        mebibytes.push_back(at);
    EXPECT_EQ(fedInPieces(data, mebibytes), expected);

    for (int trial = 0; trial < 20; ++trial) {
        std::vector<qsizetype> cuts;
        for (qsizetype at = 0; at < data.size(); at += random.bounded(1, 200000))
            cuts.push_back(at);
        ASSERT_EQ(fedInPieces(data, cuts), expected) << "trial " << trial;
    }
}

TEST(XXHash64, FinalizeLeavesTheStateUnchanged)
{
    const QByteArray data = test::randomBytes(100, 5);
    XXHash64 hash;
    hash.update(data.left(40));
    const QString first = hash.finalize();
    EXPECT_EQ(hash.finalize(), first);
    EXPECT_EQ(first, reference(data.left(40)));
    hash.update(data.mid(40)); // finalizing in between must not disturb further updates
    EXPECT_EQ(hash.finalize(), reference(data));
    hash.update(nullptr, 0);
    EXPECT_EQ(hash.finalize(), reference(data));
}
