#include "SampleRecords.h"

namespace vantor::test {

TranscodePreset samplePreset(const QString &name, bool withFinishing, bool withEncoding)
{
    TranscodePreset preset(QUuid::createUuid(), name, Codec::proresProxy, QStringLiteral("mov"), 1920, 100,
        20, 0, AudioMode::pcm, 48000, 24, 0, QStringLiteral("_PROXY"));
    if (withFinishing) {
        FinishingOptions finishing;
        finishing.burnText = QStringLiteral("Dailies \u2014 \"Take\" \\ 1");
        finishing.burnTimecode = true;
        finishing.channelMap = QStringLiteral("1,2");
        preset.finishing = finishing;
    }
    if (withEncoding) {
        EncodingOptions encoding;
        encoding.maxHeight = 1080;
        encoding.audioGain = -3;
        preset.encoding = encoding;
    } else {
        preset.encoding.reset();
    }
    return preset;
}

MediaJob sampleJob(JobOperation operation, JobStatus status, int index)
{
    const QString name
        = QStringLiteral("A%1C%2 clip é.mov").arg(index / 100, 3, 10, QLatin1Char('0')).arg(index % 100);
    const QString source = QStringLiteral("/media/CARD 1/CLIP/") + name;
    FileGrant sourceGrant(QStringLiteral("/media/CARD 1"));
    sourceGrant.bookmark = QByteArray("\x00\x01opaque\xff", 9);
    const FileGrant destinationGrant(QStringLiteral("/projects/Doc"));
    std::optional<QString> copy;
    std::optional<QString> output;
    if (operation.copies())
        copy = QStringLiteral("/projects/Doc/02_FOOTAGE/ORIGINALS/CARD 1/CLIP/") + name;
    if (operation.transcodes())
        output = QStringLiteral("/projects/Doc/02_FOOTAGE/PROXIES/A%1_PROXY.mov").arg(index);
    std::optional<TranscodePreset> preset;
    if (operation.transcodes())
        preset = samplePreset(QStringLiteral("Proxy %1").arg(index), index % 2 == 0, index % 3 != 0);
    std::optional<ChecksumAlgorithm> checksum;
    if (operation.copies())
        checksum = ChecksumAlgorithm(ChecksumAlgorithm::allCases[std::size_t(index) % 3]);
    MediaJob job = MediaJob::make(source, sourceGrant, QStringLiteral("/projects/Doc"), destinationGrant,
        copy, output, operation, preset, checksum, 734003200 + index,
        Timestamp::fromTimespec({ 1731690000 + index, 123456789 }));
    job.status = status;
    job.progress = 0.25 + 0.001 * index;
    job.phaseProgress = 0.1;
    job.elapsed = 12.75;
    if (status == JobStatus::failed || status == JobStatus::cancelled)
        job.error = QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched.");
    if (status == JobStatus::complete && checksum) {
        job.sourceHash = QStringLiteral("0123456789abcdef");
        job.destinationHash = QStringLiteral("0123456789abcdef");
        job.copyCommitted = true;
    }
    return job;
}

AppState fullState()
{
    AppState state;
    state.templates = { ProjectTemplate { QUuid::createUuid(), QStringLiteral("Shoot"),
                            { QStringLiteral("{DATE}/{CLIENT}"), QStringLiteral("02_FOOTAGE/ORIGINALS") } },
        ProjectTemplate { QUuid::createUuid(), QStringLiteral("Single"), { QStringLiteral("A") } } };
    state.presets = { samplePreset(QStringLiteral("Both"), true, true),
        samplePreset(QStringLiteral("Neither"), false, false),
        samplePreset(QStringLiteral("Finishing only"), true, false),
        samplePreset(QStringLiteral("Encoding only"), false, true) };
    int index = 0;
    for (const auto operation : JobOperation::allCases) {
        for (const auto status : JobStatus::allCases)
            state.jobs.push_back(sampleJob(operation, status, index++));
    }
    state.project = ProjectContext { QStringLiteral("Doc"), QStringLiteral("Acme"),
        QStringLiteral("2026-03-01"), QStringLiteral("/projects/Doc") };
    state.projectGrant = FileGrant(QStringLiteral("/projects/Doc"));
    WatchFolder rule = WatchFolder::make(FileGrant(QStringLiteral("/media/Incoming")),
        FileGrant(QStringLiteral("/out")), samplePreset(QStringLiteral("Watch"), false, true));
    rule.enabled = true;
    rule.seen.insert(QStringLiteral("/media/Incoming/Day1/A001.mov"),
        WatchFolder::versionSignature(10, Timestamp::fromUnixSeconds(1731690000.123456)));
    rule.seen.insert(QStringLiteral("/media/Incoming/B.mov"), QStringLiteral("11:1731690000.0"));
    state.watches = { rule,
        WatchFolder::make(FileGrant(QStringLiteral("/a")), FileGrant(QStringLiteral("/b")),
            samplePreset(QStringLiteral("Idle"), true, false)) };
    state.ffmpeg = QStringLiteral("/opt/ffmpeg/bin/ffmpeg");
    state.transcodeDestination = FileGrant(QStringLiteral("/renders"));
    return state;
}

AppState stateWithJobs(int jobCount)
{
    AppState state = fullState();
    state.jobs.clear();
    state.jobs.reserve(std::size_t(jobCount));
    for (int i = 0; i < jobCount; ++i)
        state.jobs.push_back(sampleJob(JobOperation::copyAndTranscode, JobStatus::complete, i));
    return state;
}

} // namespace vantor::test
