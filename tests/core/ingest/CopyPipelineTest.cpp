#include "ingest/CopyPipeline.h"
#include "ingest/Hasher.h"

#include "FailureText.h"
#include "TempDir.h"
#include "base/VantorError.h"

#include <QCryptographicHash>
#include <gtest/gtest.h>
#include <fcntl.h>

#include <atomic>

using namespace vantor;

namespace {

constexpr std::size_t block = 64 * 1024;
constexpr int buffers = 3;

// Keeps what it got, and what the reader had read beyond it at each block.
struct Recorder : CopySink {
    std::function<void(std::size_t blocks)> before;
    QByteArray got;
    std::size_t blocks = 0;
    bool finished = false;
    void consume(const char *data, std::size_t length) override
    {
        if (before)
            before(blocks);
        got.append(data, qsizetype(length));
        ++blocks;
    }
    void finish() override { finished = true; }
};

struct Input {
    test::TempDir dir;
    QByteArray content;
    FileIo::UniqueFd fd;
    explicit Input(qsizetype size, int flags = O_RDONLY) : content(test::randomBytes(size, 7))
    {
        fd = FileIo::open(dir.write(QStringLiteral("source"), content), flags);
    }
};

} // namespace

// One read feeds every sink the same bytes in order, whatever the size against the block, and
// progress comes once per block on the calling thread, ending at the size.
TEST(CopyPipeline, EverySinkGetsTheWholeSourceInOrder)
{
    for (const qsizetype size : {qsizetype(0), qsizetype(1), qsizetype(block), qsizetype(5 * block + 17)}) {
        SCOPED_TRACE(size);
        Input input(size);
        JobControl control;
        Recorder first, second;
        Hasher digest(ChecksumAlgorithm::sha256);
        CopyPipeline pipeline(control, block, buffers);
        pipeline.add(input.fd.get(), {&first, &second, &digest});
        std::vector<qint64> reported;
        const std::thread::id caller = std::this_thread::get_id();
        pipeline.run([&](int lane, qint64 bytes) {
            EXPECT_EQ(std::pair(lane, std::this_thread::get_id()), std::pair(0, caller));
            reported.push_back(bytes);
        });
        EXPECT_EQ(first.got, input.content);
        EXPECT_EQ(second.got, input.content);
        EXPECT_TRUE(first.finished && second.finished);
        EXPECT_EQ(digest.text(), QString::fromLatin1(QCryptographicHash::hash(input.content, QCryptographicHash::Sha256).toHex()));
        EXPECT_EQ(reported.size(), std::size_t((size + qsizetype(block) - 1) / qsizetype(block)));
        EXPECT_EQ(reported.empty() ? 0 : reported.back(), size);
        EXPECT_EQ(pipeline.bufferBytes(), buffers * block);
    }
}

// A small file gets a ring its size, not blocks of a megabyte; a file that grew after it was
// added is still read to its end.
TEST(CopyPipeline, ASmallFileGetsASmallRingAndIsStillReadWhole)
{
    constexpr std::size_t large = 1 << 20;
    const struct {
        qsizetype size;
        qsizetype grownBy;
        std::size_t ring;
    } cases[] = {
        {1024, 0, buffers * block},
        {1024, 3 * qsizetype(large) + 5, buffers * block},
        {3 * qsizetype(large), 0, buffers * large},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.size + c.grownBy);
        Input input(c.size);
        JobControl control;
        Recorder sink;
        CopyPipeline pipeline(control, large, buffers);
        pipeline.add(input.fd.get(), {&sink});
        const QByteArray more = test::randomBytes(c.grownBy, 9);
        QFile file(input.dir.path() + QStringLiteral("/source"));
        ASSERT_TRUE(file.open(QIODevice::Append) && file.write(more) == more.size());
        file.close();
        pipeline.run();
        EXPECT_EQ(pipeline.bufferBytes(), c.ring);
        EXPECT_EQ(sink.got, input.content + more);
    }
}

// A slow sink holds the read back: the reader is never more than the ring ahead of any sink,
// so memory stays bounded by the ring however slow one destination is.
TEST(CopyPipeline, SlowSinkHoldsTheReadWithinTheRing)
{
    Input input(40 * qsizetype(block));
    JobControl control;
    Recorder fast, slow;
    CopyPipeline pipeline(control, block, buffers);
    std::size_t widest = 0;
    slow.before = [&](std::size_t blocks) {
        std::this_thread::yield();
        widest = std::max(widest, std::size_t(pipeline.bytes(0)) / block - blocks);
    };
    pipeline.add(input.fd.get(), {&fast, &slow});
    pipeline.run();
    EXPECT_EQ(slow.got, input.content);
    EXPECT_LE(widest, std::size_t(buffers));
}

// A failure on any thread (a sink, the read) or a cancel reaches the caller as it was thrown,
// after every thread stopped; sinks stop within a block and are not finished.
TEST(CopyPipeline, FailuresAndCancelReachTheCallerAndStopEveryThread)
{
    const struct {
        const char *name;
        int openFlags;
        bool throwInSink;
        bool cancelInSink;
        QString message;
    } cases[] = {
        {"sink throws", O_RDONLY, true, false, QStringLiteral("Disk on fire.")},
        {"unreadable source", O_WRONLY, false, false, QString::fromLocal8Bit(std::strerror(EBADF))},
        {"cancel", O_RDONLY, false, true, QStringLiteral("(cancelled)")},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Input input(64 * qsizetype(block), c.openFlags);
        JobControl control;
        Recorder sink, other;
        sink.before = [&](std::size_t blocks) {
            if (blocks == 2 && c.throwInSink)
                throw VantorError(QStringLiteral("Disk on fire."));
            if (blocks == 2 && c.cancelInSink)
                control.cancel();
        };
        CopyPipeline pipeline(control, block, buffers);
        pipeline.add(input.fd.get(), {&sink, &other});
        EXPECT_EQ(test::failureText([&] { pipeline.run(); }), c.message);
        EXPECT_FALSE(sink.finished || other.finished);
        // The read stays within the ring of the stopped sink; the other takes at most one more.
        EXPECT_LE(other.blocks, std::size_t(buffers + 3));
    }
}
