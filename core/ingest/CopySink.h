#pragma once

#include <cstddef>

namespace vantor {

// One consumer of a CopyPipeline: gets the source's blocks in order on its own thread. A copy
// has a staging writer and may have digests; several writers can share one read of the source.
class CopySink {
public:
    virtual ~CopySink() = default;
    virtual void consume(const char *data, std::size_t length) = 0;
    // After the last block, on the sink's own thread (an fsync, say). Not called after a failure.
    virtual void finish() {}
};

} // namespace vantor
