#include "ingest/FanOutCopy.h"

#include "base/FileIo.h"
#include "base/VantorError.h"
#include "ingest/ChecksumService.h"
#include "ingest/CopyPipeline.h"
#include "ingest/Hasher.h"
#include "ingest/StagingCopy.h"
#include "ingest/StagingFiles.h"
#include "ingest/StagingWriter.h"

#include <QFileInfo>
#include <algorithm>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace vantor::FanOutCopy {

namespace {

// A destination's writer that fails alone: its first failure is kept, its staging file goes at
// once (a full volume gets its room back), and from then on it takes every block without writing
// it, so the read and the other destinations go on at their pace.
class IsolatedSink : public CopySink {
public:
    IsolatedSink(CopySink &inner, StagingCopy &staging) : m_inner(inner), m_staging(staging) {}
    void consume(const char *data, std::size_t length) override
    {
        if (!m_failure)
            guard([&] { m_inner.consume(data, length); });
    }
    void finish() override
    {
        if (!m_failure)
            guard([&] { m_inner.finish(); });
    }
    // Read only after the pipeline joined the sink's thread.
    std::exception_ptr failure() const { return m_failure; }

private:
    template <typename Body> void guard(Body body)
    {
        try {
            body();
        } catch (...) {
            m_failure = std::current_exception();
            m_staging.discard();
        }
    }
    CopySink &m_inner;
    StagingCopy &m_staging;
    std::exception_ptr m_failure;
};

struct Destination {
    const Target *target = nullptr;
    std::optional<SafeFiles::ParentFolder> parent;
    std::unique_ptr<StagingCopy> staging; // declared after `parent`, which it refers to
    std::unique_ptr<StagingWriter> writer;
    std::unique_ptr<IsolatedSink> sink;
    Outcome outcome;

    bool live() const { return staging && !outcome.error; }
    // Records why this destination failed and removes its staging file at once.
    void fail(const QString &message)
    {
        outcome.error = message;
        if (staging)
            staging->discard();
    }
};

// What the user reads when a destination fails: a refusal as it is (it names what it refuses),
// a system error as a sentence naming the destination.
QString destinationMessage(const std::exception_ptr &failure, const QString &target)
{
    try {
        std::rethrow_exception(failure);
    } catch (const VantorError &error) {
        return error.message();
    } catch (const std::exception &error) {
        return QStringLiteral("The copy to this destination failed (%1) and was discarded: %2")
            .arg(errorText(error), target);
    }
}

// The source's read failed: every destination fails with it.
[[noreturn]] void throwReadFailure(const std::system_error &error, const QString &source)
{
    throw VantorError(QStringLiteral("The source could not be read (%1); nothing was published: %2")
                          .arg(errorText(error), source));
}

// Reads every live staging file back from its device, devices side by side (the destinations
// are usually on different drives) and, on a drive that seeks, one file after another; a read
// failure fails that destination alone. A cancel is rethrown once every thread stopped.
void verifyAll(std::vector<Destination> &destinations, qint64 expected, ChecksumAlgorithm algorithm,
               const QString &sourceHash, JobControl &control, const MediaIngestService::Update &update,
               const CopyPhases::Tuning &tuning)
{
    struct Reading {
        Destination *destination = nullptr;
        FileIo::UniqueFd fd;
        qint64 bytes = 0;
        QString hash;
        std::exception_ptr failure;
        bool done = false;
    };
    std::vector<Reading> readings;
    for (Destination &destination : destinations) {
        if (!destination.live())
            continue;
        Reading &reading = readings.emplace_back();
        reading.destination = &destination;
        try {
            reading.fd = destination.staging->openForReading();
        } catch (...) {
            reading.failure = std::current_exception();
            reading.done = true;
        }
    }
    std::vector<std::vector<Reading *>> groups; // each read by one thread, in turn
    for (Reading &reading : readings) {
        if (reading.done)
            continue;
        const auto shared = std::find_if(groups.begin(), groups.end(), [&](const std::vector<Reading *> &group) {
            return !CopyPhases::readSideBySide(reading.fd.get(), group.front()->fd.get());
        });
        if (shared == groups.end())
            groups.push_back({&reading});
        else
            shared->push_back(&reading);
    }
    std::mutex mutex;
    std::condition_variable changed;
    {
        std::vector<std::jthread> threads;
        for (const std::vector<Reading *> &group : groups) {
            threads.emplace_back([&, group] {
                for (Reading *reading : group) {
                    try {
                        reading->hash = CopyPhases::readBack(reading->fd.get(), algorithm, control, [&](qint64 bytes) {
                            std::lock_guard lock(mutex);
                            reading->bytes = bytes;
                            changed.notify_all();
                        }, tuning);
                    } catch (...) {
                        reading->failure = std::current_exception();
                    }
                    std::lock_guard lock(mutex);
                    reading->done = true;
                    changed.notify_all();
                }
            });
        }
        // Progress is reported from the caller's thread, as for the copy: the bytes read back
        // over all the copies.
        const double whole = double(expected) * double(readings.size());
        std::unique_lock lock(mutex);
        qint64 reported = 0;
        for (;;) {
            qint64 read = 0;
            bool done = true;
            for (const Reading &reading : readings) {
                read += reading.bytes;
                done = done && reading.done;
            }
            if (update && read > reported) {
                // A reader may finish while the lock is let go: look again before waiting.
                reported = read;
                lock.unlock();
                update(JobStatus::verifying, whole < 1 ? 1.0 : std::min(double(read) / whole, 1.0));
                lock.lock();
                continue;
            }
            if (done)
                break;
            changed.wait(lock);
        }
    }
    for (Reading &reading : readings) {
        if (!reading.failure)
            continue;
        try {
            std::rethrow_exception(reading.failure);
        } catch (const CancellationError &) {
            throw;
        } catch (...) {
            reading.destination->fail(destinationMessage(std::current_exception(), reading.destination->target->path));
        }
    }
    for (Reading &reading : readings) {
        if (reading.failure)
            continue;
        if (reading.hash != sourceHash) {
            reading.destination->fail(
                QStringLiteral("Checksum mismatch on this destination. The copy was discarded; the source is untouched: ")
                + reading.destination->target->path);
        } else {
            reading.destination->outcome.hash = reading.hash;
        }
    }
}

} // namespace

Result copy(const MediaJob &job, const QString &source, const std::vector<Target> &targets, JobControl &control,
            const MediaIngestService::Update &update, const BeforePublish &beforePublish,
            const std::optional<QString> &expectedHash, const CopyPhases::Tuning &tuning)
{
    const auto report = [&](JobStatus phase, double fraction) {
        if (update)
            update(phase, fraction);
    };
    const QString sourceName = QFileInfo(source).fileName();
    StagingCopy::unchangedSource(job, source);

    // Each destination is prepared on its own: one that cannot take the copy fails alone, up front.
    std::vector<Destination> destinations(targets.size());
    for (std::size_t index = 0; index < targets.size(); ++index) {
        Destination &destination = destinations[index];
        destination.target = &targets[index];
        try {
            const Target &target = targets[index];
            destination.parent.emplace(StagingCopy::prepare(target.path, target.root, target.grant));
            if (!StagingCopy::hasRoom(*destination.parent, job.bytes))
                throw VantorError(QStringLiteral("Not enough free space for %1 on this destination: %2")
                                      .arg(sourceName, destination.parent->path));
            destination.staging = std::make_unique<StagingCopy>(*destination.parent, job, target.path);
        } catch (const std::exception &) {
            destination.fail(destinationMessage(std::current_exception(), targets[index].path));
        }
    }

    Result result;
    const auto finish = [&] {
        for (Destination &destination : destinations)
            result.outcomes.push_back(destination.outcome);
        return result;
    };
    bool anyLive = false;
    for (const Destination &destination : destinations)
        anyLive = anyLive || destination.live();
    if (!anyLive)
        return finish();

    // The one read: the source's digest and every destination's writer take each block.
    std::optional<Hasher> sourceDigest;
    if (job.checksum)
        sourceDigest.emplace(*job.checksum);
    qint64 copied = 0;
    {
        FileIo::UniqueFd input;
        try {
            input = ChecksumService::openForReading(source, O_NOFOLLOW);
        } catch (const std::system_error &error) {
            throwReadFailure(error, source);
        }
        ::posix_fadvise(input.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
        std::vector<CopySink *> sinks;
        if (sourceDigest)
            sinks.push_back(&*sourceDigest);
        for (Destination &destination : destinations) {
            if (!destination.live())
                continue;
            const int fd = destination.staging->fd();
            destination.writer = std::make_unique<StagingWriter>(fd, tuning.writeMode.value_or(StagingWriter::modeFor(fd)));
            destination.sink = std::make_unique<IsolatedSink>(*destination.writer, *destination.staging);
            sinks.push_back(destination.sink.get());
        }
        CopyPipeline pipeline(control, tuning.blockSize, tuning.buffers);
        pipeline.add(input.get(), sinks);
        try {
            pipeline.run([&](int, qint64 bytes) {
                report(JobStatus::copying, job.bytes < 1 ? 1.0 : double(bytes) / double(job.bytes));
            });
        } catch (const std::system_error &error) {
            // Only the read can fail here: every destination's failure stays in its own sink.
            throwReadFailure(error, source);
        }
        copied = pipeline.bytes(0);
    }
    for (Destination &destination : destinations) {
        if (destination.live() && destination.sink->failure())
            destination.fail(destinationMessage(destination.sink->failure(), destination.target->path));
    }
    StagingCopy::unchangedSource(job, source);
    if (copied != job.bytes)
        throw VantorError(QStringLiteral("Source size changed during copy. Nothing was committed."));
    if (sourceDigest) {
        result.sourceHash = sourceDigest->text();
        if (expectedHash && *expectedHash != *result.sourceHash)
            throw VantorError(QStringLiteral("The copy it was read from no longer matches its recorded checksum. "
                                             "Nothing was published: ")
                              + source);
        report(JobStatus::verifying, 0.0);
        verifyAll(destinations, job.bytes, *job.checksum, *result.sourceHash, control, update, tuning);
    }
    // The last look at the source also supplies its exact time, nanoseconds included.
    const struct stat sourceInfo = StagingCopy::unchangedSource(job, source);
    control.checkpoint(); // a cancel here still discards every verified copy

    for (std::size_t index = 0; index < destinations.size(); ++index) {
        Destination &destination = destinations[index];
        if (!destination.live())
            continue;
        PublishRecord record;
        try {
            destination.staging->settle(sourceInfo.st_mtim);
            if (job.checksum) {
                record = {job.bytes, *job.checksum, *destination.outcome.hash};
            } else if (beforePublish) {
                const FileIo::UniqueFd written = destination.staging->openForReading();
                record = StagingFiles::record(written.get(), ChecksumAlgorithm::xxHash, control);
            }
        } catch (const CancellationError &) {
            throw;
        } catch (const std::exception &) {
            destination.fail(destinationMessage(std::current_exception(), destination.target->path));
            continue;
        }
        if (beforePublish) {
            beforePublish(index, record);
            control.checkpoint();
        }
        try {
            destination.staging->publish();
            destination.outcome.published = true;
        } catch (const std::exception &) {
            destination.fail(destinationMessage(std::current_exception(), destination.target->path));
        }
    }
    return finish();
}

} // namespace vantor::FanOutCopy
