#include "ingest/MediaIngestService.h"

#include "Privileges.h"
#include "TempDir.h"
#include "model/VantorError.h"

#include <QFile>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <system_error>

using namespace vantor;

namespace {

QStringList relatives(const std::vector<SourceFile> &files)
{
    QStringList list;
    for (const SourceFile &file : files)
        list << file.relative;
    return list;
}

QString scanError(const QStringList &paths)
{
    try {
        MediaIngestService::scan(paths);
    } catch (const std::exception &error) {
        return errorText(error);
    }
    return QStringLiteral("(no error)");
}

} // namespace

TEST(IsVideo, ExtensionsCaseInsensitively)
{
    for (const char *name : {"a.mov", "b.mp4", "c.mxf", "d.mkv", "e.avi", "f.m4v", "g.mts", "h.m2ts", "i.webm",
                             "j.mpg", "k.mpeg", "l.r3d", "m.braw", "n.crm", "o.ari", "CLIP.MOV", "A.BRAW", "/x.y/Z.Mxf"})
        EXPECT_TRUE(MediaIngestService::isVideo(QString::fromLatin1(name))) << name;
    for (const char *name : {"clip.mov.txt", "mov", "notes.xml", "/a.mov/readme", "clip.", "x.wav"})
        EXPECT_FALSE(MediaIngestService::isVideo(QString::fromLatin1(name))) << name;
}

TEST(Scan, CameraCardKeepsItsHierarchyAndSkipsHiddenEntries)
{
    test::TempDir dir;
    const QString clip = dir.write(QStringLiteral("A001/CLIP/A001C001.MXF"), "video");
    dir.write(QStringLiteral("A001/.DS_Store"), "x");
    dir.write(QStringLiteral("A001/.hidden/inside.mov"), "x");
    ::symlink("/etc/passwd", QFile::encodeName(dir.file(QStringLiteral("A001/.hidden/link"))).constData());
    dir.makeDir(QStringLiteral("A001/EMPTY"));
    const timespec times[2] = {{0, UTIME_OMIT}, {1600000000, 123456789}};
    ::utimensat(AT_FDCWD, QFile::encodeName(clip).constData(), times, 0);

    const std::vector<SourceFile> files = MediaIngestService::scan({dir.file(QStringLiteral("A001"))});
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].url, clip);
    EXPECT_EQ(files[0].relative, QStringLiteral("A001/CLIP/A001C001.MXF"));
    EXPECT_EQ(files[0].grant.path, dir.file(QStringLiteral("A001")));
    EXPECT_EQ(files[0].size, 5);
    EXPECT_EQ(files[0].modified, Timestamp::fromTimespec(times[1]));
}

TEST(Scan, FolderContentsInPlainPathOrderAndSelectionOrderKept)
{
    test::TempDir dir;
    for (const char *name : {"card/b.mov", "card/a/z.mov", "card/B.mov", "card/10.mov", "card/9.mov", "card/a.mov",
                             "card/é.mov", "card/e.mov", "loose.mov"})
        dir.write(QString::fromUtf8(name), "x");
    ::mkfifo(QFile::encodeName(dir.file(QStringLiteral("card/pipe"))).constData(), 0600);
    const auto files = MediaIngestService::scan({dir.file(QStringLiteral("loose.mov")), dir.file(QStringLiteral("card"))});
    EXPECT_EQ(relatives(files), QStringList({QStringLiteral("loose.mov"), QStringLiteral("card/10.mov"),
                                             QStringLiteral("card/9.mov"), QStringLiteral("card/B.mov"),
                                             QStringLiteral("card/a.mov"), QStringLiteral("card/a/z.mov"),
                                             QStringLiteral("card/b.mov"), QStringLiteral("card/e.mov"),
                                             QString::fromUtf8("card/é.mov")}));
}

TEST(Scan, OverlappingSelectionsListEachFileOnceFirstOccurrenceWins)
{
    test::TempDir dir;
    const QString file = dir.write(QStringLiteral("card/clip.mov"), "x");
    dir.write(QStringLiteral("card/other.mov"), "x");
    const QString card = dir.file(QStringLiteral("card"));
    EXPECT_EQ(relatives(MediaIngestService::scan({card, file, card + QStringLiteral("/./")})),
              QStringList({QStringLiteral("card/clip.mov"), QStringLiteral("card/other.mov")}));
    EXPECT_EQ(relatives(MediaIngestService::scan({file, card})),
              QStringList({QStringLiteral("clip.mov"), QStringLiteral("card/other.mov")}));
    // A hidden file selected on its own is listed.
    const QString hidden = dir.write(QStringLiteral(".sidecar.xml"), "x");
    EXPECT_EQ(relatives(MediaIngestService::scan({hidden})), QStringList({QStringLiteral(".sidecar.xml")}));
}

TEST(Scan, LinksAreRefused)
{
    test::TempDir dir;
    dir.write(QStringLiteral("card/a.mov"), "x");
    const QString selectedLink = dir.file(QStringLiteral("link.mov"));
    ::symlink("card/a.mov", QFile::encodeName(selectedLink).constData());
    EXPECT_EQ(scanError({selectedLink}), QStringLiteral("Symbolic links are not ingested: ") + selectedLink);

    const QString inner = dir.file(QStringLiteral("card/sub/b.mov"));
    dir.makeDir(QStringLiteral("card/sub"));
    ::symlink("../a.mov", QFile::encodeName(inner).constData());
    EXPECT_EQ(scanError({dir.file(QStringLiteral("card"))}),
              QStringLiteral("A symbolic link was found in the source. Remove it from the selection: ") + inner);
}

TEST(Scan, UnreadableFoldersAreReported)
{
    test::TempDir dir;
    dir.write(QStringLiteral("card/a.mov"), "x");
    dir.write(QStringLiteral("card/locked/b.mov"), "x");
    const QString card = dir.file(QStringLiteral("card"));
    const QString locked = dir.file(QStringLiteral("card/locked"));
    ::chmod(QFile::encodeName(locked).constData(), 0);
    test::ObeyFilePermissions obey;
    try {
        MediaIngestService::scan({card});
        FAIL() << "a folder with an unreadable folder inside was scanned";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code().value(), EACCES);
        EXPECT_EQ(errorText(error), locked + QStringLiteral(": Permission denied"));
    }
    EXPECT_EQ(scanError({locked}), QStringLiteral("Cannot read ") + locked + QStringLiteral("."));
    EXPECT_EQ(scanError({dir.file(QStringLiteral("gone"))}), QStringLiteral("No such file or directory"));
}
