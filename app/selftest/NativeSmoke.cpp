#include "selftest/NativeSmoke.h"

#include "files/FileGrant.h"
#include "ingest/MediaIngestService.h"
#include "base/JobControl.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "projects/ProjectCreationService.h"
#include "projects/ProjectTemplateService.h"
#include "state/OperationLog.h"
#include "queue/QueueService.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"
#include "workspace/UserChoices.h"
#include "workspace/Workspace.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTimer>
#include <QUuid>
#include <exception>
#include <memory>
#include <thread>

namespace vantor {

namespace {

const QString clipName = QStringLiteral("A001_C001.mov");
const QString timecode = QStringLiteral("01:00:00:00");
const QString interruptedMessage = QStringLiteral(
    "Interrupted by application shutdown. Retry to restart the unfinished phase. Original media is preserved.");
constexpr int waitLimitMs = 40000;
constexpr int heartbeatMs = 10;
constexpr qint64 stallLimitMs = 250;
constexpr int loadJobs = 5000;

// The engine's lines matter only when it fails, and then they come with its error.
void ignoreLine(const QString &) {}

[[noreturn]] void fail(const char *message)
{
    throw VantorError(QString::fromUtf8(message));
}

// Runs blocking work (the engine, project creation, a scan, a flush) on a thread of its own
// while the main thread keeps turning its event loop; rethrows what the work threw.
void offMainThread(const std::function<void()> &work)
{
    QEventLoop loop;
    std::exception_ptr failure;
    std::thread worker([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        QMetaObject::invokeMethod(&loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
    });
    loop.exec();
    worker.join();
    if (failure)
        std::rethrow_exception(failure);
}

// Turns the event loop for a while, e.g. to give a queue the chance to do what it must not.
void turnEventLoop(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, [&loop] { loop.quit(); });
    loop.exec();
}

MediaInfo probe(const QString &path)
{
    MediaInfo info;
    offMainThread([&] {
        JobControl control;
        info = TranscodeService::probe(path, {}, control);
    });
    return info;
}

const MediaJob *findJob(const QueueService &queue, const QUuid &id)
{
    for (const MediaJob &job : queue.state().jobs) {
        if (job.id == id)
            return &job;
    }
    return nullptr;
}

bool hasStatus(const QueueService &queue, const QUuid &id, JobStatus::Value status)
{
    const MediaJob *job = findJob(queue, id);
    return job && job->status == status;
}

TranscodePreset builtInPreset(const QString &name)
{
    for (const TranscodePreset &preset : PresetService::defaults()) {
        if (preset.name == name)
            return preset;
    }
    throw VantorError(QStringLiteral("Built-in preset missing: ") + name);
}

// The self-test never shows a dialog: every question is declined.
class NoChoices : public UserChoices {
public:
    std::optional<QString> chooseFolder(const QString &) override { return std::nullopt; }
    QStringList chooseFiles(const QString &) override { return {}; }
    bool confirm(const QString &, const QString &) override { return false; }
};

// The engine's first complaint says why (e.g. "Cannot load libcuda.so.1"); the exit status line
// before it and the generic lines after it do not.
QString engineReason(const QString &message)
{
    QStringList lines = message.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.size() > 1)
        lines.removeFirst();
    QString reason = lines.value(0).trimmed();
    static const QRegularExpression component(QStringLiteral("^\\[[^\\]]*\\]\\s*"));
    return reason.remove(component);
}

// Queues one transcode of `source` through the workspace, as the Transcode page does, and runs the
// queue until it is done; `notQueued` is the failure when no job was added.
QUuid transcodeOne(Workspace &workspace, const TranscodePreset &preset, const SourceFile &source, const char *notQueued)
{
    QueueService &queue = workspace.queue();
    workspace.setPreset(preset);
    workspace.setSources({source});
    const std::size_t before = queue.state().jobs.size();
    workspace.enqueueTranscodes(true);
    if (queue.state().jobs.size() != before + 1)
        fail(notQueued);
    const QUuid id = queue.state().jobs.back().id;
    NativeSmoke::wait(queue);
    return id;
}

} // namespace

NativeSmoke::NativeSmoke(Printer print) : m_print(std::move(print)) {}

void NativeSmoke::wait(QueueService &queue)
{
    if (!queue.running())
        return;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(50);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (!queue.running())
            loop.exit(0);
    });
    QTimer::singleShot(waitLimitMs, &loop, [&loop] { loop.exit(1); });
    poll.start();
    if (loop.exec() != 0)
        fail("Queue did not finish within 40 seconds.");
}

void NativeSmoke::run()
{
    // Checked before anything is written, so a self-test can never touch a user's real queue.
    if (qEnvironmentVariable("VANTOR_SUPPORT_DIR").isEmpty())
        fail("Set VANTOR_SUPPORT_DIR to a disposable test directory.");
    m_support = QDir::cleanPath(QFileInfo(StateStore::directory()).absoluteFilePath());

    makeFixture();
    queueAndRestore();

    NoChoices choices;
    Workspace workspace(m_support, runJobPhases, &choices);
    standaloneTranscode(workspace);
    batchRetrySleepAndReorder(workspace);
    if (hardwareEncoding(workspace))
        m_print(QStringLiteral("PASS Hardware H.264 / HEVC, queue reorder, batch retry and sleep/wake policy"));
    else
        m_print(QStringLiteral("PASS Queue reorder, batch retry and sleep/wake policy"));
    persistenceLoad(workspace.queue());
}

// Stage 1: a one-second ProRes test pattern with timecode, made by the engine itself.
void NativeSmoke::makeFixture()
{
    offMainThread([&] { m_engine = TranscodeService::executable({}, false); });
    const QString folder = m_support + QStringLiteral("/fixtures");
    if (!QDir().mkpath(folder))
        throw VantorError(QStringLiteral("Could not create the test folder: ") + folder);
    m_fixture = folder + QLatin1Char('/') + clipName;
    // Encoded under a hidden name and renamed once whole, so a failed encode leaves no clip.
    const QString staging =
        folder + QStringLiteral("/.vantor-") + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()
        + QStringLiteral("-fixture.mov");
    const QStringList arguments = {
        QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"), QStringLiteral("-loglevel"),
        QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("testsrc2=size=640x360:rate=24"), QStringLiteral("-f"), QStringLiteral("lavfi"),
        QStringLiteral("-i"), QStringLiteral("sine=frequency=1000:sample_rate=48000"), QStringLiteral("-t"),
        QStringLiteral("1"), QStringLiteral("-c:v"), QStringLiteral("prores_ks"), QStringLiteral("-profile:v"),
        QStringLiteral("0"), QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"), QStringLiteral("-timecode"),
        timecode, staging};
    try {
        offMainThread([&] {
            JobControl control;
            TranscodeService::run(m_engine, arguments, control, ignoreLine);
        });
    } catch (...) {
        QFile::remove(staging);
        throw;
    }
    if (!QFile::rename(staging, m_fixture)) { // never replaces an existing clip
        QFile::remove(staging);
        throw VantorError(QStringLiteral("Could not publish the test clip: ") + m_fixture);
    }
    offMainThread([&] {
        const std::vector<SourceFile> found = MediaIngestService::scan({m_fixture});
        if (found.size() != 1)
            throw VantorError(QStringLiteral("The test clip was not found: ") + m_fixture);
        m_source = found.front();
    });
}

// Stages 2 to 5: one copy + transcode job through pause, completion, restore, recovery and retry.
void NativeSmoke::queueAndRestore()
{
    const QString projects = m_support + QStringLiteral("/projects");
    if (!QDir().mkpath(projects))
        throw VantorError(QStringLiteral("Could not create the test folder: ") + projects);
    ProjectContext project;
    offMainThread([&] {
        project = ProjectCreationService::create(QStringLiteral("QueueSmoke"), QStringLiteral("Test"),
                                                 QStringLiteral("2026-09-29"), projects,
                                                 ProjectTemplateService::defaults().front());
    });
    const QString root = QDir::cleanPath(project.root);
    const QString copy = root + QStringLiteral("/02_FOOTAGE/ORIGINALS/A001_C001.mov");
    const QString proxy = root + QStringLiteral("/02_FOOTAGE/PROXIES/A001_C001_PROXY.mov");
    const QString retryProxy = root + QStringLiteral("/02_FOOTAGE/PROXIES/A001_C001_RETRY.mov");

    auto queue = std::make_unique<QueueService>(m_support);
    queue->repository().setProject(project);
    const MediaJob job = MediaJob::make(m_source.url, m_source.grant, root, FileGrant(root), copy, proxy,
                                        JobOperation::copyAndTranscode, PresetService::defaults().front(),
                                        ChecksumAlgorithm(), m_source.size, m_source.modified);
    queue->enqueue({job});
    queue->start();
    queue->pause();
    if (!queue->paused())
        fail("Queue did not pause.");

    queue->resume();
    wait(*queue);
    if (!hasStatus(*queue, job.id, JobStatus::complete))
        fail("Job did not complete.");

    // A queue lock per support folder: each queue goes before the next one is made.
    queue->flush();
    queue.reset();
    queue = std::make_unique<QueueService>(m_support);
    if (!hasStatus(*queue, job.id, JobStatus::complete))
        fail("Completed job was not restored.");
    queue.reset();

    // A crash in the middle of a transcode leaves exactly this on disk.
    AppState saved = StateStore::load(m_support);
    for (MediaJob &entry : saved.jobs) {
        if (entry.id == job.id)
            entry.status = JobStatus::transcoding;
    }
    StateStore::save(saved, m_support);
    queue = std::make_unique<QueueService>(m_support);
    const MediaJob *recovered = findJob(*queue, job.id);
    if (!recovered || recovered->status != JobStatus::failed || recovered->error != interruptedMessage)
        fail("Interrupted job was not marked for recovery.");
    if (!recovered->sourceHash || !recovered->destinationHash)
        fail("Missing verified hashes.");
    if (!recovered->copyCommitted)
        fail("Copy commit was not persisted.");

    MediaJob redirected = *recovered;
    redirected.outputDestination = retryProxy;
    queue->repository().updateJob(redirected);
    queue->retry(job.id);
    queue->start();
    wait(*queue);
    if (!hasStatus(*queue, job.id, JobStatus::complete))
        fail("Retry did not finish.");
    if (!QFileInfo(retryProxy).isFile())
        fail("Proxy missing.");
    if (!QFileInfo(m_fixture).isFile())
        fail("Original media was removed.");
    queue->flush();
}

// Stage 6: the Transcode page's path, from the workspace action to a probed output.
void NativeSmoke::standaloneTranscode(Workspace &workspace)
{
    QueueService &queue = workspace.queue();
    const QString folder = m_support + QStringLiteral("/transcodes");
    if (!QDir().mkpath(folder))
        throw VantorError(QStringLiteral("Could not create the test folder: ") + folder);
    queue.repository().setTranscodeDestination(FileGrant(folder));
    TranscodePreset preset = builtInPreset(QStringLiteral("Review File"));
    preset.suffix = QStringLiteral("_STANDALONE");
    const QUuid id = transcodeOne(workspace, preset, m_source, "Standalone enqueue failed.");
    if (!hasStatus(queue, id, JobStatus::complete))
        fail("Standalone transcode failed.");
    const QString output = folder + QStringLiteral("/A001_C001_STANDALONE.mp4");
    if (!QFileInfo(output).isFile())
        fail("Standalone output missing.");
    if (probe(output).timecode != timecode)
        fail("Timecode was not preserved.");
}

// Stage 7: two jobs that fail (their source no longer matches its fingerprint), retried at once,
// then held by system sleep and wake, then reordered while they wait.
void NativeSmoke::batchRetrySleepAndReorder(Workspace &workspace)
{
    QueueService &queue = workspace.queue();
    const QString folder = queue.state().transcodeDestination->resolve();
    const TranscodePreset preset = builtInPreset(QStringLiteral("Review File"));
    std::vector<MediaJob> jobs;
    for (const QString &suffix : {QStringLiteral("_BATCH1"), QStringLiteral("_BATCH2")}) {
        jobs.push_back(MediaJob::make(m_source.url, m_source.grant, folder, FileGrant(folder), std::nullopt,
                                      folder + QStringLiteral("/A001_C001") + suffix + QStringLiteral(".mp4"),
                                      JobOperation::transcode, preset, std::nullopt, m_source.size + 1,
                                      m_source.modified));
    }
    const QUuid first = jobs[0].id;
    const QUuid second = jobs[1].id;
    queue.enqueue(jobs);
    queue.start();
    wait(queue);
    if (!hasStatus(queue, first, JobStatus::failed) || !hasStatus(queue, second, JobStatus::failed))
        fail("Batch retry failed.");
    queue.retryFailed();
    if (!hasStatus(queue, first, JobStatus::waiting) || !hasStatus(queue, second, JobStatus::waiting))
        fail("Batch retry failed.");

    queue.start();
    queue.handleSystemSleep();
    queue.handleSystemWake();
    // Longer than the paused loop's own look-around, so a silent resume would have started a job.
    turnEventLoop(500);
    if (!queue.paused() || !hasStatus(queue, first, JobStatus::waiting)
        || !hasStatus(queue, second, JobStatus::waiting))
        fail("Wake should not silently resume work on disconnected drives.");
    offMainThread([&] { queue.flush(); });
    QFile log(OperationLog::path(m_support));
    if (!log.open(QIODevice::ReadOnly))
        throw VantorError(QStringLiteral("Operation log missing: ") + log.fileName());
    const QString lines = QString::fromUtf8(log.readAll());
    if (!lines.contains(QStringLiteral("  PAUSED for system sleep\n"))
        || !lines.contains(QStringLiteral("  System awake; queue remains paused until resumed\n")))
        fail("Wake should not silently resume work on disconnected drives.");

    queue.moveWaiting(second, -1);
    const std::vector<MediaJob> &order = queue.state().jobs;
    const auto position = [&](const QUuid &id) {
        return std::find_if(order.begin(), order.end(), [&](const MediaJob &job) { return job.id == id; });
    };
    if (!(position(second) < position(first)))
        fail("Queue reorder failed.");

    queue.cancelAll();
    queue.resume();
    wait(queue);
}

// Stage 8: only where NVENC answers a one-frame trial encode; otherwise one SKIP line says why.
bool NativeSmoke::hardwareEncoding(Workspace &workspace)
{
    try {
        offMainThread([&] {
            JobControl control;
            TranscodeService::run(m_engine,
                                  {QStringLiteral("-hide_banner"), QStringLiteral("-nostdin"),
                                   QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-f"),
                                   QStringLiteral("lavfi"), QStringLiteral("-i"),
                                   QStringLiteral("testsrc2=size=640x360:rate=24"), QStringLiteral("-frames:v"),
                                   QStringLiteral("1"), QStringLiteral("-c:v"), QStringLiteral("h264_nvenc"),
                                   QStringLiteral("-pix_fmt"), QStringLiteral("nv12"), QStringLiteral("-f"),
                                   QStringLiteral("null"), QStringLiteral("-")},
                                  control, ignoreLine);
        });
    } catch (const VantorError &error) {
        m_print(QStringLiteral("SKIP Hardware H.264 / HEVC: NVENC trial encode failed: ")
                + engineReason(error.message()));
        return false;
    }

    QueueService &queue = workspace.queue();
    const QString folder = queue.state().transcodeDestination->resolve();
    TranscodePreset preset = builtInPreset(QStringLiteral("Review File"));
    FinishingOptions finishing = preset.finish();
    finishing.hardware = true;
    preset.setFinish(finishing);
    preset.suffix = QStringLiteral("_HARDWARE");
    const QUuid id = transcodeOne(workspace, preset, m_source, "Hardware output dimensions changed.");
    const QString output = folder + QStringLiteral("/A001_C001_HARDWARE.mp4");
    // A hardware encode that produced nothing has changed the dimensions as surely as a wrong one.
    if (!hasStatus(queue, id, JobStatus::complete) || !QFileInfo(output).isFile())
        fail("Hardware output dimensions changed.");
    const MediaInfo source = probe(m_fixture);
    const MediaInfo encoded = probe(output);
    if (encoded.width != source.width || encoded.height != source.height)
        fail("Hardware output dimensions changed.");
    return true;
}

// Stage 9: saving a long history must leave the main thread free; a 10 ms timer measures it.
void NativeSmoke::persistenceLoad(QueueService &queue)
{
    MediaJob model = queue.state().jobs.back();
    model.status = JobStatus::complete;
    std::vector<MediaJob> history(loadJobs, model);
    std::vector<QUuid> ids;
    for (MediaJob &entry : history) {
        entry.id = QUuid::createUuid();
        ids.push_back(entry.id);
    }

    QElapsedTimer clock;
    clock.start();
    qint64 last = 0;
    qint64 worst = 0;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    heartbeat.setInterval(heartbeatMs);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        const qint64 now = clock.elapsed();
        worst = std::max(worst, now - last);
        last = now;
    });
    heartbeat.start();
    queue.repository().addJobs(history); // saved at once
    // Waits for the write on a thread of its own; the main thread keeps turning meanwhile.
    offMainThread([&] { queue.flush(); });
    const qint64 saveMs = clock.elapsed();
    worst = std::max(worst, saveMs - last);
    heartbeat.stop();

    queue.repository().removeJobs(ids);
    offMainThread([&] { queue.flush(); });
    if (queue.persistenceError())
        throw VantorError(*queue.persistenceError());
    if (worst > stallLimitMs)
        fail("Queue persistence stalled the main thread.");
    m_print(QStringLiteral("PASS 5,000-job save: main-thread heartbeat worst gap %1 ms, save %2 ms")
                .arg(worst)
                .arg(saveMs));
}

} // namespace vantor
