#include "mhl/C4.h"
#include "mhl/FolderHashes.h"
#include "mhl/MhlHasher.h"
#include "base/VantorError.h"

#include <gtest/gtest.h>

namespace vantor {
namespace {

TEST(MhlHashEncoding, GoldenValuesOfTheStandard)
{
    const QByteArray data("media-hash-list");
    const struct {
        HashFormat format;
        const char *expected;
    } cases[] = {
        {HashFormat::md5, "9db0fc9f30f5ee70041a7538809e2858"},
        {HashFormat::sha1, "7b57673ac5633937a55b59009ad0c57ee08188b7"},
        {HashFormat::xxh64, "584b2ea1974f2b7c"},
        {HashFormat::c4, "c456LycWwpMMS7VDZEKvYv2L1uJS6s4qAFnaJdnQiy5JVbBFZMA8aLDS6SPaJjLqxXH4qZdnbuktopMt9frtC2qL1R"},
    };
    for (const auto &c : cases) {
        const QByteArray raw = MhlHasher::digest(c.format, data);
        EXPECT_EQ(HashFormats::text(c.format, raw), QString(c.expected)) << HashFormats::name(c.format).toStdString();
        EXPECT_EQ(HashFormats::raw(c.format, c.expected), raw) << HashFormats::name(c.format).toStdString();
    }
    EXPECT_EQ(C4::ofBytes(data), QString(cases[3].expected));
    // The empty folder's value, and formats Vantor reads but never computes.
    EXPECT_EQ(HashFormats::text(HashFormat::xxh64, FolderHashes::compute(HashFormat::xxh64, {}, {}).at("").content),
              "ef46db3751d8e999");
    EXPECT_THROW(MhlHasher(HashFormat::xxh3), VantorError);
}

TEST(MhlHashEncoding, C4RoundTripKeepsLeadingZeros)
{
    QByteArray small(64, '\0');
    small[63] = 1;
    QByteArray leading(64, '\x5a');
    leading[0] = 0;
    leading[1] = 0;
    const QByteArray cases[] = {QByteArray(64, '\0'), small, leading, QByteArray(64, '\xff')};
    for (const QByteArray &raw : cases) {
        const QString id = C4::encode(raw);
        EXPECT_EQ(id.size(), 90);
        EXPECT_TRUE(id.startsWith("c4"));
        EXPECT_EQ(C4::decode(id), raw) << id.toStdString();
    }
    EXPECT_EQ(C4::encode(QByteArray(64, '\0')), "c4" + QString(88, '1'));
    EXPECT_EQ(C4::encode(small), "c4" + QString(87, '1') + "2");
}

TEST(MhlHashEncoding, MalformedDigestsAreRefused)
{
    const QString valid = C4::ofBytes("x");
    const struct {
        HashFormat format;
        QString text;
    } cases[] = {
        {HashFormat::c4, "c5" + valid.mid(2)},
        {HashFormat::c4, valid.left(89) + "0"}, // '0' is not a base58 digit
        {HashFormat::c4, "c4" + QString(88, 'z')}, // larger than 512 bits
        {HashFormat::c4, valid.left(60)},
        {HashFormat::xxh64, "584B2EA1974F2B7C"}, // upper case
        {HashFormat::md5, "9db0fc9f"},
    };
    for (const auto &c : cases)
        EXPECT_THROW(HashFormats::raw(c.format, c.text), VantorError) << c.text.toStdString();
}

} // namespace
} // namespace vantor
