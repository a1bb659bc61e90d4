#include "CommandLine.h"
#include "SavedState.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "projects/ProjectCreationService.h"
#include "projects/ProjectTemplateService.h"

#include <QDate>
#include <QJsonArray>
#include <QLocale>
#include <QTextStream>

namespace vantor::cli {

namespace {

// The templates the window would offer: the stored ones when a state file exists, else the
// built-ins. A state file that cannot be read is reported and left exactly as it is; this
// command never writes the state.
std::vector<ProjectTemplate> availableTemplates()
{
    return readSavedState().templates;
}

ProjectTemplate findTemplate(const QString &name)
{
    const std::vector<ProjectTemplate> templates = availableTemplates();
    for (const ProjectTemplate &candidate : templates) {
        if (candidate.name == name)
            return candidate;
    }
    // Forgive the letter case when it names exactly one template.
    const ProjectTemplate *match = nullptr;
    for (const ProjectTemplate &candidate : templates) {
        if (candidate.name.compare(name, Qt::CaseInsensitive) == 0) {
            if (match)
                match = nullptr;
            else
                match = &candidate;
        }
    }
    if (match)
        return *match;
    throw UsageError(QStringLiteral("--template names no template \u201C") + name
        + QStringLiteral("\u201D. Run 'vantor project templates' for the list."));
}

int create(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("project create"),
        QStringLiteral("Creates a project folder from a template inside PARENT and prints its path."));
    parser.addValue({ QStringLiteral("t"), QStringLiteral("template") },
        QStringLiteral("The template's name."), QStringLiteral("NAME"));
    parser.addValue({ QStringLiteral("n"), QStringLiteral("name") }, QStringLiteral("The project's name."),
        QStringLiteral("NAME"));
    parser.addValue({ QStringLiteral("c"), QStringLiteral("client") },
        QStringLiteral("The client (default: none)."), QStringLiteral("TEXT"));
    parser.addValue({ QStringLiteral("d"), QStringLiteral("date") },
        QStringLiteral("The project date, yyyy-MM-dd (default: today)."), QStringLiteral("DATE"));
    parser.addPositional(QStringLiteral("PARENT"), QStringLiteral("The folder that receives the project."),
        QStringLiteral("PARENT"));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.isSet(QStringLiteral("template")))
        throw UsageError(QStringLiteral("--template is required."));
    if (!parser.isSet(QStringLiteral("name")))
        throw UsageError(QStringLiteral("--name is required."));
    if (parser.positional().size() != 1)
        throw UsageError(QStringLiteral("Give exactly one parent folder."));

    const QLocale posix(QLocale::C);
    QString date = posix.toString(QDate::currentDate(), QStringLiteral("yyyy-MM-dd"));
    if (parser.isSet(QStringLiteral("date"))) {
        date = parser.value(QStringLiteral("date"));
        const QDate parsed = QDate::fromString(date, QStringLiteral("yyyy-MM-dd"));
        if (!parsed.isValid() || posix.toString(parsed, QStringLiteral("yyyy-MM-dd")) != date)
            throw UsageError(QStringLiteral("--date takes a date as yyyy-MM-dd, not \"%1\".").arg(date));
    }

    const ProjectTemplate chosen = findTemplate(parser.value(QStringLiteral("template")));
    const ProjectContext context = ProjectCreationService::create(parser.value(QStringLiteral("name")),
        parser.value(QStringLiteral("client")), date, parser.positional().first(), chosen);
    printLine(context.root);
    return exitSuccess;
}

int templates(const QStringList &arguments)
{
    CommandParser parser(QStringLiteral("project templates"),
        QStringLiteral("Lists the project templates and their folders."));
    parser.addFlag({ QStringLiteral("json") }, QStringLiteral("Print the templates as a JSON array."));
    if (!parser.parse(arguments))
        return exitSuccess;
    if (!parser.positional().isEmpty())
        throw UsageError(QStringLiteral("project templates takes no arguments."));

    const std::vector<ProjectTemplate> list = availableTemplates();
    if (parser.isSet(QStringLiteral("json"))) {
        QJsonArray array;
        for (const ProjectTemplate &entry : list)
            array.append(entry.toJson());
        QTextStream(stdout) << JsonCodec::pretty(array);
        return exitSuccess;
    }
    for (const ProjectTemplate &entry : list) {
        printLine(entry.name);
        for (const QString &folder : entry.folders)
            printLine(QStringLiteral("  ") + folder);
    }
    return exitSuccess;
}

void printUsage()
{
    QTextStream(stdout) << "Usage: vantor project COMMAND [OPTIONS]\n\n"
                           "Commands:\n"
                           "  create      Create a project folder from a template.\n"
                           "  templates   List the project templates and their folders.\n\n"
                           "Run 'vantor project COMMAND --help' for a command's options.\n";
}

} // namespace

int projectCommand(const QStringList &arguments)
{
    return runGuarded(QStringLiteral("project"), [&] {
        const QString sub = arguments.value(0);
        if (sub == QLatin1String("create"))
            return create(arguments.mid(1));
        if (sub == QLatin1String("templates"))
            return templates(arguments.mid(1));
        if (sub == QLatin1String("-h") || sub == QLatin1String("--help")) {
            printUsage();
            return int(exitSuccess);
        }
        throw UsageError(sub.isEmpty() ? QStringLiteral("project needs a command: create or templates.")
                                       : QStringLiteral("unknown project command: ") + sub);
    });
}

} // namespace vantor::cli
