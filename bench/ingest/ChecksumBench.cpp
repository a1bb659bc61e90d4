// xxHash64 in memory against libxxhash, and whole-file digests of a file in the page cache
// against the command-line tools, measured side by side.

#include "BenchSupport.h"

#include "ingest/ChecksumService.h"
#include "ingest/XXHash64.h"

#include <QFile>
#include <QRandomGenerator>
#include <xxhash.h>

using namespace vantor;

int main()
{
    const qint64 bufferSize = qint64(256) << 20;
    QByteArray buffer(bufferSize, Qt::Uninitialized);
    QRandomGenerator(1).fillRange(reinterpret_cast<quint32 *>(buffer.data()), bufferSize / 4);

    volatile std::uint64_t sink = 0;
    const auto [ours, reference] = bench::bestOfPairs(
        11,
        [&] {
            return bench::seconds([&] {
                XXHash64 hash;
                hash.update(buffer.constData(), std::size_t(buffer.size()));
                sink = hash.finalizeValue();
            });
        },
        [&] { return bench::seconds([&] { sink = XXH64(buffer.constData(), std::size_t(buffer.size()), 0); }); });
    bench::report("xxHash64 of 256 MiB in memory", "libxxhash XXH64", ours, reference, "speed ratio",
                  reference / ours, ">= 1.0", reference / ours >= 1.0);

    // A 1 GiB file, read once so that both sides hash it from the page cache.
    const QString path = bench::scratch(QStringLiteral("digest-1GiB.bin"));
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        for (int i = 0; i < 4; ++i)
            file.write(buffer);
    }
    buffer = QByteArray();
    bench::run({QStringLiteral("cat"), path});

    JobControl control;
    const struct {
        ChecksumAlgorithm algorithm;
        QStringList tool;
        const char *name;
        double limit;
        const char *target;
    } cases[] = {
        {ChecksumAlgorithm::xxHash, {QStringLiteral("xxhsum"), QStringLiteral("-H1"), path}, "digest xxHash64 of 1 GiB (page cache)", 1.05, "<= 1.05"},
        {ChecksumAlgorithm::md5, {QStringLiteral("md5sum"), path}, "digest MD5 of 1 GiB (page cache)", 0, "none"},
        {ChecksumAlgorithm::sha256, {QStringLiteral("sha256sum"), path}, "digest SHA-256 of 1 GiB (page cache)", 1.0, "< 1.0"},
    };
    for (const auto &c : cases) {
        const auto [mine, tool] = bench::bestOfPairs(
            3, [&] { return bench::seconds([&] { ChecksumService::digest(path, c.algorithm, control); }); },
            [&] { return bench::run(c.tool).seconds; });
        const double ratio = mine / tool;
        bench::report(c.name, qPrintable(c.tool.first()), mine, tool, "time ratio", ratio, c.target,
                      c.limit == 0 || (c.limit == 1.0 ? ratio < 1.0 : ratio <= c.limit));
    }
    QFile::remove(path);
    return 0;
}
