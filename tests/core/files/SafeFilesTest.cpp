#include "TempDir.h"
#include "files/SafeFiles.h"
#include "base/VantorError.h"

#include <QFile>
#include <QFileInfo>
#include <csignal>
#include <fcntl.h>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace vantor;
using test::listTree;
using test::readFile;

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

// The failure's text, or "" when the action succeeded.
QString messageOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const std::exception &error) {
        return errorText(error);
    }
    return {};
}

class SafeFilesTest : public testing::Test {
protected:
    void TearDown() override { FileIo::Faults::clear(); }
    test::TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
};

} // namespace

TEST(SafeFiles, DescendantAndLexicalComponentsAreLexical)
{
    const struct {
        const char *child, *root;
        bool expected;
    } cases[] = {{"/a/b", "/a/b", false}, {"/a/b/c", "/a/b", true}, {"/a/b/../c/x", "/a/b", false}, {"/a/B/x", "/a/b", false},
                 {"/a/bc", "/a/b", false}, {"/a/b/./c/", "/a/b/", true}, {"/a/b/c/..", "/a/b", false},
                 {"/../../a/b/c", "/a/b", true}, {"/x", "/", true}, {"/", "/", false}};
    for (const auto &c : cases)
        EXPECT_EQ(SafeFiles::descendant(QLatin1String(c.child), QLatin1String(c.root)), c.expected) << c.child << " in " << c.root;
    EXPECT_EQ(SafeFiles::lexicalComponents(QStringLiteral("/../a/./b/")), QStringList({"a", "b"}));
    EXPECT_EQ(SafeFiles::lexicalComponents(QStringLiteral("//a//b/../c")), QStringList({"a", "c"}));
    EXPECT_TRUE(SafeFiles::lexicalComponents(QStringLiteral("/..")).isEmpty());
}

TEST_F(SafeFilesTest, PrepareParentMakesTheChainAndRefusesEveryBadTarget)
{
    const QString outside = dir.makeDir(QStringLiteral("outside"));
    ASSERT_TRUE(QFile::link(outside, root + QStringLiteral("/linked")));
    ASSERT_TRUE(QFile::link(root, dir.file(QStringLiteral("rootlink"))));
    dir.write(QStringLiteral("root/plain"), "x");
    dir.write(QStringLiteral("root/taken.mov"), "old");
    const QString locked = dir.makeDir(QStringLiteral("locked"));
    QFile::setPermissions(locked, QFile::ReadOwner | QFile::ExeOwner);
    // Folders below the root locked by clearing every write bit, which holds even for root.
    const QString lockedBelow = dir.makeDir(QStringLiteral("root/lockedBelow"));
    dir.makeDir(QStringLiteral("root/lockedAbove/open"));
    const QString lockedAbove = root + QStringLiteral("/lockedAbove");
    for (const QString &folder : {lockedBelow, lockedAbove})
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup);
    const QString escape = QStringLiteral("Output would escape the selected destination.");
    const QString component = QStringLiteral("A destination component is a link or file: ") + root;
    const QString unreal = QStringLiteral("Select an available, real destination folder: ");
    const struct {
        QString target, root, message;
    } cases[] = {
        {root + QStringLiteral("/../outside/x.mov"), root, escape},
        {root, root, escape},
        {root + QStringLiteral("/linked/sub/x.mov"), root, component + QStringLiteral("/linked")},
        {root + QStringLiteral("/plain/x.mov"), root, component + QStringLiteral("/plain")},
        {root + QStringLiteral("/taken.mov"), root, QStringLiteral("File already exists. Choose a different name or destination: taken.mov")},
        {dir.file(QStringLiteral("rootlink/x.mov")), dir.file(QStringLiteral("rootlink")), unreal + dir.file(QStringLiteral("rootlink"))},
        {root + QStringLiteral("/plain/x.mov"), root + QStringLiteral("/plain"), unreal + root + QStringLiteral("/plain")},
        {locked + QStringLiteral("/x.mov"), locked, QStringLiteral("The destination is read-only: ") + locked},
        {lockedBelow + QStringLiteral("/x.mov"), root, QStringLiteral("The destination is read-only: ") + lockedBelow},
        {lockedBelow + QStringLiteral("/A001/x.mov"), root, QStringLiteral("The destination is read-only: ") + lockedBelow},
        {lockedAbove + QStringLiteral("/open/x.mov"), root, QStringLiteral("The destination is read-only: ") + lockedAbove},
    };
    for (const auto &c : cases)
        EXPECT_EQ(messageOf([&] { SafeFiles::prepareParent(c.target, c.root); }), c.message) << c.target.toStdString();
    EXPECT_THROW(SafeFiles::existingDirectory(dir.file(QStringLiteral("missing"))), std::system_error);
    EXPECT_TRUE(listTree(outside).isEmpty());
    EXPECT_EQ(listTree(root), QStringList({"linked", "lockedAbove/", "lockedAbove/open/", "lockedBelow/", "plain", "taken.mov"}));

    // A good target gets its chain; publishing never replaces, and a refused publish keeps both files.
    const QString target = root + QStringLiteral("/A001/CLIP/clip.mov");
    const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, root);
    EXPECT_EQ(parent.targetPath(), target);
    SafeFiles::publish(parent, stage(parent, "picture"));
    const QByteArray second = stage(parent, "other");
    EXPECT_EQ(messageOf([&] { SafeFiles::publish(parent, second); }),
              QStringLiteral("Could not commit clip.mov: File exists. The existing destination was not replaced."));
    EXPECT_EQ(readFile(target), QByteArray("picture"));
    EXPECT_EQ(readFile(root + QStringLiteral("/A001/CLIP/") + QString::fromLatin1(second)), QByteArray("other"));
}

TEST_F(SafeFilesTest, TwoPublishersOfOneTargetHaveExactlyOneWinner)
{
    const QString target = root + QStringLiteral("/out/clip.mov");
    for (int round = 0; round < 200; ++round) {
        const SafeFiles::ParentFolder parents[2] = {SafeFiles::prepareParent(target, root), SafeFiles::prepareParent(target, root)};
        const QByteArray stagings[2] = {stage(parents[0], "0"), stage(parents[1], "1")};
        QString failures[2];
        std::thread a([&] { failures[0] = messageOf([&] { SafeFiles::publish(parents[0], stagings[0]); }); });
        failures[1] = messageOf([&] { SafeFiles::publish(parents[1], stagings[1]); });
        a.join();
        const int loser = failures[0].isEmpty() ? 1 : 0;
        ASSERT_TRUE(failures[1 - loser].isEmpty() && !failures[loser].isEmpty()) << failures[loser].toStdString();
        const QString loserStaging = root + QStringLiteral("/out/") + QString::fromLatin1(stagings[loser]);
        ASSERT_EQ(std::pair(readFile(target), readFile(loserStaging)), std::pair(QByteArray::number(1 - loser), QByteArray::number(loser)));
        QFile::remove(target);
        QFile::remove(loserStaging);
    }
}

// Every mutating step of prepareParent (two folders made, two parents synced) and of publish
// (the exclusive rename, the parent's sync), failed in turn, reaches the caller; publish keeps
// the staging file and nothing appears at the target.
TEST_F(SafeFilesTest, EveryFailedStepReachesTheCaller)
{
    for (const int error : {EIO, ENOSPC, EACCES}) {
        const QString text = QString::fromLocal8Bit(std::strerror(error));
        for (long step = 1; step <= 4; ++step) {
            SCOPED_TRACE(text.toStdString() + " at step " + std::to_string(step));
            const QString base = dir.makeDir(QStringLiteral("%1-%2").arg(error).arg(step));
            FileIo::Faults::set({.failAt = step, .error = error});
            EXPECT_TRUE(messageOf([&] { SafeFiles::prepareParent(base + QStringLiteral("/a/b/clip.mov"), base); }).contains(text));
            FileIo::Faults::clear();
            if (step > 2)
                continue;
            const QString target = base + QStringLiteral("/clip.mov");
            const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, base);
            const QByteArray staging = stage(parent, "finished");
            FileIo::Faults::set({.failAt = step, .error = error});
            EXPECT_TRUE(messageOf([&] { SafeFiles::publish(parent, staging); }).contains(text));
            FileIo::Faults::clear();
            EXPECT_FALSE(QFileInfo::exists(target));
            EXPECT_EQ(readFile(base + QLatin1Char('/') + QString::fromLatin1(staging)), "finished");
        }
    }
    FileIo::Faults::set({});
    SafeFiles::prepareParent(root + QStringLiteral("/a/b/clip.mov"), root);
    EXPECT_EQ(FileIo::Faults::mutatingCount(), 4);
}

// A racer process exchanges the real "a" with a link to the outside folder and back, so at
// every moment one of the two stands at "a"; a refusal is fine, writing outside is not.
TEST_F(SafeFilesTest, AFolderSwappedForALinkIsNeverFollowed)
{
    const QString outside = dir.makeDir(QStringLiteral("outside"));
    dir.makeDir(QStringLiteral("root/a/b"));
    const QByteArray folder = QFile::encodeName(root + QStringLiteral("/a"));
    const QByteArray link = QFile::encodeName(root + QStringLiteral("/a.link"));
    ASSERT_EQ(::symlink(QFile::encodeName(outside).constData(), link.constData()), 0);
    const pid_t racer = ::fork();
    if (racer == 0) {
        for (;;) {
            ::renameat2(AT_FDCWD, folder.constData(), AT_FDCWD, link.constData(), RENAME_EXCHANGE);
            ::usleep(50);
        }
    }
    int published = 0, refused = 0;
    for (int round = 0; round < 10000; ++round) {
        ++(messageOf([&] {
               const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(root + QStringLiteral("/a/b/clip%1.mov").arg(round), root);
               SafeFiles::publish(parent, stage(parent, "x"));
           }).isEmpty() ? published : refused);
    }
    ::kill(racer, SIGKILL);
    ::waitpid(racer, nullptr, 0);
    EXPECT_TRUE(listTree(outside).isEmpty());
    EXPECT_GT(published, 0);
    EXPECT_GT(refused, 0) << "the racer never got in the way; the test proved nothing";
}
