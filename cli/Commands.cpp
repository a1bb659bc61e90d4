#include "Commands.h"

#include "CommandLine.h"
#include "PresetsCommand.h"
#include "ProbeCommand.h"

#include <QFileInfo>
#include <QTextStream>
#include <QUrl>

namespace vantor::cli {

int projectCommand(const QStringList &arguments);
int runHash(const QStringList &arguments);
int runScan(const QStringList &arguments);
int runCopy(const QStringList &arguments);
int runTranscode(const QStringList &arguments);
int runPreview(const QStringList &arguments);
int queueCommand(const QStringList &arguments);
int runIngest(const QStringList &arguments);
int runWatch(const QStringList &arguments);
int mhlCommand(const QStringList &arguments);
int runSelfTest();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        {"hash", "Print the digest of files (xxHash64, MD5 or SHA-256)", runHash},
        {"scan", "List the files an import of files and folders would copy", runScan},
        {"copy", "Copy one file with verification, as the queue does", runCopy},
        {"probe", "Show what the media engine finds in media files", probeCommand},
        {"presets", "List, save and remove the transcode presets", presetsCommand},
        {"transcode", "Transcode files with a preset, validated and published as the queue does", runTranscode},
        {"preview", "Render a processed frame or a test clip with a preset", runPreview},
        {"project", "Create a project from a folder template, or list the templates", projectCommand},
        {"queue", "List, add to, run and change the stored queue", queueCommand},
        {"ingest", "Queue sources into a project as the Import page does, and run the queue", runIngest},
        {"watch", "Manage and run the folder-automation rules", runWatch},
        {"mhl", "Verify, list and write ASC MHL histories (chain of custody)", mhlCommand},
    };
    return all;
}

namespace {

void printHelp()
{
    QTextStream out(stdout);
    out << "Usage: vantor [--self-test] [COMMAND [OPTIONS] [ARGUMENTS]]\n"
           "       vantor [PATH | FILE-URL]...\n\n"
           "Copies camera media into a project with checksum verification and makes proxies\n"
           "and deliverables from it. Without a command it opens the window; files and folders\n"
           "given instead arrive on its Import page. The commands below do the work headless.\n\n"
           "Options:\n"
           "  -h, --help      Show this help and exit.\n"
           "  -v, --version   Show the version and exit.\n"
           "  --self-test     Run the built-in end-to-end self-test.\n\n"
           "Commands:\n";
    for (const Command &command : commands())
        out << "  " << QString::fromLatin1(command.name).leftJustified(14) << "  " << command.summary << '\n';
    out << "\nRun 'vantor COMMAND --help' for a command's options.\n";
}

} // namespace

bool opensWindow(const QStringList &arguments, QStringList *received)
{
    QStringList paths;
    for (const QString &argument : arguments) {
        const bool isCommand = std::any_of(commands().begin(), commands().end(), [&](const Command &command) {
            return argument == QLatin1String(command.name);
        });
        if (isCommand || argument.startsWith(u'-'))
            return false;
        const QUrl url(argument);
        const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
        if (!QFileInfo::exists(path))
            return false;
        paths << QFileInfo(path).absoluteFilePath();
    }
    if (received)
        *received = paths;
    return true;
}

bool drawsPages(const QStringList &arguments)
{
    if (arguments.size() < 2 || arguments[0] != QLatin1String("queue") || arguments[1] != QLatin1String("report"))
        return false;
    const qsizetype format = arguments.indexOf(QStringLiteral("--format"));
    return arguments.contains(QStringLiteral("--format=pdf"))
        || (format >= 0 && arguments.value(format + 1) == QLatin1String("pdf"));
}

int dispatch(const QStringList &arguments)
{
    if (arguments.isEmpty()) {
        printError(QStringLiteral("The window needs a display. Run 'vantor --help' for the commands."));
        return exitFailure;
    }
    const QString first = arguments.first();
    if (first == QLatin1String("--self-test")) {
        if (arguments.size() > 1) {
            printError(QStringLiteral("--self-test takes no arguments"));
            QTextStream(stderr) << "Try 'vantor --help' for more information.\n";
            return exitUsage;
        }
        return runSelfTest();
    }
    if (first == QLatin1String("-h") || first == QLatin1String("--help")) {
        printHelp();
        return exitSuccess;
    }
    if (first == QLatin1String("-v") || first == QLatin1String("--version")) {
        printLine(QStringLiteral("vantor " VANTOR_VERSION));
        return exitSuccess;
    }
    for (const Command &command : commands()) {
        if (first == QLatin1String(command.name))
            return command.run(arguments.mid(1));
    }
    printError(first.startsWith(QLatin1Char('-')) ? QStringLiteral("unknown option: ") + first
                                                  : QStringLiteral("unknown command: ") + first);
    QTextStream(stderr) << "Try 'vantor --help' for more information.\n";
    return exitUsage;
}

} // namespace vantor::cli
