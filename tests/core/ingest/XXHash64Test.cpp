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

} // namespace

// Lengths 0..257 cover the short path (< 32), the merge path and every tail of 8-, 4- and 1-byte
// words, each fed byte by byte and split at every point; a large input is cut in random chunks.
TEST(XXHash64, MatchesTheReferenceForEveryLengthAndSplit)
{
    const QByteArray all = test::randomBytes(3 * 1024 * 1024 + 17, 7);
    for (qsizetype length = 0; length <= 257; ++length) {
        const QByteArray data = all.left(length);
        std::vector<qsizetype> everyByte;
        for (qsizetype i = 1; i < length; ++i)
            everyByte.push_back(i);
        ASSERT_EQ(fedInPieces(data, everyByte), reference(data)) << "length " << length << " byte by byte";
        for (qsizetype cut = 0; cut <= length; ++cut)
            ASSERT_EQ(fedInPieces(data, {cut}), reference(data)) << "length " << length << " cut at " << cut;
    }
    QRandomGenerator random(11);
    for (int trial = 0; trial < 10; ++trial) {
        std::vector<qsizetype> cuts;
        for (qsizetype at = 0; at < all.size(); at += random.bounded(1, trial % 2 ? 64 : 200000))
            cuts.push_back(at);
        ASSERT_EQ(fedInPieces(all, cuts), reference(all)) << "trial " << trial;
    }
}
