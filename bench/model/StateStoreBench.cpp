// Saving and loading the whole state with a long job history, each job carrying its preset.
// References measured in the same run: the same bytes written and synced by a plain
// write + fsync (the floor of any durable save), and the same bytes only parsed as JSON (the
// floor of any load). Growth from 5,000 to 50,000 jobs must stay near linear.
#include "BenchSupport.h"

#include "model/FileIo.h"
#include "model/JsonCodec.h"
#include "model/StateStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <fcntl.h>
#include <unistd.h>

using namespace vantor;

namespace {

AppState stateWithJobs(int count)
{
    AppState state;
    state.templates = {ProjectTemplate{QUuid::createUuid(), QStringLiteral("Shoot"), {QStringLiteral("A/B")}}};
    state.jobs.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        TranscodePreset preset(QUuid::createUuid(), QStringLiteral("Editorial Proxy"), Codec::proresProxy,
                               QStringLiteral("mov"), 1920, 100, 20, 0, AudioMode::pcm, 48000, 24, 0,
                               QStringLiteral("_PROXY"));
        const QString name = QStringLiteral("A%1C%2.mov").arg(i / 100, 3, 10, QLatin1Char('0')).arg(i % 100);
        MediaJob job = MediaJob::make(QStringLiteral("/media/CARD 1/CLIP/") + name, FileGrant(QStringLiteral("/media/CARD 1")),
                                      QStringLiteral("/projects/Doc"), FileGrant(QStringLiteral("/projects/Doc")),
                                      QStringLiteral("/projects/Doc/02_FOOTAGE/ORIGINALS/CLIP/") + name,
                                      QStringLiteral("/projects/Doc/02_FOOTAGE/PROXIES/") + name,
                                      JobOperation::copyAndTranscode, preset, ChecksumAlgorithm::xxHash,
                                      734003200 + i, Timestamp::fromTimespec({1731690000 + i, 123456789}));
        job.status = JobStatus::complete;
        job.progress = 1;
        job.sourceHash = job.destinationHash = QStringLiteral("0123456789abcdef");
        job.copyCommitted = true;
        state.jobs.push_back(std::move(job));
    }
    return state;
}

double plainWrite(const QString &path, const QByteArray &data)
{
    return bench::seconds([&] {
        const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0 || ::write(fd, data.constData(), std::size_t(data.size())) != data.size() || ::fsync(fd) != 0) {
            std::perror("reference write");
            std::exit(1);
        }
        ::close(fd);
    });
}

double parseOnly(const QString &path)
{
    return bench::seconds([&] {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || QJsonDocument::fromJson(file.readAll()).isNull())
            std::exit(1);
    });
}

struct Figures {
    double save = 0, saveReference = 0, load = 0, loadReference = 0;
    qint64 bytes = 0;
};

Figures measure(int jobs, int rounds)
{
    const QString directory = bench::scratch(QStringLiteral("state-%1").arg(jobs));
    const AppState state = stateWithJobs(jobs);
    StateStore::save(state, directory); // warm the folder and the page cache alike for both sides
    const QString path = directory + QStringLiteral("/state.json");
    const QByteArray data = StateStore::encode(state);
    Figures figures;
    figures.bytes = data.size();
    std::tie(figures.save, figures.saveReference) = bench::bestOfPairs(
        rounds, [&] { return bench::seconds([&] { StateStore::save(state, directory); }); },
        [&] { return plainWrite(directory + QStringLiteral("/reference.json"), data); });
    std::tie(figures.load, figures.loadReference) = bench::bestOfPairs(
        rounds,
        [&] {
            return bench::seconds([&] {
                if (StateStore::load(directory).jobs.size() != std::size_t(jobs))
                    std::exit(1);
            });
        },
        [&] { return parseOnly(path); });
    QDir(directory).removeRecursively();
    return figures;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const Figures small = measure(5000, 5);
    const Figures large = measure(50000, 3);
    std::printf("state file: 5000 jobs %.1f MB, 50000 jobs %.1f MB\n", double(small.bytes) / 1e6,
                double(large.bytes) / 1e6);
    bench::report("state save, 5000 jobs", "write+fsync of the same bytes", small.save, small.saveReference,
                  "time ratio", small.save / small.saveReference, "<= 0.150 s", small.save <= 0.150);
    bench::report("state load, 5000 jobs", "JSON parse of the same bytes", small.load, small.loadReference,
                  "time ratio", small.load / small.loadReference, "<= 0.150 s", small.load <= 0.150);
    bench::report("state save, 50000 jobs", "5000 jobs", large.save, small.save, "growth ratio",
                  large.save / small.save, "<= 12", large.save / small.save <= 12);
    bench::report("state load, 50000 jobs", "5000 jobs", large.load, small.load, "growth ratio",
                  large.load / small.load, "<= 12", large.load / small.load <= 12);
    return 0;
}
