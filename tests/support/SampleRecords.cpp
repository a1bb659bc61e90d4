#include "SampleRecords.h"

namespace vantor::test {

TranscodePreset samplePreset(const QString &name, bool withFinishing, bool withEncoding)
{
    TranscodePreset preset(QUuid::createUuid(), name, Codec::proresProxy, QStringLiteral("mov"), 1920, 100, 20, 0,
                           AudioMode::pcm, 48000, 24, 0, QStringLiteral("_PROXY"));
    if (withFinishing)
        preset.finishing = FinishingOptions{.burnTimecode = true, .burnText = QStringLiteral("Dailies \u2014 \"Take\" \\ 1"),
                                            .channelMap = QStringLiteral("1,2")};
    preset.encoding.reset();
    if (withEncoding)
        preset.encoding = EncodingOptions{.maxHeight = 1080, .audioGain = -3};
    return preset;
}

MediaJob sampleJob(JobOperation operation, JobStatus status, int index)
{
    const QString name = QStringLiteral("A%1C%2 clip é.mov").arg(index / 100, 3, 10, QLatin1Char('0')).arg(index % 100);
    FileGrant sourceGrant(QStringLiteral("/media/CARD 1"));
    sourceGrant.bookmark = QByteArray("\x00\x01opaque\xff", 9);
    std::optional<QString> copy, output;
    std::optional<TranscodePreset> preset;
    std::optional<ChecksumAlgorithm> checksum;
    if (operation.copies()) {
        copy = QStringLiteral("/projects/Doc/02_FOOTAGE/ORIGINALS/CARD 1/CLIP/") + name;
        checksum = ChecksumAlgorithm(ChecksumAlgorithm::allCases[std::size_t(index) % 3]);
    }
    if (operation.transcodes()) {
        output = QStringLiteral("/projects/Doc/02_FOOTAGE/PROXIES/A%1_PROXY.mov").arg(index);
        preset = samplePreset(QStringLiteral("Proxy %1").arg(index), index % 2 == 0, index % 3 != 0);
    }
    MediaJob job = MediaJob::make(QStringLiteral("/media/CARD 1/CLIP/") + name, sourceGrant,
                                  QStringLiteral("/projects/Doc"), FileGrant(QStringLiteral("/projects/Doc")), copy,
                                  output, operation, preset, checksum, 734003200 + index,
                                  Timestamp::fromTimespec({1731690000 + index, 123456789}));
    job.status = status;
    job.progress = 0.25 + 0.001 * index;
    job.phaseProgress = 0.1;
    job.elapsed = 12.75;
    if (status.final()) {
        job.started = Timestamp::fromUnixSeconds(1731690100.5 + index);
        job.finished = Timestamp::fromUnixSeconds(1731690160.25 + index);
    }
    if (status == JobStatus::failed || status == JobStatus::cancelled)
        job.error = QStringLiteral("Checksum mismatch. The copy was discarded; the source is untouched.");
    if (status == JobStatus::complete && checksum) {
        job.sourceHash = job.destinationHash = QStringLiteral("0123456789abcdef");
        job.copyCommitted = true;
    }
    return job;
}

AppState fullState()
{
    AppState state;
    state.templates = {ProjectTemplate{QUuid::createUuid(), "Shoot", {"{DATE}/{CLIENT}", "02_FOOTAGE/ORIGINALS"}},
                       ProjectTemplate{QUuid::createUuid(), "Single", {"A"}}};
    state.presets = {samplePreset("Both", true, true), samplePreset("Neither", false, false),
                     samplePreset("Finishing only", true, false), samplePreset("Encoding only", false, true)};
    for (const auto operation : JobOperation::allCases)
        for (const auto status : JobStatus::allCases)
            state.jobs.push_back(sampleJob(operation, status, int(state.jobs.size())));
    state.project = ProjectContext{"Doc", "Acme", "2026-03-01", "/projects/Doc"};
    state.projectGrant = FileGrant("/projects/Doc");
    WatchFolder rule = WatchFolder::make(FileGrant("/media/Incoming"), FileGrant("/out"), samplePreset("Watch", false));
    rule.enabled = true;
    rule.seen.insert("/media/Incoming/Day1/A001.mov",
                     WatchFolder::versionSignature(10, Timestamp::fromUnixSeconds(1731690000.123456)));
    rule.seen.insert("/media/Incoming/B.mov", "11:1731690000.0");
    state.watches = {rule, WatchFolder::make(FileGrant("/a"), FileGrant("/b"), samplePreset("Idle", true, false))};
    state.ffmpeg = "/opt/ffmpeg/bin/ffmpeg";
    state.transcodeDestination = FileGrant("/renders");
    return state;
}

AppState stateWithJobs(int jobCount)
{
    AppState state = fullState();
    state.jobs.clear();
    for (int i = 0; i < jobCount; ++i)
        state.jobs.push_back(sampleJob(JobOperation::copyAndTranscode, JobStatus::complete, i));
    return state;
}

} // namespace vantor::test
