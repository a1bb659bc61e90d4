#include "ProbeCommand.h"

#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "base/JobControl.h"
#include "base/JsonCodec.h"
#include "transcode/TranscodeService.h"

#include <QFileInfo>
#include <QJsonArray>
#include <cstdio>

namespace vantor::cli {

int probeCommand(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("probe"), [&] {
        CommandParser parser(QStringLiteral("probe"),
            QStringLiteral("Shows what the media engine finds in each file, as JSON: one object "
                           "for one file, an array for several."));
        parser.addPositional(
            QStringLiteral("FILE"), QStringLiteral("A media file."), QStringLiteral("FILE..."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        const QStringList files = parser.positional();
        if (files.isEmpty())
            throw UsageError(QStringLiteral("Name at least one file to probe."));

        JobControl control;
        InterruptWatcher watcher([&control] { control.cancel(); });
        QJsonArray results;
        for (const QString &file : files)
            results.append(
                TranscodeService::probe(QFileInfo(file).absoluteFilePath(), QString(), control).toJson());
        const QByteArray text = JsonCodec::pretty(files.size() == 1 ? results.first() : QJsonValue(results));
        std::fwrite(text.constData(), 1, std::size_t(text.size()), stdout);
        return int(exitSuccess);
    });
}

} // namespace vantor::cli
