#include "CommandLine.h"
#include "InterruptWatcher.h"
#include "PresetOptions.h"

#include "transcode/BurnInService.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodeService.h"

#include <QDir>
#include <QFileInfo>
#include <cmath>

namespace vantor::cli {

int runPreview(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("preview"), [&] {
        CommandParser parser(QStringLiteral("preview"),
                             QStringLiteral("Renders one processed frame (PNG) or a five-second test clip of SOURCE "
                                            "with a preset, prints its path and the preset's size estimate. The "
                                            "preview stays in a vantor-preview- folder in the temporary directory."));
        addPresetOptions(parser);
        parser.addValue({QStringLiteral("at")}, QStringLiteral("Position in seconds (default 0)."),
                        QStringLiteral("SECONDS"));
        parser.addFlag({QStringLiteral("clip")}, QStringLiteral("Encode a test clip of up to five seconds instead."));
        parser.addPositional(QStringLiteral("SOURCE"), QStringLiteral("A video file."), QStringLiteral("SOURCE"));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (parser.positional().size() != 1)
            throw UsageError(QStringLiteral("preview takes one SOURCE."));
        const ChosenPreset chosen = chosenPreset(parser);
        const double at = parser.isSet(QStringLiteral("at")) ? parser.numberValue(QStringLiteral("at")) : 0.0;
        if (!std::isfinite(at) || at < 0)
            throw UsageError(QStringLiteral("--at takes a position in seconds from 0, not \"%1\".")
                                 .arg(parser.value(QStringLiteral("at"))));
        const QString source = QDir::cleanPath(QFileInfo(parser.positional().first()).absoluteFilePath());

        JobControl control;
        InterruptWatcher watcher([&] { control.cancel(); });
        const MediaInfo info = TranscodeService::probe(source, chosen.engine, control);
        // Never moved into the clip silently: the frame shown would not be the one asked for.
        if (info.duration > 0 && at >= info.duration)
            throw UsageError(QStringLiteral("--at is past the end of the clip, which runs %1 seconds.")
                                 .arg(QString::number(info.duration, 'f', 2)));
        const QString rendered = PreviewService::render(source, chosen.preset, at, parser.isSet(QStringLiteral("clip")),
                                                        chosen.engine, control);
        printLine(rendered);
        printLine(PreviewService::estimatedSize(chosen.preset, info));
        // The preview is where a missing glyph shows first; say why the boxes are there.
        const QString missing = BurnInService::uncoveredCharacters(BurnInService::labelText(source, chosen.preset.finish()));
        if (!missing.isEmpty())
            printLine(QStringLiteral("No installed font has %1, so the burn-in draws %2 as empty boxes. Install a font "
                                     "that has %2, such as fonts-noto-cjk for Chinese, Japanese and Korean.")
                          .arg(missing, missing.toUcs4().size() == 1 ? QStringLiteral("it") : QStringLiteral("them")));
        return int(exitSuccess);
    });
}

} // namespace vantor::cli
