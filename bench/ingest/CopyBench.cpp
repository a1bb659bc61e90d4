// A verified xxHash64 copy of 1 GiB by `vantor copy` against the same work done by standard
// tools: cp, sync, both files dropped from the page cache, xxhsum of both. Also the copy's
// peak resident memory.

#include "BenchSupport.h"

#include <QFile>
#include <QRandomGenerator>

int main()
{
    const QString source = bench::scratch(QStringLiteral("copy-source.bin"));
    const QString ours = bench::scratch(QStringLiteral("copy-vantor.bin"));
    const QString theirs = bench::scratch(QStringLiteral("copy-reference.bin"));
    {
        QByteArray block(4 << 20, Qt::Uninitialized);
        QRandomGenerator random(2);
        QFile file(source);
        file.open(QIODevice::WriteOnly);
        for (int i = 0; i < 256; ++i) {
            random.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
            file.write(block);
        }
    }
    bench::run({QStringLiteral("sync")});

    long peakKiB = 0;
    bench::resetPeakMemory();
    const long ownPeakKiB = bench::peakMemoryKiB(); // a floor under the child's figure
    // Five pairs: the disk's own timing wanders by tens of percent from one run to the next.
    const auto [mine, reference] = bench::bestOfPairs(
        5,
        [&] {
            QFile::remove(ours);
            bench::run({QStringLiteral("cat"), source}); // both sides start with the source cached
            const bench::Child child = bench::run({bench::cliPath(), QStringLiteral("copy"), source, ours});
            peakKiB = std::max(peakKiB, child.peakKiB);
            return child.seconds;
        },
        [&] {
            QFile::remove(theirs);
            bench::run({QStringLiteral("cat"), source});
            return bench::shell(QStringLiteral("cp '%1' '%2' && sync && dd if='%1' iflag=nocache count=0 status=none && "
                                               "dd if='%2' iflag=nocache count=0 status=none && xxhsum -H1 '%1' '%2'")
                                    .arg(source, theirs))
                .seconds;
        });
    bench::report("verified xxHash64 copy of 1 GiB", "cp+sync+dd nocache+xxhsum", mine, reference, "time ratio",
                  mine / reference, "<= 1.05", mine / reference <= 1.05);
    std::printf("verified copy peak RSS: %.1f MiB (target < 64 MiB; the benchmark's own %.1f MiB is a floor) %s\n",
                double(peakKiB) / 1024.0, double(ownPeakKiB) / 1024.0, peakKiB < 64 * 1024 ? "ok" : "MISSED");
    for (const QString &path : {source, ours, theirs})
        QFile::remove(path);
    return 0;
}
