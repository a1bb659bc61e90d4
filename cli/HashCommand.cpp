#include "ChecksumOption.h"
#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "ProgressBar.h"

#include "ingest/ChecksumService.h"
#include "base/VantorError.h"

#include <QFileInfo>

namespace vantor::cli {

int runHash(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("hash"), [&] {
        CommandParser parser(QStringLiteral("hash"), QStringLiteral("Prints the digest of each file, as the copy verification computes it."));
        addAlgorithmOption(parser);
        parser.addPositional(QStringLiteral("FILE"), QStringLiteral("Files to hash."), QStringLiteral("FILE..."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        const ChecksumAlgorithm algorithm = algorithmOption(parser);
        const QStringList files = parser.positional();
        if (files.isEmpty())
            throw UsageError(QStringLiteral("no file given"));

        JobControl control;
        InterruptWatcher watcher([&] { control.cancel(); });
        int status = exitSuccess;
        for (const QString &file : files) {
            try {
                ProgressBar bar(QFileInfo(file).fileName());
                const QString digest = ChecksumService::digest(file, algorithm, control, [&](double f) { bar.update(f); });
                bar.finish();
                printLine(digest + QStringLiteral("  ") + file);
            } catch (const CancellationError &) {
                throw;
            } catch (const std::exception &error) {
                // One unreadable file does not stop the others.
                printError(file + QStringLiteral(": ") + errorText(error));
                status = exitFailure;
            }
        }
        return status;
    });
}

} // namespace vantor::cli
