#include "TempDir.h"
#include "ingest/SafeFiles.h"
#include "model/VantorError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

// Writes a finished staging file inside the prepared parent, as a writer would.
QByteArray stage(const SafeFiles::ParentFolder &parent, const QByteArray &content)
{
    const QByteArray name = SafeFiles::stagingName(QStringLiteral(".partial"));
    FileIo::UniqueFd file = FileIo::openAt(parent.folder.get(), name, O_WRONLY | O_CREAT | O_EXCL, 0644);
    FileIo::writeAll(file.get(), content.constData(), std::size_t(content.size()));
    FileIo::closeChecked(file);
    return name;
}

QString messageOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const VantorError &error) {
        return error.message();
    }
    return {};
}

} // namespace

struct DescendantCase {
    const char *child;
    const char *root;
    bool expected;
};

class DescendantTest : public ::testing::TestWithParam<DescendantCase> {};

TEST_P(DescendantTest, IsLexicalAndStrict)
{
    EXPECT_EQ(SafeFiles::descendant(QLatin1String(GetParam().child), QLatin1String(GetParam().root)), GetParam().expected)
        << GetParam().child << " under " << GetParam().root;
}

INSTANTIATE_TEST_SUITE_P(Paths, DescendantTest,
                         ::testing::Values(DescendantCase{"/a/b", "/a/b", false}, DescendantCase{"/a/b/c", "/a/b", true},
                                           DescendantCase{"/a/b/../c/x", "/a/b", false},
                                           DescendantCase{"/a/B/x", "/a/b", false}, DescendantCase{"/a/bc", "/a/b", false},
                                           DescendantCase{"/a/b/./c/", "/a/b/", true},
                                           DescendantCase{"/a/b/c/..", "/a/b", false},
                                           DescendantCase{"/../../a/b/c", "/a/b", true}, DescendantCase{"/x", "/", true},
                                           DescendantCase{"/", "/", false}));

TEST(SafeFilesTest, LexicalComponentsDropDotsAndNeverClimbAboveRoot)
{
    EXPECT_EQ(SafeFiles::lexicalComponents(QStringLiteral("/../a/./b/")), QStringList({"a", "b"}));
    EXPECT_EQ(SafeFiles::lexicalComponents(QStringLiteral("//a//b/../c")), QStringList({"a", "c"}));
    EXPECT_TRUE(SafeFiles::lexicalComponents(QStringLiteral("/..")).isEmpty());
}

TEST(SafeFilesTest, ExistingDirectoryRefusesLinksFilesAndReadOnlyFolders)
{
    TempDir dir;
    const QString real = dir.makeDir(QStringLiteral("real"));
    EXPECT_NO_THROW(SafeFiles::existingDirectory(real));

    const QString link = dir.file(QStringLiteral("link"));
    ASSERT_TRUE(QFile::link(real, link));
    EXPECT_EQ(messageOf([&] { SafeFiles::existingDirectory(link); }),
              QStringLiteral("Select an available, real destination folder: ") + link);

    const QString file = dir.write(QStringLiteral("file"), "x");
    EXPECT_EQ(messageOf([&] { SafeFiles::existingDirectory(file); }),
              QStringLiteral("Select an available, real destination folder: ") + file);

    const QString locked = dir.makeDir(QStringLiteral("locked"));
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_EQ(messageOf([&] { SafeFiles::existingDirectory(locked); }),
              QStringLiteral("The destination is read-only: ") + locked);

    EXPECT_THROW(SafeFiles::existingDirectory(dir.file(QStringLiteral("missing"))), std::system_error);
}

TEST(SafeFilesTest, PrepareParentMakesTheMissingChainAndPublishCommits)
{
    TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
    const QString target = root + QStringLiteral("/A001/CLIP/clip.mov");
    const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, root);
    EXPECT_EQ(parent.targetPath(), target);
    EXPECT_TRUE(QFileInfo(root + QStringLiteral("/A001/CLIP")).isDir());

    const QByteArray staging = stage(parent, "picture");
    SafeFiles::publish(parent, staging);
    EXPECT_EQ(vantor::test::readFile(target), QByteArray("picture"));
    EXPECT_EQ(vantor::test::listTree(root), QStringList({"A001/", "A001/CLIP/", "A001/CLIP/clip.mov"}));
}

TEST(SafeFilesTest, PrepareParentRefusesEscapesLinksFilesAndExistingTargets)
{
    TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
    const QString outside = dir.makeDir(QStringLiteral("outside"));
    ASSERT_TRUE(QFile::link(outside, root + QStringLiteral("/linked")));
    dir.write(QStringLiteral("root/plain"), "x");
    dir.write(QStringLiteral("root/taken.mov"), "old");

    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(root + QStringLiteral("/../outside/x.mov"), root); }),
              QStringLiteral("Output would escape the selected destination."));
    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(root, root); }),
              QStringLiteral("Output would escape the selected destination."));
    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(root + QStringLiteral("/linked/sub/x.mov"), root); }),
              QStringLiteral("A destination component is a link or file: ") + root + QStringLiteral("/linked"));
    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(root + QStringLiteral("/plain/x.mov"), root); }),
              QStringLiteral("A destination component is a link or file: ") + root + QStringLiteral("/plain"));
    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(root + QStringLiteral("/taken.mov"), root); }),
              QStringLiteral("File already exists. Choose a different name or destination: taken.mov"));
    const QString rootLink = dir.file(QStringLiteral("rootlink"));
    ASSERT_TRUE(QFile::link(root, rootLink));
    EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(rootLink + QStringLiteral("/x.mov"), rootLink); }),
              QStringLiteral("Select an available, real destination folder: ") + rootLink);

    // Nothing was made anywhere by the refusals.
    EXPECT_TRUE(vantor::test::listTree(outside).isEmpty());
    EXPECT_EQ(vantor::test::listTree(root), QStringList({"linked", "plain", "taken.mov"}));
}

TEST(SafeFilesTest, PublishNeverReplacesAndKeepsBothFiles)
{
    TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
    const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(root + QStringLiteral("/clip.mov"), root);
    const QByteArray staging = stage(parent, "new");
    dir.write(QStringLiteral("root/clip.mov"), "existing");

    const QString message = messageOf([&] { SafeFiles::publish(parent, staging); });
    EXPECT_EQ(message, QStringLiteral("Could not commit clip.mov: File exists. The existing destination was not replaced."));
    EXPECT_EQ(vantor::test::readFile(root + QStringLiteral("/clip.mov")), QByteArray("existing"));
    EXPECT_EQ(vantor::test::readFile(root + QLatin1Char('/') + QString::fromLatin1(staging)), QByteArray("new"));
}

TEST(SafeFilesTest, TwoPublishersOfOneTargetHaveExactlyOneWinner)
{
    TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
    const QString target = root + QStringLiteral("/out/clip.mov");
    for (int round = 0; round < 200; ++round) {
        const SafeFiles::ParentFolder first = SafeFiles::prepareParent(target, root);
        const SafeFiles::ParentFolder second = SafeFiles::prepareParent(target, root);
        const QByteArray firstStaging = stage(first, "first");
        const QByteArray secondStaging = stage(second, "second");
        bool firstWon = false, secondWon = false;
        std::thread a([&] { firstWon = messageOf([&] { SafeFiles::publish(first, firstStaging); }).isEmpty(); });
        std::thread b([&] { secondWon = messageOf([&] { SafeFiles::publish(second, secondStaging); }).isEmpty(); });
        a.join();
        b.join();
        ASSERT_NE(firstWon, secondWon);
        const QByteArray loserStaging = firstWon ? secondStaging : firstStaging;
        ASSERT_EQ(vantor::test::readFile(target), firstWon ? QByteArray("first") : QByteArray("second"));
        ASSERT_EQ(vantor::test::readFile(root + QStringLiteral("/out/") + QString::fromLatin1(loserStaging)),
                  firstWon ? QByteArray("second") : QByteArray("first"));
        QFile::remove(target);
        QFile::remove(root + QStringLiteral("/out/") + QString::fromLatin1(loserStaging));
    }
}

TEST(SafeFilesTest, StagingNamesAreHiddenAndReserved)
{
    const QString name = QString::fromLatin1(SafeFiles::stagingName(QStringLiteral(".partial")));
    EXPECT_TRUE(name.startsWith(QStringLiteral(".vantor-")));
    EXPECT_TRUE(name.endsWith(QStringLiteral(".partial")));
    EXPECT_EQ(name.size(), 8 + 36 + 8);
    EXPECT_NE(name, QString::fromLatin1(SafeFiles::stagingName(QStringLiteral(".partial"))));
}
