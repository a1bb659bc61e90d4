#include "CommandLine.h"

#include "ingest/MediaIngestService.h"
#include "base/JsonCodec.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>
#include <cstdio>

namespace vantor::cli {

int runScan(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("scan"), [&] {
        CommandParser parser(QStringLiteral("scan"),
                             QStringLiteral("Lists the files an import of the given files and folders would copy."));
        parser.addFlag({QStringLiteral("json")}, QStringLiteral("Print a JSON array of {url, relative, size, modified}."));
        parser.addPositional(QStringLiteral("PATH"), QStringLiteral("Files and folders, as they would be dropped."),
                             QStringLiteral("PATH..."));
        if (!parser.parse(arguments))
            return int(exitSuccess);
        if (parser.positional().isEmpty())
            throw UsageError(QStringLiteral("no path given"));

        const std::vector<SourceFile> files = MediaIngestService::scan(parser.positional());
        if (parser.isSet(QStringLiteral("json"))) {
            QTextStream out(stdout);
            QJsonArray array;
            for (const SourceFile &file : files)
                array.append(QJsonObject{{QStringLiteral("url"), JsonCodec::fileUrl(file.url)},
                                         {QStringLiteral("relative"), file.relative},
                                         {QStringLiteral("size"), file.size},
                                         {QStringLiteral("modified"), JsonCodec::date(file.modified)}});
            out << JsonCodec::pretty(array);
        } else {
            // One buffer and one write: a card lists tens of thousands of lines.
            QByteArray lines;
            for (const SourceFile &file : files) {
                lines += QByteArray::number(file.size);
                lines += '\t';
                lines += file.relative.toUtf8();
                lines += '\n';
            }
            std::fwrite(lines.constData(), 1, size_t(lines.size()), stdout);
        }
        return int(exitSuccess);
    });
}

} // namespace vantor::cli
