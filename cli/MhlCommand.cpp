#include "CommandLine.h"
#include "InterruptWatcher.h"

#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "mhl/ManifestXml.h"
#include "mhl/MhlGeneration.h"
#include "mhl/MhlHistory.h"
#include "mhl/MhlVerify.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

namespace vantor::cli {

namespace {

QString files(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(count);
}

// The one folder a subcommand works on, absolute; anything else is a usage error or a refusal.
QString folderArgument(const CommandParser &parser)
{
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("mhl %1 takes one DIR").arg(parser.command().section(u' ', 1)));
    const QString path = QDir::cleanPath(QFileInfo(parser.positional().first()).absoluteFilePath());
    if (!QFileInfo(path).isDir())
        throw VantorError(QStringLiteral("This is not a folder: %1").arg(path));
    return path;
}

int verify(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("mhl verify"),
        QStringLiteral("Re-hashes every file of a folder with an ASC MHL history in the format of its original record,\n"
                       "and reports changed, missing and new files. Exits 0 only when every file matches."));
    parser.addPositional(QStringLiteral("DIR"), QStringLiteral("The folder holding ascmhl/."), QStringLiteral("DIR"));
    if (!parser.parse(arguments))
        return exitSuccess;
    const QString scope = folderArgument(parser);
    JobControl control;
    InterruptWatcher watcher([&] { control.cancel(); });
    const MhlVerify::Result result = MhlVerify::verify(scope, control);
    for (const MhlVerify::Problem &problem : result.problems)
        printError(problem.message());
    if (!result.ok())
        throw VantorError(QStringLiteral("%1 of %2 in the folder do not match its ASC MHL history: %3")
                              .arg(result.problems.size()).arg(files(qsizetype(result.matched) + qsizetype(result.problems.size()))).arg(scope));
    printLine(QStringLiteral("%1 in the folder match its ASC MHL history: %2").arg(files(result.matched), scope));
    return exitSuccess;
}

QJsonObject generationJson(const MhlHistory::Generation &generation)
{
    const MhlManifest &manifest = generation.manifest;
    QJsonObject object{{"sequence", generation.sequence},
                       {"manifest", generation.fileName},
                       {"c4", generation.c4},
                       {"creationDate", ManifestXml::dateText(manifest.creationDate)},
                       {"hostName", manifest.hostName},
                       {"tool", manifest.toolName},
                       {"toolVersion", manifest.toolVersion},
                       {"process", manifest.process},
                       {"files", int(std::count_if(manifest.entries.begin(), manifest.entries.end(),
                                                    [](const MhlEntry &e) { return !e.isDirectory; }))}};
    QJsonArray roots;
    for (std::size_t i = 0; i < manifest.rootContent.size() && i < manifest.rootStructure.size(); ++i)
        roots.append(QJsonObject{{"format", HashFormats::name(manifest.rootContent[i].format)},
                                 {"content", manifest.rootContent[i].value},
                                 {"structure", manifest.rootStructure[i].value}});
    object.insert("rootHashes", roots);
    return object;
}

int info(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("mhl info"),
        QStringLiteral("Lists the generations of a folder's ASC MHL history: date, creator, process and root hash."));
    parser.addFlag({QStringLiteral("json")}, QStringLiteral("Print the history as a JSON object."));
    parser.addPositional(QStringLiteral("DIR"), QStringLiteral("The folder holding ascmhl/."), QStringLiteral("DIR"));
    if (!parser.parse(arguments))
        return exitSuccess;
    const QString scope = folderArgument(parser);
    const MhlHistory::History history = MhlHistory::read(scope);
    QJsonArray generations;
    for (const MhlHistory::Generation &generation : history.generations)
        generations.append(generationJson(generation));
    if (parser.isSet(QStringLiteral("json"))) {
        QTextStream(stdout) << JsonCodec::pretty(QJsonObject{{"folder", scope}, {"generations", generations}});
        return exitSuccess;
    }
    for (const QJsonValue &value : generations) {
        const QJsonObject g = value.toObject();
        QString root;
        for (const QJsonValue &hash : g["rootHashes"].toArray())
            root += QStringLiteral("  root %1 %2 (content) %3 (structure)")
                        .arg(hash["format"].toString(), hash["content"].toString(), hash["structure"].toString());
        printLine(QStringLiteral("%1  %2  %3 %4 on %5  %6, %7 files%8")
                      .arg(g["sequence"].toInt(), 4, 10, QLatin1Char('0'))
                      .arg(g["creationDate"].toString(), g["tool"].toString(), g["toolVersion"].toString(),
                           g["hostName"].toString(), g["process"].toString())
                      .arg(g["files"].toInt())
                      .arg(root));
    }
    return exitSuccess;
}

int create(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("mhl create"),
        QStringLiteral("Seals a folder in place as a new generation of its ASC MHL history (the first one makes\n"
                       "the history). Files already recorded are verified; a mismatch is recorded as failed\n"
                       "and the command exits 1."));
    parser.addValue({QStringLiteral("f"), QStringLiteral("format")},
                    QStringLiteral("The hash format of new hashes: xxh64 (default), md5, sha1 or c4."), QStringLiteral("FORMAT"));
    parser.addPositional(QStringLiteral("DIR"), QStringLiteral("The folder to seal."), QStringLiteral("DIR"));
    if (!parser.parse(arguments))
        return exitSuccess;
    MhlGeneration::Request request;
    if (parser.isSet(QStringLiteral("format"))) {
        const std::optional<HashFormat> format = HashFormats::fromName(parser.value(QStringLiteral("format")));
        if (!format || !HashFormats::computable(*format))
            throw UsageError(QStringLiteral("unknown format \"%1\" (xxh64, md5, sha1 or c4)").arg(parser.value(QStringLiteral("format"))));
        request.format = *format;
    }
    request.scope = folderArgument(parser);
    JobControl control;
    InterruptWatcher watcher([&] { control.cancel(); });
    const MhlGeneration::Result result = MhlGeneration::write(request, control);
    printLine(result.manifestPath);
    printLine(QStringLiteral("root %1 %2 (content) %3 (structure)")
                  .arg(HashFormats::name(request.format), result.rootContent, result.rootStructure));
    for (const QString &path : result.failed)
        printError(QStringLiteral("A file does not match its ASC MHL history and is recorded as failed: %1").arg(path));
    if (!result.failed.isEmpty())
        throw VantorError(QStringLiteral("%1 failed verification against the ASC MHL history: %2")
                              .arg(files(result.failed.size()), request.scope));
    return exitSuccess;
}

void printUsage()
{
    QTextStream(stdout) << "Usage: vantor mhl COMMAND [OPTIONS] DIR\n\n"
                           "Reads, checks and writes ASC MHL histories (the ascmhl/ folder of a card or folder).\n\n"
                           "Commands:\n"
                           "  verify      Re-hash a folder's files against its history.\n"
                           "  info        List the generations of a folder's history.\n"
                           "  create      Seal a folder in place as a new generation.\n\n"
                           "Run 'vantor mhl COMMAND --help' for a command's options.\n";
}

} // namespace

int mhlCommand(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("mhl"), [&] {
        const QString sub = arguments.value(0);
        if (sub == QLatin1String("verify"))
            return verify(arguments.mid(1));
        if (sub == QLatin1String("info"))
            return info(arguments.mid(1));
        if (sub == QLatin1String("create"))
            return create(arguments.mid(1));
        if (sub == QLatin1String("-h") || sub == QLatin1String("--help")) {
            printUsage();
            return int(exitSuccess);
        }
        throw UsageError(sub.isEmpty() ? QStringLiteral("mhl needs a command: verify, info or create.")
                                       : QStringLiteral("unknown mhl command: ") + sub);
    });
}

} // namespace vantor::cli
