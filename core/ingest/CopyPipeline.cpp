#include "ingest/CopyPipeline.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <system_error>

namespace vantor {

struct CopyPipeline::Lane {
    int input = -1;
    std::vector<CopySink *> sinks;
    std::vector<FileIo::AlignedBuffer> buffers;
    std::size_t blockSize = 0;        // each buffer's size: the pipeline's, or less for a small file
    std::vector<std::size_t> lengths;
    std::size_t produced = 0;         // blocks filled
    bool ended = false;               // the read reached the end
    std::vector<std::size_t> consumed; // blocks each sink took
    std::size_t finished = 0;         // sinks past finish()
    qint64 bytes = 0;
    std::deque<qint64> blockEnds;     // the byte count at the end of each block not yet reported
    std::size_t reported = 0;
};

CopyPipeline::CopyPipeline(JobControl &control, std::size_t blockSize, int buffers)
    : m_control(control), m_blockSize(blockSize), m_buffers(std::size_t(std::max(buffers, 1)))
{
}

CopyPipeline::~CopyPipeline()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_threads.clear();
}

int CopyPipeline::add(int input, std::vector<CopySink *> sinks)
{
    auto lane = std::make_unique<Lane>();
    lane->input = input;
    lane->sinks = std::move(sinks);
    lane->blockSize = FileIo::bufferSizeFor(input, m_blockSize);
    for (std::size_t index = 0; index < m_buffers; ++index)
        lane->buffers.push_back(FileIo::alignedBuffer(lane->blockSize));
    lane->lengths.assign(m_buffers, 0);
    lane->consumed.assign(lane->sinks.size(), 0);
    m_lanes.push_back(std::move(lane));
    return int(m_lanes.size() - 1);
}

qint64 CopyPipeline::bytes(int lane) const
{
    std::lock_guard lock(m_mutex);
    return m_lanes.at(std::size_t(lane))->bytes;
}

std::size_t CopyPipeline::bufferBytes() const
{
    std::size_t total = 0;
    for (const std::unique_ptr<Lane> &lane : m_lanes)
        total += m_buffers * lane->blockSize;
    return total;
}

std::size_t CopyPipeline::taken(const Lane &lane) const
{
    if (lane.consumed.empty())
        return lane.produced;
    return *std::min_element(lane.consumed.begin(), lane.consumed.end());
}

// The first failure of any thread stops them all; the caller rethrows it.
void CopyPipeline::guard(const std::function<void()> &body)
{
    try {
        body();
    } catch (...) {
        std::lock_guard lock(m_mutex);
        if (!m_failure)
            m_failure = std::current_exception();
        m_stopping = true;
        m_changed.notify_all();
    }
}

void CopyPipeline::read(Lane &lane)
{
    bool direct = (::fcntl(lane.input, F_GETFL) & O_DIRECT) != 0;
    // A direct read past the end of a file fills the rest of the buffer with zeros, touching
    // every page of it: a small file cost megabytes of page faults per read. So a direct read
    // asks for no more than the file holds, rounded up to the alignment, and at least one
    // aligned unit, so a file that grew is still read to its end.
    const qint64 size = direct ? qint64(FileIo::fstat(lane.input).st_size) : 0;
    qint64 offset = 0;
    const auto wanted = [&] {
        if (!direct)
            return lane.blockSize;
        const auto unit = qint64(FileIo::directAlignment);
        const qint64 left = std::max<qint64>(size - offset, 1);
        return std::min(lane.blockSize, std::size_t((left + unit - 1) / unit * unit));
    };
    for (std::size_t block = 0;; ++block) {
        m_control.checkpoint(); // pause and cancel act within one block
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_stopping || taken(lane) + m_buffers > block; });
            if (m_stopping)
                return;
        }
        char *buffer = lane.buffers[block % m_buffers].get();
        std::size_t got;
        try {
            got = FileIo::read(lane.input, buffer, wanted());
        } catch (const std::system_error &error) {
            // Some file systems take O_DIRECT and then refuse the read: read through the cache.
            if (!direct || error.code().value() != EINVAL)
                throw;
            FileIo::endDirect(lane.input);
            direct = false;
            got = FileIo::read(lane.input, buffer, lane.blockSize);
        }
        offset += qint64(got);
        std::lock_guard lock(m_mutex);
        if (got > 0) {
            lane.lengths[block % m_buffers] = got;
            lane.bytes += qint64(got);
            lane.blockEnds.push_back(lane.bytes);
            lane.produced = block + 1;
        }
        // A direct read ends short only at the end of the file, where the offset no longer
        // suits another.
        if (got == 0 || (direct && got % FileIo::directAlignment != 0))
            lane.ended = true;
        m_changed.notify_all();
        if (lane.ended)
            return;
    }
}

void CopyPipeline::feed(Lane &lane, std::size_t sink)
{
    for (std::size_t block = 0;; ++block) {
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_stopping || lane.produced > block || lane.ended; });
            if (m_stopping)
                return;
            if (lane.produced == block)
                break; // ended, and every block taken
        }
        m_control.checkpoint();
        lane.sinks[sink]->consume(lane.buffers[block % m_buffers].get(), lane.lengths[block % m_buffers]);
        std::lock_guard lock(m_mutex);
        lane.consumed[sink] = block + 1;
        m_changed.notify_all();
    }
    lane.sinks[sink]->finish();
    std::lock_guard lock(m_mutex);
    ++lane.finished;
    m_changed.notify_all();
}

void CopyPipeline::run(const Progress &progress)
{
    for (const std::unique_ptr<Lane> &lane : m_lanes) {
        Lane *each = lane.get();
        m_threads.emplace_back([this, each] { guard([&] { read(*each); }); });
        for (std::size_t sink = 0; sink < each->sinks.size(); ++sink)
            m_threads.emplace_back([this, each, sink] { guard([&] { feed(*each, sink); }); });
    }
    std::vector<std::pair<int, qint64>> due;
    std::unique_lock lock(m_mutex);
    for (;;) {
        bool done = true;
        for (std::size_t index = 0; index < m_lanes.size(); ++index) {
            Lane &lane = *m_lanes[index];
            for (const std::size_t took = taken(lane); lane.reported < took; ++lane.reported) {
                due.emplace_back(int(index), lane.blockEnds.front());
                lane.blockEnds.pop_front();
            }
            done = done && lane.ended && lane.finished == lane.sinks.size();
        }
        if (!due.empty() && !m_failure) {
            // Reported from this thread, in order, one call per block; the workers go on meanwhile.
            lock.unlock();
            for (const auto &[lane, bytes] : due)
                if (progress)
                    progress(lane, bytes);
            due.clear();
            lock.lock();
            continue;
        }
        if (m_failure || done)
            break;
        m_changed.wait(lock);
    }
    m_stopping = true;
    lock.unlock();
    m_changed.notify_all();
    m_threads.clear();
    if (m_failure)
        std::rethrow_exception(m_failure);
}

} // namespace vantor
