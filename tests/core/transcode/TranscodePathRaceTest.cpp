// The engine's output path against a destination folder swapped for a link: whatever is swapped
// and when, no byte lands outside the destination and nothing the engine wrote is left behind.
#include "ScopedEnvironment.h"
#include "TranscodeTesting.h"
#include "base/FileIo.h"
#include "transcode/TranscodePhase.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantor {
namespace {

// Bytes in every file below a folder, hidden ones included.
qint64 bytesBelow(const QString &folder)
{
    qint64 total = 0;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        total += QFileInfo(it.next()).size();
    return total;
}

// A process that exchanges the real folder with a link to `outside` and back until killed,
// counting its swaps in memory shared with the test.
class Swapper {
public:
    Swapper(const QString &folder, const QString &outside)
        : m_folder(QFile::encodeName(folder)), m_link(QFile::encodeName(folder + ".link"))
    {
        ::symlink(QFile::encodeName(outside).constData(), m_link.constData());
        m_swaps = static_cast<std::atomic<long> *>(
            ::mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        new (m_swaps) std::atomic<long>(0);
        m_pid = ::fork();
        if (m_pid == 0) {
            for (;;) {
                if (::renameat2(AT_FDCWD, m_folder.constData(), AT_FDCWD, m_link.constData(), RENAME_EXCHANGE) == 0)
                    ++*m_swaps;
                ::usleep(20);
            }
        }
    }
    ~Swapper()
    {
        stop();
        ::munmap(m_swaps, sizeof(std::atomic<long>));
    }
    long swaps() const { return m_swaps->load(); }
    // Ends the racer with the real folder back at its name.
    void stop()
    {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
        if (QFileInfo(QFile::decodeName(m_folder)).isSymLink())
            ::renameat2(AT_FDCWD, m_folder.constData(), AT_FDCWD, m_link.constData(), RENAME_EXCHANGE);
    }

private:
    QByteArray m_folder, m_link;
    std::atomic<long> *m_swaps = nullptr;
    pid_t m_pid = -1;
};

class TranscodePathRace : public testing::Test {
protected:
    test::TempDir media, root, elsewhere;
    const QString folder = root.makeDir("day1");
    const QString outside = elsewhere.makeDir("outside");
    JobControl control;

    MediaJob job(const QString &name)
    {
        const QString source = test::makeClip(media.file(name + ".mov"), test::clips::silentClip({}, 0.4));
        return test::transcodeJob(source, root.path(), folder + "/" + name + "_PROXY.mov", test::preset());
    }
};

// The swap lands exactly between the walk and the engine's open: the probe of the input runs
// in between, and this probe swaps the folder for a link first.
TEST_F(TranscodePathRace, AFolderSwappedBeforeTheEngineOpensItsOutputIsNotFollowed)
{
    const QString engine = media.makeDir("engine");
    QFile::link("/usr/bin/ffmpeg", engine + "/ffmpeg");
    const QString probe = media.write("engine/ffprobe",
        "#!/bin/bash\nif [ ! -e \"$SWAP_MARK\" ]; then : > \"$SWAP_MARK\"; mv \"$SWAP_FOLDER\" \"$SWAP_FOLDER.moved\";"
        " ln -s \"$SWAP_OUTSIDE\" \"$SWAP_FOLDER\"; fi\nexec /usr/bin/ffprobe \"$@\"\n");
    QFile::setPermissions(probe, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const test::ScopedEnvironment mark("SWAP_MARK", media.file("swapped").toUtf8());
    const test::ScopedEnvironment where("SWAP_FOLDER", folder.toUtf8());
    const test::ScopedEnvironment to("SWAP_OUTSIDE", outside.toUtf8());
    const test::ScopedEnvironment noOverride("VANTOR_ENGINE", std::nullopt);

    const MediaJob swapped = job("clip");
    TranscodeService::transcode(swapped, engine + "/ffmpeg", control, {});
    ASSERT_TRUE(QFileInfo::exists(media.file("swapped"))) << "the swap never happened; the test proved nothing";
    EXPECT_EQ(bytesBelow(outside), 0);
    // The folder the walk opened got the output, under its final name and nothing else.
    EXPECT_EQ(test::listTree(folder + ".moved"), QStringList { "clip_PROXY.mov" });
}

// Many swaps against the path handed to the engine, with a plain path beside it to show the
// racer really redirects what follows the folder's name; then a few real encodes in the storm.
TEST_F(TranscodePathRace, NoByteLandsOutsideWhileTheFolderIsSwappedOverAndOver)
{
    const FileIo::UniqueFd held = FileIo::open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    const QByteArray block(4096, 'x');
    long rounds = 0, pinnedRounds = 0, redirected = 0;
    {
        Swapper swapper(folder, outside);
        for (int round = 0; swapper.swaps() < 1000 || round < 1000; ++round, ++rounds) {
            const QString name = QString(".vantor-%1-encode.partial").arg(round);
            for (const bool pinned : { true, false }) {
                const QString path = pinned ? TranscodeService::pinnedPath(held.get(), name) : folder + "/" + name;
                const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
                if (fd < 0 && !pinned)
                    continue; // the plain path met a half-made exchange
                ASSERT_GE(fd, 0) << "the pinned path failed in round " << round;
                EXPECT_EQ(::write(fd, block.constData(), std::size_t(block.size())), block.size());
                ::close(fd);
                if (!pinned && !FileIo::existsAt(held.get(), FileIo::encodeName(name))) {
                    ++redirected; // followed the link: take it back out of the outside folder
                    QFile::remove(outside + "/" + name);
                    continue;
                }
                FileIo::unlinkAt(held.get(), FileIo::encodeName(name));
                pinnedRounds += pinned;
            }
            ASSERT_EQ(bytesBelow(outside), 0) << "round " << round;
        }
        for (int encode = 0; encode < 3; ++encode) {
            const MediaJob racing = job(QString("race%1").arg(encode));
            try {
                TranscodeService::transcode(racing, {}, control, {});
            } catch (const VantorError &) {
                // Refused when the walk met the link: fine, as long as nothing leaks.
            }
            EXPECT_EQ(bytesBelow(outside), 0) << "encode " << encode;
        }
        std::fprintf(stderr, "[ figures  ] %ld folder swaps, %ld pinned writes, %ld plain-path writes redirected, "
                             "%lld bytes outside\n", swapper.swaps(), pinnedRounds, redirected, bytesBelow(outside));
        EXPECT_GE(swapper.swaps(), 1000);
    }
    EXPECT_EQ(pinnedRounds, rounds) << "every write through the pinned path reached the held folder";
    EXPECT_GT(redirected, 0) << "the racer never redirected a plain path; the test proved nothing";
    EXPECT_EQ(test::listTree(folder).filter(".vantor-"), QStringList {});
}

} // namespace
} // namespace vantor
