#include "ChecksumOption.h"
#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "ProgressBar.h"

#include "ingest/MediaIngestService.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>

namespace vantor::cli {

namespace {
const QUuid copyNamespace(QStringLiteral("{5C0B7E8A-3D1F-4E52-9A86-2F4C1D7B9E03}"));
} // namespace

int runCopy(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("copy"), [&] {
        CommandParser parser(QStringLiteral("copy"),
                             QStringLiteral("Copies one file exactly as the queue's copy phase does: through a hidden "
                                            "staging file, verified, published without replacing anything."));
        addAlgorithmOption(parser);
        parser.addFlag({QStringLiteral("no-verify")}, QStringLiteral("Copy without comparing digests."));
        parser.addValue({QStringLiteral("root")},
                        QStringLiteral("The destination folder TARGET must lie inside (default: TARGET's folder)."),
                        QStringLiteral("DIR"));
        parser.addPositional(QStringLiteral("SOURCE"), QStringLiteral("The file to copy."), QStringLiteral("SOURCE"));
        parser.addPositional(QStringLiteral("TARGET"), QStringLiteral("The copy's final path."), QStringLiteral("TARGET"));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (parser.positional().size() != 2)
            throw UsageError(QStringLiteral("copy takes a SOURCE and a TARGET"));
        const bool verify = !parser.isSet(QStringLiteral("no-verify"));
        if (!verify && parser.isSet(QStringLiteral("algorithm")))
            throw UsageError(QStringLiteral("--algorithm and --no-verify exclude each other"));
        const std::optional<ChecksumAlgorithm> checksum = verify ? std::optional(algorithmOption(parser)) : std::nullopt;

        for (const auto &[index, name] : {std::pair(0, "SOURCE"), std::pair(1, "TARGET")}) {
            if (parser.positional().at(index).isEmpty())
                throw UsageError(QStringLiteral("The %1 is an empty path.").arg(QLatin1String(name)));
        }

        const auto absolute = [](const QString &path) { return QDir::cleanPath(QFileInfo(path).absoluteFilePath()); };
        const QString target = absolute(parser.positional().at(1));
        const QString root = parser.isSet(QStringLiteral("root")) ? absolute(parser.value(QStringLiteral("root")))
                                                                  : QFileInfo(target).path();

        // The source is taken as an import would take it: a link is refused, and its size and
        // time now are the fingerprint it must keep until the copy is published.
        const std::vector<SourceFile> selected = MediaIngestService::scan({parser.positional().at(0)});
        const QString sourcePath = absolute(parser.positional().at(0));
        if (selected.size() != 1 || selected.front().url != sourcePath)
            throw VantorError(QStringLiteral("Select one regular file to copy: ") + sourcePath);
        const SourceFile &source = selected.front();

        MediaJob job = MediaJob::make(source.url, source.grant, root, FileGrant(root), target, std::nullopt,
                                      JobOperation::copy, std::nullopt, checksum, source.size, source.modified);
        // The id, and with it the staging file's name, follows from the target: a later copy to
        // the same target finds and removes what a killed one left.
        job.id = QUuid::createUuidV5(copyNamespace, target);
        JobControl control;
        InterruptWatcher watcher([&] { control.cancel(); });
        ProgressBar bar(QFileInfo(source.url).fileName());
        const auto result = [&] {
            try {
                return MediaIngestService::copy(job, control, [&](JobStatus phase, double fraction) {
                    job.reportPhaseProgress(phase, fraction);
                    // Verifying reads the source and the copy.
                    const bool verifying = phase == JobStatus::verifying;
                    bar.update(ProgressBar::Snapshot{QFileInfo(source.url).fileName(),
                                                     verifying ? QStringLiteral("verify") : QStringLiteral("copy"), fraction,
                                                     (verifying ? 2 : 1) * source.size, 0, 1,
                                                     qint64(job.progress * double(source.size)), source.size,
                                                     source.size / qint64(job.phases().size())});
                });
            } catch (const VantorError &) {
                // The copy's own words for a source that changed, not the queue's.
                try {
                    MediaIngestService::assertUnchanged(job);
                } catch (const VantorError &) {
                    throw VantorError(QStringLiteral("The source changed during the copy. Nothing was published: ")
                                      + source.url);
                }
                throw;
            }
        }();
        bar.finish();
        if (result.sourceHash && result.destinationHash)
            printLine(*result.sourceHash + QStringLiteral("  ") + *result.destinationHash);
        return int(exitSuccess);
    });
}

} // namespace vantor::cli
