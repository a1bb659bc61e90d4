#include "ingest/MediaIngestService.h"

#include "Privileges.h"
#include "TempDir.h"
#include "base/VantorError.h"

#include <QFile>
#include <algorithm>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vantor;

namespace {

QStringList relatives(const QStringList &paths, QStringList *skipped = nullptr)
{
    QStringList list;
    for (const SourceFile &file : MediaIngestService::scan(paths, skipped))
        list << file.relative;
    return list;
}

QString scanError(const QStringList &paths, QStringList *skipped = nullptr)
{
    try {
        MediaIngestService::scan(paths, skipped);
    } catch (const std::exception &error) {
        return errorText(error);
    }
    return QStringLiteral("(no error)");
}

void link(const char *target, const QString &at)
{
    ASSERT_EQ(::symlink(target, QFile::encodeName(at).constData()), 0);
}

class Scan : public testing::Test {
protected:
    test::TempDir dir;
};

} // namespace

TEST(IsVideo, ByTheLastExtensionInAnyCase)
{
    for (const char *name : {"a.mov", "b.m2ts", "CLIP.MOV", "A.BRAW", "/x.y/Z.Mxf"})
        EXPECT_TRUE(MediaIngestService::isVideo(QString::fromLatin1(name))) << name;
    for (const char *name : {"clip.mov.txt", "mov", "/a.mov/readme", "clip.", "x.wav"})
        EXPECT_FALSE(MediaIngestService::isVideo(QString::fromLatin1(name))) << name;
}

// A card keeps its hierarchy with hidden entries, empty folders and pipes skipped; folder contents
// come in plain path order, selections in the order given, each file once (first occurrence wins),
// and a hidden file selected on its own is listed.
TEST_F(Scan, HierarchyOrderAndOverlappingSelections)
{
    for (const char *name : {"card/b.mov", "card/a/z.mov", "card/B.mov", "card/10.mov", "card/9.mov", "card/a.mov",
                             "card/é.mov", "card/a-b.mov", "card/a0.mov", "card/.DS_Store", "card/.hidden/inside.mov", "loose.mov", ".sidecar.xml"})
        dir.write(QString::fromUtf8(name), "x");
    const QString clip = dir.write(QStringLiteral("card/e.mov"), "video");
    link("/etc/passwd", dir.file(QStringLiteral("card/.hidden/link")));
    dir.makeDir(QStringLiteral("card/EMPTY"));
    ::mkfifo(QFile::encodeName(dir.file(QStringLiteral("card/pipe"))).constData(), 0600);
    const timespec times[2] = {{0, UTIME_OMIT}, {1600000000, 123456789}};
    ::utimensat(AT_FDCWD, QFile::encodeName(clip).constData(), times, 0);
    const QString card = dir.file(QStringLiteral("card"));

    const std::vector<SourceFile> files = MediaIngestService::scan({card});
    ASSERT_EQ(files.size(), 10u);
    EXPECT_EQ(std::tuple(files[8].url, files[8].relative, files[8].grant.path, files[8].size, files[8].modified),
              std::tuple(clip, QStringLiteral("card/e.mov"), card, 5, Timestamp::fromTimespec(times[1])));

    const QStringList sorted = QString::fromUtf8("card/10.mov card/9.mov card/B.mov card/a-b.mov card/a.mov card/a/z.mov "
                                                 "card/a0.mov card/b.mov card/e.mov card/é.mov").split(u' ');
    EXPECT_EQ(relatives({dir.file(QStringLiteral("loose.mov")), card}), QStringList(QStringLiteral("loose.mov")) + sorted);
    EXPECT_EQ(relatives({card, dir.file(QStringLiteral("card/a.mov")), card + QStringLiteral("/./")}), sorted);
    QStringList rest = sorted;
    rest.removeOne(QStringLiteral("card/a.mov"));
    EXPECT_EQ(relatives({dir.file(QStringLiteral("card/a.mov")), dir.file(QStringLiteral(".sidecar.xml")), card}),
              QStringList({QStringLiteral("a.mov"), QStringLiteral(".sidecar.xml")}) + rest);
}

// Folders are read in parallel; the list still comes in byte order of the whole path, every file once.
TEST_F(Scan, DeepTreeInPathOrder)
{
    QStringList written;
    for (int folder = 0; folder < 40; ++folder) {
        for (const char *name : {"CLIP.MXF", "clip-1.wav", "sub/x.mov", "sub.xml", "sub/deeper/y.mov", "sub0"}) {
            const QString relative = QStringLiteral("card/%1/").arg(folder) + QString::fromLatin1(name);
            dir.write(relative, "x");
            written << relative;
        }
    }
    std::sort(written.begin(), written.end(), [](const QString &a, const QString &b) { return a.toUtf8() < b.toUtf8(); });
    EXPECT_EQ(relatives({dir.file(QStringLiteral("card"))}), written);
}

TEST_F(Scan, LinksAndUnreadableFoldersAreRefused)
{
    dir.write(QStringLiteral("card/a.mov"), "x");
    dir.write(QStringLiteral("locked/locked/b.mov"), "x");
    const QString selectedLink = dir.file(QStringLiteral("link.mov"));
    link("card/a.mov", selectedLink);
    EXPECT_EQ(scanError({selectedLink}), QStringLiteral("Symbolic links are not ingested: ") + selectedLink);
    const QString inner = dir.makeDir(QStringLiteral("card/sub")) + QStringLiteral("/b.mov");
    link("../a.mov", inner);
    EXPECT_EQ(scanError({dir.file(QStringLiteral("card"))}),
              QStringLiteral("A symbolic link was found in the source. Remove it from the selection: ") + inner);

    const QString locked = dir.file(QStringLiteral("locked/locked"));
    ::chmod(QFile::encodeName(locked).constData(), 0);
    test::ObeyFilePermissions obey;
    EXPECT_EQ(scanError({dir.file(QStringLiteral("locked"))}), locked + QStringLiteral(": Permission denied"));
    EXPECT_EQ(scanError({locked}), QStringLiteral("Cannot read ") + locked + QStringLiteral("."));
    EXPECT_EQ(scanError({dir.file(QStringLiteral("gone"))}), dir.file(QStringLiteral("gone")) + QStringLiteral(": No such file or directory"));
    EXPECT_EQ(scanError({QString()}), QStringLiteral("An empty path was given as a source."));
}

// A watched folder takes what it can: links inside it are handed back, the files beside them listed.
TEST_F(Scan, LinksInsideFoldersCanBeSkipped)
{
    dir.write(QStringLiteral("card/a.mov"), "x");
    dir.write(QStringLiteral("card/sub/c.mov"), "x");
    const QString inner = dir.file(QStringLiteral("card/sub/b.mov"));
    link("../a.mov", inner);
    QStringList skipped;
    EXPECT_EQ(relatives({dir.file(QStringLiteral("card"))}, &skipped), (QStringList{QStringLiteral("card/a.mov"), QStringLiteral("card/sub/c.mov")}));
    EXPECT_EQ(skipped, QStringList{inner});
    const QString selectedLink = dir.file(QStringLiteral("link.mov"));
    link("card/a.mov", selectedLink);
    EXPECT_EQ(scanError({selectedLink}, &skipped), QStringLiteral("Symbolic links are not ingested: ") + selectedLink);
}
