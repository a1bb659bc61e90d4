#include "transcode/TranscodePhase.h"

#include "ingest/MediaIngestService.h"
#include "files/SafeFiles.h"
#include "ingest/StagingFiles.h"
#include "base/FileIo.h"
#include "base/VantorError.h"
#include "transcode/BurnInService.h"
#include "transcode/TranscodeService.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <unistd.h>

namespace vantor::TranscodeService {

namespace {

const QString validationFailed = QStringLiteral("Output validation failed. The incomplete transcode was discarded.");

void removeIfPresent(int folder, const QByteArray &name) noexcept
{
    try {
        if (FileIo::existsAt(folder, name))
            FileIo::unlinkAt(folder, name);
    } catch (const std::system_error &) {
    }
}

// Removes the temporary output and the burn-in assets however the phase ends.
struct PhaseCleanup {
    int folder;
    const QByteArray &staging;
    BurnInAssets &assets;
    ~PhaseCleanup()
    {
        removeIfPresent(folder, staging);
        assets.cleanup();
    }
};

} // namespace

std::optional<double> progressFraction(const QString &line, double sourceDuration)
{
    static const QString key = QStringLiteral("out_time_us=");
    if (!line.startsWith(key) || !(sourceDuration > 0))
        return std::nullopt;
    bool ok = false;
    const double microseconds = QStringView(line).mid(key.size()).trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(microseconds))
        return std::nullopt;
    return std::clamp(microseconds / 1000000.0 / sourceDuration, 0.0, 0.99);
}

void validateOutput(const MediaInfo &output, double sourceDuration)
{
    if (output.width < 1 || !(output.duration > 0))
        throw VantorError(validationFailed);
    if (sourceDuration > 0) {
        const double tolerance = std::max(1.0, sourceDuration * 0.02);
        if (std::fabs(output.duration - sourceDuration) > tolerance)
            throw VantorError(
                QStringLiteral("The output duration does not match the source. Output was not committed."));
    }
}

QString pinnedPath(int folder, const QString &name)
{
    return QStringLiteral("/proc/%1/fd/%2/").arg(::getpid()).arg(folder) + name;
}

void transcode(const MediaJob &job, const QString &custom, JobControl &control,
               const std::function<void(double)> &progress,
               const std::function<void(const PublishRecord &)> &beforePublish)
{
    const auto report = [&](double fraction) {
        if (progress)
            progress(fraction);
    };
    if (!job.outputDestination || !job.preset)
        throw VantorError(QStringLiteral("Missing transcode settings."));
    const TranscodePreset &preset = *job.preset;
    const QString input = job.copyDestination.value_or(job.source);

    const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(
        *job.outputDestination,
        SafeFiles::grantedRoot(*job.outputDestination, job.destinationRoot, job.destinationGrant));
    const int folder = parent.folder.get();
    StagingFiles::holdFolder(folder);
    // Named after the job, so a retry after a crash finds and replaces what the killed attempt
    // left. No extension: the container is fixed by "-f", and nothing mistakes it for a result.
    const QString stagingText = StagingFiles::encodeName(job.id);
    const QByteArray staging = FileIo::encodeName(stagingText);
    removeIfPresent(folder, staging);
    // The engine opens its output by path: one through the folder descriptor opened by the walk,
    // so a folder swapped for a link afterwards is never followed, and the clean-up below, which
    // works through the same descriptor, finds whatever the engine wrote.
    // Without a /proc (some sandboxes), the folder's path is the only way left to name it.
    const QString pinnedFolder = pinnedPath(folder, {});
    const QString stagingPath = ::access(FileIo::encodeName(pinnedFolder).constData(), W_OK | X_OK) == 0
                                    ? pinnedFolder + stagingText
                                    : parent.path + QLatin1Char('/') + stagingText;
    BurnInAssets assets;
    const PhaseCleanup cleanup{folder, staging, assets};

    const MediaInfo info = probe(input, custom, control);
    if (info.width < 1)
        throw VantorError(QStringLiteral("No decodable picture in this file."));
    assets = BurnInService::prepare(input, preset, info);

    const QString engine = executable(custom, false);
    const QStringList vector = arguments(input, stagingPath, preset, info, assets.filters);
    run(engine, vector, control, [&](const QString &line) {
        if (const std::optional<double> fraction = progressFraction(line, info.duration))
            report(*fraction);
    });
    control.checkpoint();

    MediaInfo output;
    std::optional<PublishRecord> record;
    try {
        // The engine does not sync; the file must be on the device before its name is published.
        FileIo::UniqueFd written = FileIo::openAt(folder, staging, O_RDONLY | O_NOFOLLOW);
        FileIo::fsync(written.get());
        output = probe(stagingPath, custom, control);
        if (beforePublish)
            record = StagingFiles::record(written.get(), ChecksumAlgorithm::xxHash, control);
    } catch (const CancellationError &) {
        throw;
    } catch (const VantorError &) {
        throw VantorError(validationFailed);
    } catch (const DecodingError &) {
        throw VantorError(validationFailed);
    } catch (const std::system_error &error) {
        if (error.code().value() == ENOENT)
            throw VantorError(validationFailed);
        throw;
    }
    validateOutput(output, info.duration);

    if (!job.copyDestination)
        MediaIngestService::assertUnchanged(job);
    control.checkpoint();
    if (record) {
        beforePublish(*record);
        control.checkpoint();
    }
    SafeFiles::publish(parent, staging);
    report(1.0);
}

} // namespace vantor::TranscodeService
