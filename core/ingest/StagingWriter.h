#pragma once

#include "ingest/CopySink.h"

#include <QString>
#include <QtGlobal>

namespace vantor {

// Writes a copy's bytes to its staging file and leaves them on the device, out of the page
// cache, so that the verification read that follows comes from the device.
class StagingWriter : public CopySink {
public:
    enum class Mode {
        direct,      // O_DIRECT from the pipeline's aligned buffers; the page cache is never used
        writeBehind, // through the cache, each block sent to the device at once, dropped behind
    };
    // As measured (docs/ingest.md): direct where a device is behind the file, write-behind on
    // tmpfs and ramfs, and on any file system that refuses O_DIRECT.
    static Mode modeFor(int fd);
    static QString modeName(Mode mode);

    StagingWriter(int fd, Mode mode);
    void consume(const char *data, std::size_t length) override;
    void finish() override; // fsync, then nothing of the file left in the page cache
    qint64 written() const { return m_written; }

private:
    int m_fd;
    bool m_direct;
    qint64 m_written = 0;
    qint64 m_settled = 0; // written back and dropped up to here
};

} // namespace vantor
