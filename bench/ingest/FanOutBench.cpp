// One read of a source to two destinations on two devices (this machine's disk and tmpfs), each
// verified with xxHash64, against the slower of the two single copies (MediaIngestService::copy)
// measured in the same run; and the fan-out's peak resident memory. Size in MiB: the first
// argument or VANTOR_BENCH_FANOUT_MIB (default 1024).

#include "BenchSupport.h"
#include "CopyBenchJob.h"

#include "ingest/FanOutCopy.h"
#include "ingest/MediaIngestService.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <sys/stat.h>

using namespace vantor;

namespace {

// The process's peak resident size since the last bench::resetPeakMemory(), in KiB.
long highWaterKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const char *sizeText = argc > 1 ? argv[1] : std::getenv("VANTOR_BENCH_FANOUT_MIB");
    const int mebibytes = sizeText ? std::atoi(sizeText) : 1024;
    const QString source = bench::scratch(QStringLiteral("fanout-source.bin"));
    {
        QByteArray block(4 << 20, Qt::Uninitialized);
        QRandomGenerator random(5);
        QFile file(source);
        file.open(QIODevice::WriteOnly);
        for (int i = 0; i < std::max(mebibytes / 4, 1); ++i) {
            random.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
            file.write(block);
        }
    }
    bench::run({QStringLiteral("sync")});
    // Two devices: the disk that holds the scratch folder, and tmpfs (the only other one a
    // one-disk machine has).
    const QString disk = bench::scratch(QStringLiteral("fanout-disk"));
    const QString shm = QStringLiteral("/dev/shm/vantor-bench-fanout");
    QDir().mkpath(disk);
    QDir().mkpath(shm);
    const QString targets[2] = {disk + QStringLiteral("/copy.bin"), shm + QStringLiteral("/copy.bin")};
    const auto clear = [&] {
        for (const QString &target : targets)
            QFile::remove(target);
    };

    JobControl control;
    const MediaJob job = copyBenchJob(source, targets[0]);
    std::vector<FanOutCopy::Target> both;
    for (const QString &target : targets) {
        const QString root = QFileInfo(target).path();
        both.push_back({target, root, FileGrant(root)});
    }
    const CopyPhases::Tuning tuning;
    double fanOut = 1e30, single[2] = {1e30, 1e30};
    long peakKiB = 0;
    const long baseKiB = residentKiB();
    // Best of three, the three copies taken in turn so that drift hits them alike; each starts with
    // the source cached, as it would be for either tool.
    for (int round = 0; round < 3; ++round) {
        for (int index = 0; index < 2; ++index) {
            clear();
            bench::run({QStringLiteral("cat"), source});
            single[index] = std::min(single[index], bench::seconds([&] {
                MediaIngestService::copy(copyBenchJob(source, targets[index]), control, {}, {}, tuning);
            }));
        }
        clear();
        bench::run({QStringLiteral("cat"), source});
        bench::resetPeakMemory();
        fanOut = std::min(fanOut, bench::seconds([&] {
            const FanOutCopy::Result result = FanOutCopy::copy(job, source, both, control, {}, {}, std::nullopt, tuning);
            for (const FanOutCopy::Outcome &outcome : result.outcomes) {
                if (!outcome.published) {
                    std::fprintf(stderr, "fan-out failed: %s\n", qPrintable(outcome.error.value_or(QString())));
                    std::exit(1);
                }
            }
        }));
        peakKiB = std::max(peakKiB, highWaterKiB());
    }
    clear();
    const double slower = std::max(single[0], single[1]);
    const QString name = QStringLiteral("verified xxHash64 copy of %1 MiB to disk and tmpfs from one read").arg(mebibytes);
    bench::report(qPrintable(name), "slower single copy", fanOut, slower, "time ratio", fanOut / slower, "<= 1.10",
                  fanOut / slower <= 1.10);
    std::printf("single copies: disk %.3f s, tmpfs %.3f s\n", single[0], single[1]);
    const double ringMiB = double(tuning.buffers) * double(tuning.blockSize) / double(1 << 20);
    std::printf("%s peak RSS: %.1f MiB, %.1f MiB above the %.1f MiB before it (rings: %.0f MiB while copying, "
                "%.0f MiB while verifying)\n",
                qPrintable(name), double(peakKiB) / 1024.0, double(peakKiB - baseKiB) / 1024.0, double(baseKiB) / 1024.0,
                ringMiB, 2 * ringMiB);
    std::fflush(stdout);
    QDir(shm).removeRecursively();
    QDir(disk).removeRecursively();
    QFile::remove(source);
    return 0;
}
