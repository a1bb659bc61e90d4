#pragma once

#include "base/FileIo.h"
#include "base/JobControl.h"
#include "ingest/CopySink.h"

#include <QtGlobal>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vantor {

// Reads sources on their own threads into bounded rings of aligned buffers and hands each block,
// in order, to every sink of that source, each sink on its own thread. Reading and the sinks'
// work overlap; a slow sink holds the read back instead of growing memory, which is bounded by
// lanes × buffers × blockSize. Owns its threads: they are stopped and joined on every way out.
class CopyPipeline {
public:
    // Called on the thread that runs the pipeline, after every sink of a lane took a block.
    using Progress = std::function<void(int lane, qint64 bytes)>;

    CopyPipeline(JobControl &control, std::size_t blockSize, int buffers);
    ~CopyPipeline();
    CopyPipeline(const CopyPipeline &) = delete;
    CopyPipeline &operator=(const CopyPipeline &) = delete;

    // Adds a source read from its current offset to its end (with direct I/O if its descriptor
    // has O_DIRECT); returns the lane's number. The descriptor and sinks must outlive run().
    int add(int input, std::vector<CopySink *> sinks);
    // Runs every lane side by side until all sinks finished; rethrows the first failure of any
    // thread (a cancel as CancellationError) after all of them stopped.
    void run(const Progress &progress = {});
    qint64 bytes(int lane) const; // read by that lane so far
    std::size_t bufferBytes() const; // the memory the rings hold

private:
    struct Lane;
    void read(Lane &lane);
    void feed(Lane &lane, std::size_t sink);
    void guard(const std::function<void()> &body);
    std::size_t taken(const Lane &lane) const; // blocks every sink of the lane took

    JobControl &m_control;
    const std::size_t m_blockSize;
    const std::size_t m_buffers;
    std::vector<std::unique_ptr<Lane>> m_lanes;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::exception_ptr m_failure;
    bool m_stopping = false;
    std::vector<std::jthread> m_threads; // last: joined before anything they use goes
};

} // namespace vantor
