// The data behind the copy's I/O modes: a verified xxHash64 copy in each write mode (direct,
// write-behind) and verification read mode (direct, buffered), to this machine's disk, to tmpfs
// and to a loop-mounted ext4 image whose backing file is elsewhere, each against cp + sync + drop
// from cache + xxhsum of both to the same place. Arguments: [MiB] (default 256, so `make bench` stays short; docs/ingest.md used 1024).

#include "BenchSupport.h"
#include "CopyBenchJob.h"

#include "base/FileIo.h"
#include "ingest/MediaIngestService.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QUuid>
#include <sys/stat.h>

using namespace vantor;

namespace {

} // namespace

int main(int argc, char **argv)
{
    const int mebibytes = argc > 1 ? std::atoi(argv[1]) : 256;
    const QString source = bench::scratch(QStringLiteral("modes-source.bin"));
    {
        QByteArray block(4 << 20, Qt::Uninitialized);
        QRandomGenerator random(3);
        QFile file(source);
        file.open(QIODevice::WriteOnly);
        for (int i = 0; i < mebibytes / 4; ++i) {
            random.fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
            file.write(block);
        }
    }
    // A loop device whose backing file is in memory: the only other "disk" a one-disk machine has.
    const QString image = QStringLiteral("/dev/shm/vantor-bench-loop.img");
    const QString loop = bench::scratch(QStringLiteral("loop"));
    QDir().mkpath(loop);
    const bool looped = bench::tryShell(QStringLiteral("truncate -s %1M %2 && mkfs.ext4 -q -F %2 && mount -o loop %2 '%3'")
                                            .arg(mebibytes * 3 + 256)
                                            .arg(image, loop));
    if (!looped)
        std::printf("loop-mounted ext4: not possible here (needs root and loop devices); not measured\n");
    const QString shm = QStringLiteral("/dev/shm/vantor-bench");
    QDir().mkpath(shm);
    struct Place {
        const char *name;
        QString folder;
    };
    std::vector<Place> places{{"disk", QFileInfo(source).path()}, {"tmpfs", shm}};
    if (looped)
        places.push_back({"loop ext4 on tmpfs", loop});

    JobControl control;
    const struct {
        const char *name;
        StagingWriter::Mode write;
        bool directReads;
    } modes[] = {
        {"direct writes, direct reads", StagingWriter::Mode::direct, true},
        {"direct writes, buffered reads", StagingWriter::Mode::direct, false},
        {"write-behind, direct reads", StagingWriter::Mode::writeBehind, true},
        {"write-behind, buffered reads", StagingWriter::Mode::writeBehind, false},
    };
    for (const Place &place : places) {
        const QString ours = place.folder + QStringLiteral("/modes-vantor.bin");
        const QString theirs = place.folder + QStringLiteral("/modes-reference.bin");
        const double reference = bench::bestOfPairs(3, [] { return 0.0; }, [&] {
            QFile::remove(theirs);
            bench::run({QStringLiteral("cat"), source});
            return bench::shell(QStringLiteral("cp '%1' '%2' && sync && dd if='%1' iflag=nocache count=0 status=none && "
                                               "dd if='%2' iflag=nocache count=0 status=none && xxhsum -H1 '%1' '%2'")
                                    .arg(source, theirs))
                .seconds;
        }).second;
        QFile::remove(theirs);
        const int fd = ::open(QFile::encodeName(place.folder).constData(), O_RDONLY | O_DIRECTORY);
        const QString automatic = StagingWriter::modeName(StagingWriter::modeFor(fd))
                                  + (FileIo::isMemoryBacked(fd) ? QStringLiteral(", buffered reads") : QStringLiteral(", direct reads"));
        ::close(fd);
        for (const auto &mode : modes) {
            CopyPhases::Tuning tuning;
            tuning.writeMode = mode.write;
            tuning.directReads = mode.directReads;
            const double best = bench::bestOfPairs(3, [&] {
                QFile::remove(ours);
                bench::run({QStringLiteral("cat"), source});
                return bench::seconds([&] { MediaIngestService::copy(copyBenchJob(source, ours), control, {}, {}, tuning); });
            }, [] { return 0.0; }).first;
            QFile::remove(ours);
            std::printf("%d MiB to %s, %s: %.3f s, reference %.3f s, time ratio %.3f\n", mebibytes, place.name, mode.name,
                        best, reference, best / reference);
        }
        std::printf("%s: chosen at run time: %s\n", place.name, qPrintable(automatic));
        std::fflush(stdout);
    }
    if (looped)
        bench::tryShell(QStringLiteral("umount '%1'").arg(loop));
    QFile::remove(image);
    QDir(shm).removeRecursively();
    QFile::remove(source);
    return 0;
}
