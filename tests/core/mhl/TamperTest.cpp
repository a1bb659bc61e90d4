// A history that no longer matches its folder is reported, each kind of damage in its own words.
#include "MhlTesting.h"
#include "TempDir.h"
#include "base/VantorError.h"
#include "mhl/ManifestXml.h"
#include "mhl/MhlGeneration.h"
#include "mhl/MhlHasher.h"
#include "mhl/MhlHistory.h"
#include "mhl/MhlVerify.h"

#include <QDir>
#include <QFile>
#include <functional>
#include <gtest/gtest.h>

namespace vantor {
namespace {

// What verifying a folder says: its first problem, or the refusal of its history.
QString verdict(const QString &scope)
{
    JobControl control;
    try {
        const MhlVerify::Result result = MhlVerify::verify(scope, control);
        return result.ok() ? QStringLiteral("ok") : result.problems.front().message();
    } catch (const VantorError &error) {
        return error.message();
    }
}

struct Card {
    test::TempDir dir;
    QString scope = dir.file("A001");
    QString manifest;
    QString recorded; // A001C001.mov's digest
    Card()
    {
        dir.write("A001/Clips/A001C001.mov", test::randomBytes(70000, 1));
        dir.write("A001/Clips/A001C002.mov", test::randomBytes(1000, 2));
        dir.write("A001/Sidecar.txt", "notes");
        JobControl control;
        MhlGeneration::Request request;
        request.scope = scope;
        manifest = MhlGeneration::write(request, control).manifestPath;
        recorded = MhlHasher::fileDigests(scope + "/Clips/A001C001.mov", {HashFormat::xxh64}, control).front();
    }
    void flipByte(const QString &path, qint64 at) const
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        file.seek(at);
        char byte = 0;
        file.getChar(&byte);
        file.seek(at);
        file.putChar(char(byte ^ 0x01));
    }
};

TEST(MhlTamper, EachDamageHasItsOwnMessage)
{
    const struct {
        const char *name;
        std::function<void(Card &)> damage;
        std::function<QString(const Card &)> expected;
    } cases[] = {
        {"untouched", [](Card &) {}, [](const Card &) { return QStringLiteral("ok"); }},
        {"media byte", [](Card &c) { c.flipByte(c.scope + "/Clips/A001C001.mov", 40000); },
         [](const Card &c) {
             const QString path = c.scope + "/Clips/A001C001.mov";
             JobControl control;
             return "A file does not match its ASC MHL history (xxh64 recorded " + c.recorded + ", found "
                 + MhlHasher::fileDigests(path, {HashFormat::xxh64}, control).front() + "): " + path;
         }},
        {"manifest byte", [](Card &c) { c.flipByte(c.manifest, 200); },
         [](const Card &c) { return "A manifest does not match the C4 its ASC MHL chain records: " + c.manifest; }},
        {"missing manifest", [](Card &c) { QFile::remove(c.manifest); },
         [](const Card &c) { return "A manifest listed in the ASC MHL chain is missing: " + c.manifest; }},
        {"missing chain", [](Card &c) { QFile::remove(MhlHistory::chainPath(c.scope)); },
         [](const Card &c) { return "The ASC MHL history has no chain file: " + MhlHistory::chainPath(c.scope); }},
        {"no history", [](Card &c) { QDir(c.scope + "/ascmhl").removeRecursively(); },
         [](const Card &c) { return "The folder has no ASC MHL history: " + c.scope; }},
        {"new file", [](Card &c) { c.dir.write("A001/Clips/A001C003.mov", "late"); },
         [](const Card &c) { return "A file is not in the ASC MHL history: " + c.scope + "/Clips/A001C003.mov"; }},
        {"missing file", [](Card &c) { QFile::remove(c.scope + "/Sidecar.txt"); },
         [](const Card &c) { return "A file in the ASC MHL history is missing: " + c.scope + "/Sidecar.txt"; }},
        {"unlisted manifest", [](Card &c) { QFile::copy(c.manifest, c.scope + "/ascmhl/0002_A001_2026-01-01_000000Z.mhl"); },
         [](const Card &c) { return "A manifest is not listed in the ASC MHL chain: " + c.scope + "/ascmhl/0002_A001_2026-01-01_000000Z.mhl"; }},
    };
    for (const auto &c : cases) {
        Card card;
        c.damage(card);
        EXPECT_EQ(verdict(card.scope), c.expected(card)) << c.name;
    }
}

// The reader holds manifests to the schema's element order, as xmllint does.
TEST(MhlTamper, ElementsOutOfSchemaOrderAreRefused)
{
    Card card;
    const QByteArray good = test::readFile(card.manifest);
    const struct {
        const char *name;
        QByteArray from;
        QByteArray to;
    } cases[] = {
        {"process missing", "<process>in-place</process>", ""},
        {"unknown element", "<hostname>", "<host>x</host><hostname>"},
        {"bad action", "action=\"original\"", "action=\"copied\""},
    };
    for (const auto &c : cases) {
        QByteArray bad = good;
        bad.replace(c.from, c.to);
        ASSERT_NE(bad, good) << c.name;
        const QString path = card.dir.write(QString("bad-%1.mhl").arg(c.name), bad);
        EXPECT_NE(test::schemaErrors(path), "") << c.name;
        try {
            ManifestXml::read(bad, path);
            ADD_FAILURE() << c.name;
        } catch (const VantorError &error) {
            EXPECT_TRUE(error.message().startsWith("The ASC MHL file could not be read (line ")) << error.message().toStdString();
            EXPECT_TRUE(error.message().endsWith(": " + path)) << error.message().toStdString();
        }
    }
    EXPECT_EQ(test::schemaErrors(card.manifest), "");
}

} // namespace
} // namespace vantor
