// The transcode phase against bare ffmpeg running the same argument vector, side by side in one
// run: what probing, burn-in preparation, progress parsing, validation, sync and publish add to
// an encode. 10-second 1920×1080 clip to "Review File"; target: ratio at most 1.05.
#include "ingest/MediaIngestService.h"
#include "base/JobControl.h"
#include "jobs/MediaJob.h"
#include "presets/PresetService.h"
#include "transcode/TranscodePhase.h"
#include "transcode/TranscodeService.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <vector>

using namespace vantor;

namespace {

bool makeSource(const QString &path)
{
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 {QStringLiteral("-y"), QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                  QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("testsrc2=size=1920x1080:rate=25:duration=10"), QStringLiteral("-f"),
                  QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("sine=sample_rate=48000:duration=10"),
                  QStringLiteral("-ac"), QStringLiteral("2"), QStringLiteral("-c:v"), QStringLiteral("libx264"),
                  QStringLiteral("-preset"), QStringLiteral("ultrafast"), QStringLiteral("-pix_fmt"),
                  QStringLiteral("yuv420p"), QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"),
                  QStringLiteral("-timecode"), QStringLiteral("01:00:00:00"), path});
    return ffmpeg.waitForFinished(-1) && ffmpeg.exitCode() == 0;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QTemporaryDir work;
    const QString source = work.filePath(QStringLiteral("A001C001.mov"));
    if (!makeSource(source)) {
        std::fprintf(stderr, "could not make the source clip\n");
        return 1;
    }
    TranscodePreset preset;
    for (const TranscodePreset &candidate : PresetService::defaults())
        if (candidate.name == QLatin1String("Review File"))
            preset = candidate;
    // The fingerprint as the queue takes it when the job is added.
    const SourceFile file = MediaIngestService::scan({source}).front();

    std::vector<double> phase;
    std::vector<double> bare;
    constexpr int rounds = 3;
    try {
        for (int round = 0; round < rounds; ++round) {
            // Alternating which goes first spreads any drift of the machine over both.
            const auto runPhase = [&] {
                // The phase: probe, burn-ins, engine, validation probe, sync, publish.
                const MediaJob job = MediaJob::make(file.url, file.grant, work.path(), FileGrant(work.path()),
                                                    std::nullopt, work.filePath(QStringLiteral("phase%1.mp4").arg(round)),
                                                    JobOperation::transcode, preset, std::nullopt, file.size,
                                                    file.modified);
                JobControl control;
                QElapsedTimer timer;
                timer.start();
                TranscodeService::transcode(job, {}, control, [](double) {});
                phase.push_back(double(timer.nsecsElapsed()) / 1e9);
            };
            const auto runBare = [&] {
                // Bare ffmpeg with the same vector, probed beforehand outside the timing.
                JobControl control;
                const MediaInfo info = TranscodeService::probe(source, {}, control);
                const QStringList vector = TranscodeService::arguments(
                    source, work.filePath(QStringLiteral("bare%1.mp4").arg(round)), preset, info, {});
                QProcess ffmpeg;
                ffmpeg.setStandardInputFile(QProcess::nullDevice());
                ffmpeg.setProcessChannelMode(QProcess::MergedChannels);
                QElapsedTimer timer;
                timer.start();
                ffmpeg.start(QStringLiteral("/usr/bin/ffmpeg"), vector);
                ffmpeg.waitForFinished(-1);
                bare.push_back(double(timer.nsecsElapsed()) / 1e9);
                if (ffmpeg.exitStatus() != QProcess::NormalExit || ffmpeg.exitCode() != 0)
                    throw std::runtime_error("bare ffmpeg failed: " + ffmpeg.readAll().toStdString());
            };
            if (round % 2 == 0) {
                runPhase();
                runBare();
            } else {
                runBare();
                runPhase();
            }
            std::printf("round %d: phase %.3f s, bare ffmpeg %.3f s\n", round + 1, phase.back(), bare.back());
            std::fflush(stdout);
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "transcode failed: %s\n", error.what());
        return 1;
    }
    const double ratio = median(phase) / median(bare);
    std::printf("transcode phase / bare ffmpeg (Review File, 10 s 1920x1080): %.3f (target <= 1.05; medians %.3f s "
                "and %.3f s)\n",
                ratio, median(phase), median(bare));
    return 0;
}
