// Sealing a 1,000-file card in its ASC MHL history (CardSeal: listing, folder and root hashes,
// manifest, chain, syncs) against the verified xxHash64 copy of the same card that precedes it.
// The digests come from the copy's source read, so the seal reads no media.

#include "BenchSupport.h"

#include "ingest/MediaIngestService.h"
#include "planning/JobPlanner.h"
#include "queue/CardSeal.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>

using namespace vantor;

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString card = bench::scratch(QStringLiteral("mhl-card/A001"));
    QDir(card).removeRecursively();
    QByteArray block(256 << 10, Qt::Uninitialized);
    QRandomGenerator random(3);
    for (int i = 0; i < 1000; ++i) {
        const QString folder = card + QStringLiteral("/CLIPS%1").arg(i / 100);
        QDir().mkpath(folder);
        random.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
        QFile file(folder + QStringLiteral("/C%1.mxf").arg(i, 4, 10, QLatin1Char('0')));
        file.open(QIODevice::WriteOnly);
        file.write(block);
    }
    bench::run({QStringLiteral("sync")});

    double bestCopy = 1e30, bestSeal = 1e30;
    for (int round = 0; round < 3; ++round) {
        const QString project = bench::scratch(QStringLiteral("mhl-project"));
        QDir(project).removeRecursively();
        QDir().mkpath(project);
        JobPlan plan;
        plan.operation = JobOperation::copy;
        plan.root = project;
        plan.grant = FileGrant(project);
        plan.copyFolder = QStringLiteral("ORIGINALS");
        plan.checksum = ChecksumAlgorithm::xxHash;
        std::vector<MediaJob> jobs = JobPlanner::plan(plan, MediaIngestService::scan({card}));
        JobControl control;
        bestCopy = std::min(bestCopy, bench::seconds([&] {
            for (MediaJob &job : jobs) {
                const MediaIngestService::CopyResult copied = MediaIngestService::copy(job, control);
                job.sourceHash = copied.sourceHash;
                job.status = JobStatus::complete;
            }
        }));
        CardSeal::Outcome outcome;
        bestSeal = std::min(bestSeal, bench::seconds([&] { outcome = CardSeal::seal(card, jobs, control); }));
        if (outcome.receipt().isEmpty()) {
            std::fprintf(stderr, "the card was not sealed: %s\n", qPrintable(outcome.notice));
            return 1;
        }
        QDir(project).removeRecursively();
    }
    bench::report("seal of a 1,000-file card (256 KiB each)", "its verified copy", bestSeal, bestCopy, "time ratio",
                  bestSeal / bestCopy, "< 0.02", bestSeal / bestCopy < 0.02);
    QDir(bench::scratch(QStringLiteral("mhl-card"))).removeRecursively();
    return 0;
}
