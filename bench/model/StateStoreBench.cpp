// Saving and loading the whole state with a long job history, each job carrying its preset.
// References measured in the same run: the same bytes written and synced by a plain
// write + fsync (the floor of any durable save), and the same bytes only parsed as JSON (the
// floor of any load). Growth from 5,000 to 50,000 jobs must stay near linear.
// With the journal: the latency of one save of one changed job with a 50,000-job history (the
// append and its fsync, what the queue pays per change), against the same frame's bytes written
// and synced by plain calls; and loads of 5,000 and 50,000 jobs with a journal of 10,000 frames.
#include "BenchSupport.h"
#include "base/FileIo.h"
#include "base/JsonCodec.h"
#include "state/JournalCodec.h"
#include "state/StateRepository.h"
#include "state/StateStore.h"

#include <algorithm>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <fcntl.h>
#include <unistd.h>

using namespace vantor;

namespace {

AppState stateWithJobs(int count)
{
    AppState state;
    state.templates
        = { ProjectTemplate { QUuid::createUuid(), QStringLiteral("Shoot"), { QStringLiteral("A/B") } } };
    state.jobs.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        TranscodePreset preset(QUuid::createUuid(), QStringLiteral("Editorial Proxy"), Codec::proresProxy,
            QStringLiteral("mov"), 1920, 100, 20, 0, AudioMode::pcm, 48000, 24, 0, QStringLiteral("_PROXY"));
        const QString name = QStringLiteral("A%1C%2.mov").arg(i / 100, 3, 10, QLatin1Char('0')).arg(i % 100);
        MediaJob job = MediaJob::make(QStringLiteral("/media/CARD 1/CLIP/") + name,
            FileGrant(QStringLiteral("/media/CARD 1")), QStringLiteral("/projects/Doc"),
            FileGrant(QStringLiteral("/projects/Doc")),
            QStringLiteral("/projects/Doc/02_FOOTAGE/ORIGINALS/CLIP/") + name,
            QStringLiteral("/projects/Doc/02_FOOTAGE/PROXIES/") + name, JobOperation::copyAndTranscode,
            preset, ChecksumAlgorithm::xxHash, 734003200 + i,
            Timestamp::fromTimespec({ 1731690000 + i, 123456789 }));
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
        const int fd
            = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0 || ::write(fd, data.constData(), std::size_t(data.size())) != data.size()
            || ::fsync(fd) != 0) {
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

struct Subject {
    QString directory;
    AppState state;
    QByteArray data;
};

Subject prepare(int jobs)
{
    Subject subject { bench::scratch(QStringLiteral("state-%1").arg(jobs)), stateWithJobs(jobs), {} };
    subject.data = StateStore::encode(subject.state);
    StateStore::save(subject.state, subject.directory); // the folder and the old file exist, as in use
    return subject;
}

double save(const Subject &subject)
{
    return bench::seconds([&] { StateStore::save(subject.state, subject.directory); });
}

double load(const Subject &subject)
{
    return bench::seconds([&] {
        if (StateStore::load(subject.directory).jobs.size() != subject.state.jobs.size())
            std::exit(1);
    });
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Saves of one changed job each, each waited for; the median of their times, and of plain
// appends of the same number of bytes with an fsync each.
std::pair<double, double> saveLatency(const Subject &subject)
{
    StateRepository repository(subject.directory);
    repository.save(); // a state.json without a journal: the first save writes it whole
    repository.flush();
    const QString journal = subject.directory + QLatin1Char('/') + QLatin1String(StateStore::journalName);
    std::vector<double> saves, appends;
    for (int i = 0; i < 41; ++i) {
        MediaJob job = repository.jobs()[std::size_t(i) * 1009 % repository.jobs().size()];
        job.progress = 0.5;
        const qint64 before = QFileInfo(journal).size();
        saves.push_back(bench::seconds([&] {
            repository.updateJob(job);
            repository.flush();
        }));
        const QByteArray bytes(QFileInfo(journal).size() - before, 'j');
        appends.push_back(bench::seconds([&] {
            const int fd = ::open(QFile::encodeName(subject.directory + QStringLiteral("/reference.append")).constData(),
                                  O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
            if (fd < 0 || ::write(fd, bytes.constData(), std::size_t(bytes.size())) != bytes.size() || ::fsync(fd) != 0)
                std::exit(1);
            ::close(fd);
        }));
    }
    return {median(saves), median(appends)};
}

// Writes a journal of `frames` saves, each one changed job, after the subject's state.json.
void writeJournal(const Subject &subject, int frames)
{
    QByteArray journal = JournalCodec::header(JournalCodec::digest(subject.data.constData(), std::size_t(subject.data.size())));
    for (int i = 0; i < frames; ++i) {
        StateChange change;
        MediaJob job = subject.state.jobs[std::size_t(i) * 7919 % subject.state.jobs.size()];
        job.progress = 0.001 * (i % 1000);
        change.jobs.push_back(job);
        journal += JournalCodec::frame(change);
    }
    QFile file(subject.directory + QLatin1Char('/') + QLatin1String(StateStore::journalName));
    if (!file.open(QIODevice::WriteOnly) || file.write(journal) != journal.size())
        std::exit(1);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const Subject small = prepare(5000);
    const Subject large = prepare(50000);
    std::printf("state file: 5000 jobs %.1f MB, 50000 jobs %.1f MB\n", double(small.data.size()) / 1e6,
        double(large.data.size()) / 1e6);

    // Each pair is measured in turn, so that other load on the machine hits both sides alike.
    const auto [save5k, write5k] = bench::bestOfPairs(
        7, [&] { return save(small); },
        [&] { return plainWrite(small.directory + QStringLiteral("/reference.json"), small.data); });
    const auto [load5k, parse5k] = bench::bestOfPairs(
        7, [&] { return load(small); },
        [&] { return parseOnly(small.directory + QStringLiteral("/state.json")); });
    const auto [save50k, save5kAgain] = bench::bestOfPairs(
        3, [&] { return save(large); }, [&] { return save(small); });
    const auto [load50k, load5kAgain] = bench::bestOfPairs(
        3, [&] { return load(large); }, [&] { return load(small); });

    bench::report("state save, 5000 jobs", "write+fsync of the same bytes", save5k, write5k, "time ratio",
        save5k / write5k, "<= 0.150 s", save5k <= 0.150);
    bench::report("state load, 5000 jobs", "JSON parse of the same bytes", load5k, parse5k, "time ratio",
        load5k / parse5k, "<= 0.150 s", load5k <= 0.150);
    const double saveGrowth = save50k / std::min(save5k, save5kAgain);
    const double loadGrowth = load50k / std::min(load5k, load5kAgain);
    bench::report("state save, 50000 jobs", "5000 jobs", save50k, std::min(save5k, save5kAgain),
        "growth ratio", saveGrowth, "<= 12", saveGrowth <= 12);
    bench::report("state load, 50000 jobs", "5000 jobs", load50k, std::min(load5k, load5kAgain),
        "growth ratio", loadGrowth, "<= 12", loadGrowth <= 12);

    StateStore::save(large.state, large.directory);
    const auto [latency, plainAppend] = saveLatency(large);
    std::printf("save of one changed job, 50000-job history: median %.2f ms (target <= 5 ms) %s; plain append + fsync of "
                "the same bytes %.2f ms\n",
                latency * 1e3, latency <= 0.005 ? "ok" : "MISSED", plainAppend * 1e3);
    std::fflush(stdout);
    for (const Subject *subject : {&small, &large}) {
        StateStore::save(subject->state, subject->directory);
        writeJournal(*subject, 10000);
        const double withJournal = bench::bestOfPairs(3, [&] { return load(*subject); }, [] { return 0.0; }).first;
        const double limit = subject == &small ? 0.150 : 1.5;
        std::printf("state load, %zu jobs and a journal of 10000 frames: %.3f s (target <= %.3f s) %s\n",
                    subject->state.jobs.size(), withJournal, limit, withJournal <= limit ? "ok" : "MISSED");
        std::fflush(stdout);
    }
    QDir(small.directory).removeRecursively();
    QDir(large.directory).removeRecursively();
    return 0;
}
