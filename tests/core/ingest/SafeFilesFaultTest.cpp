#include "TempDir.h"
#include "ingest/SafeFiles.h"
#include "model/VantorError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantor;
using vantor::test::TempDir;

namespace {

QByteArray stage(const SafeFiles::ParentFolder &parent, const QByteArray &content)
{
    const QByteArray name = SafeFiles::stagingName(QStringLiteral(".partial"));
    FileIo::UniqueFd file = FileIo::openAt(parent.folder.get(), name, O_WRONLY | O_CREAT | O_EXCL, 0644);
    FileIo::writeAll(file.get(), content.constData(), std::size_t(content.size()));
    FileIo::closeChecked(file);
    return name;
}

struct FaultGuard {
    ~FaultGuard() { FileIo::Faults::clear(); }
};

} // namespace

class SafeFilesFaultTest : public ::testing::TestWithParam<int> {};

TEST_P(SafeFilesFaultTest, EveryFailedStepOfPrepareReachesTheCaller)
{
    ASSERT_TRUE(FileIo::Faults::available());
    FaultGuard guard;
    TempDir probe;
    FileIo::Faults::set({});
    SafeFiles::prepareParent(probe.makeDir(QStringLiteral("root")) + QStringLiteral("/a/b/clip.mov"),
                             probe.file(QStringLiteral("root")));
    const long steps = FileIo::Faults::mutatingCount();
    ASSERT_EQ(steps, 4) << "two folders made, two parents synced";

    for (long failing = 1; failing <= steps; ++failing) {
        TempDir dir;
        const QString root = dir.makeDir(QStringLiteral("root"));
        FileIo::Faults::set({.failAt = failing, .error = GetParam()});
        try {
            SafeFiles::prepareParent(root + QStringLiteral("/a/b/clip.mov"), root);
            ADD_FAILURE() << "step " << failing << " failed silently";
        } catch (const std::system_error &error) {
            EXPECT_EQ(error.code().value(), GetParam());
        }
        FileIo::Faults::clear();
        EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/a/b/clip.mov")));
    }
}

TEST_P(SafeFilesFaultTest, EveryFailedStepOfPublishKeepsTheStagingFileAndReplacesNothing)
{
    FaultGuard guard;
    for (long failing = 1; failing <= 2; ++failing) {
        TempDir dir;
        const QString root = dir.makeDir(QStringLiteral("root"));
        const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(root + QStringLiteral("/clip.mov"), root);
        const QByteArray staging = stage(parent, "finished");
        FileIo::Faults::set({.failAt = failing, .error = GetParam()});
        EXPECT_ANY_THROW(SafeFiles::publish(parent, staging)) << "step " << failing;
        FileIo::Faults::clear();
        EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/clip.mov"))) << "step " << failing;
        EXPECT_EQ(vantor::test::readFile(root + QLatin1Char('/') + QString::fromLatin1(staging)), QByteArray("finished"));
    }
}

INSTANTIATE_TEST_SUITE_P(Errors, SafeFilesFaultTest, ::testing::Values(EIO, ENOSPC, EACCES));

TEST(SafeFilesRaceTest, AFolderSwappedForALinkIsNeverFollowed)
{
    TempDir dir;
    const QString root = dir.makeDir(QStringLiteral("root"));
    const QString outside = dir.makeDir(QStringLiteral("outside"));
    dir.makeDir(QStringLiteral("root/a/b"));
    const QByteArray folder = QFile::encodeName(root + QStringLiteral("/a"));
    const QByteArray link = QFile::encodeName(root + QStringLiteral("/a.link"));
    ASSERT_EQ(::symlink(QFile::encodeName(outside).constData(), link.constData()), 0);

    // The racer atomically exchanges the real "a" with a link to the outside folder and back,
    // so at every moment one of the two stands at "a"; the pauses give both states a share.
    const pid_t racer = ::fork();
    if (racer == 0) {
        for (;;) {
            ::renameat2(AT_FDCWD, folder.constData(), AT_FDCWD, link.constData(), RENAME_EXCHANGE);
            ::usleep(50);
            ::renameat2(AT_FDCWD, folder.constData(), AT_FDCWD, link.constData(), RENAME_EXCHANGE);
            ::usleep(50);
        }
    }

    int published = 0, refused = 0;
    for (int round = 0; round < 10000; ++round) {
        const QString target = root + QStringLiteral("/a/b/clip%1.mov").arg(round);
        try {
            const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, root);
            SafeFiles::publish(parent, stage(parent, "x"));
            ++published;
        } catch (const std::exception &) {
            ++refused; // a refusal is fine; writing outside is not
        }
    }
    ::kill(racer, SIGKILL);
    ::waitpid(racer, nullptr, 0);

    EXPECT_TRUE(vantor::test::listTree(outside).isEmpty()) << vantor::test::listTree(outside).join(u' ').toStdString();
    EXPECT_GT(published, 0);
    EXPECT_GT(refused, 0) << "the racer never got in the way; the test proved nothing";
    RecordProperty("published", published);
    RecordProperty("refused", refused);
}
