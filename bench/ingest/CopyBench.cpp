// Verified copies by `vantor copy` against the same work done by standard tools: cp, sync, both
// files dropped from the page cache, and the digest tool reading both back. Also the copy's peak
// resident memory. Arguments: words that pick the cases whose names contain them (default all),
// so the copy can be measured alone: bench_ingest_CopyBench "1 GiB".

#include "BenchSupport.h"

#include <QFile>
#include <QRandomGenerator>

namespace {

void makeSource(const QString &path, int mebibytes)
{
    if (QFile(path).size() == qint64(mebibytes) << 20)
        return;
    QByteArray block(4 << 20, Qt::Uninitialized);
    QRandomGenerator random(2);
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    for (int i = 0; i < mebibytes / 4; ++i) {
        random.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
        file.write(block);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QString shm = QStringLiteral("/dev/shm/vantor-bench");
    QDir().mkpath(shm);
    const struct {
        const char *name;
        const char *algorithm;
        const char *tool;
        int mebibytes;
        bool sourceInMemory;
        double limit; // 0: reported only
    } cases[] = {
        {"verified xxHash64 copy of 1 GiB", "xxHash64", "xxhsum -H1", 1024, false, 1.05},
        {"verified MD5 copy of 1 GiB", "MD5", "md5sum", 1024, false, 0},
        {"verified SHA-256 copy of 1 GiB", "SHA-256", "sha256sum", 1024, false, 0},
        {"verified xxHash64 copy of 64 MiB", "xxHash64", "xxhsum -H1", 64, false, 0},
        {"verified xxHash64 copy of 1 GiB from tmpfs", "xxHash64", "xxhsum -H1", 1024, true, 1.05},
    };
    for (const auto &c : cases) {
        bool picked = argc < 2;
        for (int i = 1; i < argc; ++i)
            picked = picked || QByteArray(c.name).contains(argv[i]);
        if (!picked)
            continue;
        const QString name = QStringLiteral("copy-source-%1.bin").arg(c.mebibytes);
        const QString source = c.sourceInMemory ? shm + QLatin1Char('/') + name : bench::scratch(name);
        const QString ours = bench::scratch(QStringLiteral("copy-vantor.bin"));
        const QString theirs = bench::scratch(QStringLiteral("copy-reference.bin"));
        makeSource(source, c.mebibytes);
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
                const bench::Child child = bench::run(
                    {bench::cliPath(), QStringLiteral("copy"), QStringLiteral("--algorithm"), QLatin1String(c.algorithm), source, ours});
                peakKiB = std::max(peakKiB, child.peakKiB);
                return child.seconds;
            },
            [&] {
                QFile::remove(theirs);
                bench::run({QStringLiteral("cat"), source});
                return bench::shell(QStringLiteral("cp '%1' '%2' && sync && dd if='%1' iflag=nocache count=0 status=none && "
                                                   "dd if='%2' iflag=nocache count=0 status=none && %3 '%1' '%2'")
                                        .arg(source, theirs, QLatin1String(c.tool)))
                    .seconds;
            });
        const QString referenceName = QStringLiteral("cp+sync+dd nocache+") + QString::fromLatin1(c.tool).section(QLatin1Char(' '), 0, 0);
        bench::report(c.name, qPrintable(referenceName), mine, reference, "time ratio", mine / reference,
                      c.limit > 0 ? "<= 1.05" : "none", c.limit == 0 || mine / reference <= c.limit);
        std::printf("%s peak RSS: %.1f MiB (target < 64 MiB; the benchmark's own %.1f MiB is a floor) %s\n", c.name,
                    double(peakKiB) / 1024.0, double(ownPeakKiB) / 1024.0, peakKiB < 64 * 1024 ? "ok" : "MISSED");
        for (const QString &path : {ours, theirs})
            QFile::remove(path);
    }
    QDir(shm).removeRecursively();
    for (const int mebibytes : {64, 1024})
        QFile::remove(bench::scratch(QStringLiteral("copy-source-%1.bin").arg(mebibytes)));
    return 0;
}
