// Scanning a card-like tree of 20,000 files in 1,000 folders, against find -type f.

#include "BenchSupport.h"

#include "ingest/MediaIngestService.h"

#include <QDir>
#include <QFile>

using namespace vantor;

int main()
{
    const QString root = bench::scratch(QStringLiteral("scan-tree"));
    QDir(root).removeRecursively();
    for (int folder = 0; folder < 1000; ++folder) {
        const QString dir = root + QStringLiteral("/DCIM/%1").arg(folder, 4, 10, QLatin1Char('0'));
        QDir().mkpath(dir);
        for (int file = 0; file < 20; ++file) {
            QFile out(dir + QStringLiteral("/C%1.MXF").arg(file, 4, 10, QLatin1Char('0')));
            out.open(QIODevice::WriteOnly);
            out.write("x");
        }
    }
    bench::run({QStringLiteral("find"), root}); // warm the directory cache for both sides

    std::size_t count = 0;
    const auto [inProcess, find] = bench::bestOfPairs(
        5, [&] { return bench::seconds([&] { count = MediaIngestService::scan({root}).size(); }); },
        [&] { return bench::run({QStringLiteral("find"), root, QStringLiteral("-type"), QStringLiteral("f")}).seconds; });
    if (count != 20000) {
        std::fprintf(stderr, "scan found %zu files\n", count);
        return 1;
    }
    bench::report("scan of 20,000 files in 1,000 folders", "find -type f", inProcess, find, "time ratio",
                  inProcess / find, "<= 2.0", inProcess / find <= 2.0);
    const auto [command, find2] = bench::bestOfPairs(
        5, [&] { return bench::run({bench::cliPath(), QStringLiteral("scan"), root}).seconds; },
        [&] { return bench::run({QStringLiteral("find"), root, QStringLiteral("-type"), QStringLiteral("f")}).seconds; });
    // For context: the whole command also starts a process and prints 20,000 lines.
    bench::report("vantor scan process, 20,000 files (context)", "find -type f", command, find2, "time ratio",
                  command / find2, "none", true);
    // For context: find -type f reads no file's size or time; a scan must read both for every file.
    const auto [command2, findStat] = bench::bestOfPairs(
        5, [&] { return bench::run({bench::cliPath(), QStringLiteral("scan"), root}).seconds; },
        [&] {
            return bench::run({QStringLiteral("find"), root, QStringLiteral("-type"), QStringLiteral("f"),
                               QStringLiteral("-printf"), QStringLiteral("%s\t%T@\t%P\n")})
                .seconds;
        });
    bench::report("vantor scan process, 20,000 files (context)", "find -type f -printf size/time", command2, findStat,
                  "time ratio", command2 / findStat, "none", true);
    QDir(root).removeRecursively();
    return 0;
}
