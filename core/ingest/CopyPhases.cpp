#include "ingest/CopyPhases.h"

#include "base/FileIo.h"
#include "ingest/CopyPipeline.h"
#include "ingest/Hasher.h"

#include <QFile>
#include <sys/sysmacros.h>

namespace vantor::CopyPhases {

namespace {

// Whether the block device behind a file system spins; unknown counts as not.
bool rotational(dev_t device)
{
    for (const char *suffix : {"/queue/rotational", "/../queue/rotational"}) {
        QFile file(QStringLiteral("/sys/dev/block/%1:%2%3").arg(major(device)).arg(minor(device)).arg(QLatin1String(suffix)));
        if (file.open(QIODevice::ReadOnly))
            return file.readAll().trimmed() == "1";
    }
    return false;
}

// Neither digest may come from memory: whatever the cache holds of the file goes, and direct
// reads go to the device whatever it holds. On tmpfs the memory is the device.
void readFromDevice(int fd, const Tuning &tuning)
{
    FileIo::dropFromPageCache(fd);
    FileIo::seek(fd, 0);
    if (tuning.directReads.value_or(!FileIo::isMemoryBacked(fd)))
        FileIo::tryDirect(fd);
    else
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}

} // namespace

bool readSideBySide(int first, int second)
{
    const dev_t device = FileIo::fstat(first).st_dev;
    return device != FileIo::fstat(second).st_dev || !rotational(device);
}

qint64 write(int input, int output, qint64 expected, JobControl &control, const Progress &progress, const Tuning &tuning)
{
    ::posix_fadvise(input, 0, 0, POSIX_FADV_SEQUENTIAL);
    StagingWriter writer(output, tuning.writeMode.value_or(StagingWriter::modeFor(output)));
    CopyPipeline pipeline(control, tuning.blockSize, tuning.buffers);
    pipeline.add(input, {&writer});
    pipeline.run([&](int, qint64 bytes) {
        if (progress)
            progress(expected < 1 ? 1.0 : double(bytes) / double(expected));
    });
    return writer.written();
}

std::pair<QString, QString> verify(int source, int copy, ChecksumAlgorithm algorithm, JobControl &control,
                                   const Progress &progress, const Tuning &tuning)
{
    for (const int fd : {source, copy})
        readFromDevice(fd, tuning);
    const qint64 sizes[2] = {FileIo::fstat(source).st_size, FileIo::fstat(copy).st_size};
    double fractions[2] = {0, 0};
    const auto report = [&](int lane, qint64 bytes) {
        fractions[lane] = sizes[lane] < 1 ? 1.0 : std::min(double(bytes) / double(sizes[lane]), 1.0);
        if (progress)
            progress(0.5 * fractions[0] + 0.5 * fractions[1]);
    };
    Hasher hashes[2] = {Hasher(algorithm), Hasher(algorithm)};
    const int inputs[2] = {source, copy};
    if (tuning.sideBySide.value_or(readSideBySide(source, copy))) {
        CopyPipeline pipeline(control, tuning.blockSize, tuning.buffers);
        for (int lane = 0; lane < 2; ++lane)
            pipeline.add(inputs[lane], {&hashes[lane]});
        pipeline.run(report);
    } else {
        for (int lane = 0; lane < 2; ++lane) {
            CopyPipeline pipeline(control, tuning.blockSize, tuning.buffers);
            pipeline.add(inputs[lane], {&hashes[lane]});
            pipeline.run([&](int, qint64 bytes) { report(lane, bytes); });
        }
    }
    return {hashes[0].text(), hashes[1].text()};
}

QString readBack(int fd, ChecksumAlgorithm algorithm, JobControl &control, const std::function<void(qint64 bytes)> &progress,
                 const Tuning &tuning)
{
    readFromDevice(fd, tuning);
    Hasher hasher(algorithm);
    CopyPipeline pipeline(control, tuning.blockSize, tuning.buffers);
    pipeline.add(fd, {&hasher});
    pipeline.run([&](int, qint64 bytes) {
        if (progress)
            progress(bytes);
    });
    return hasher.text();
}

} // namespace vantor::CopyPhases
