// vantor project templates and vantor project create.
#include "CliTest.h"
#include "base/JsonCodec.h"
#include "projects/ProjectTemplateService.h"

#include <QDate>
#include <QJsonArray>
#include <QRegularExpression>

using namespace vantor;
using namespace vantor::test;

namespace {

class ProjectCommand : public CliTest {
protected:
    QString parent = dir.makeDir("parent");
};

// Without a state file the built-in templates are listed, and every one creates its project by
// its name ("DIT / offload" included), dated today.
TEST_F(ProjectCommand, BuiltInTemplatesAreListedAndEachCreatesItsProject)
{
    QStringList expected;
    for (const ProjectTemplate &entry : ProjectTemplateService::defaults())
        expected << entry.name << QStringList(entry.folders).replaceInStrings(QRegularExpression("^"), "  ");
    EXPECT_EQ(vantor({"project", "templates"}).outText(), expected.join('\n') + '\n');
    const QJsonArray array = JsonCodec::parse(vantor({"project", "templates", "--json"}).out).toArray();
    ASSERT_EQ(array.size(), 7);
    EXPECT_EQ(ProjectTemplate::fromJson(array[6]).folders, ProjectTemplateService::defaults()[6].folders);
    EXPECT_FALSE(QFileInfo::exists(support)) << "listing writes no state";

    for (const ProjectTemplate &entry : ProjectTemplateService::defaults()) {
        const QString folder = dir.makeDir("each-" + entry.id.toString(QUuid::WithoutBraces));
        const ProcessResult created = vantor({"project", "create", "-t", entry.name, "-n", "Day 1", "--client", "Acme", folder});
        ASSERT_EQ(created.exitCode, 0) << entry.name.toStdString() << ": " << created.err.constData();
        for (const QString &path : entry.folders)
            EXPECT_TRUE(QFileInfo(folder + "/Day 1/" + path).isDir()) << entry.name.toStdString() << " " << path.toStdString();
        const auto context = ProjectContext::fromJson(JsonCodec::parse(readFile(folder + "/Day 1/Project.vantor")));
        EXPECT_EQ(std::make_pair(context.date, context.client), std::make_pair(QDate::currentDate().toString("yyyy-MM-dd"), QString("Acme")));
    }
}

TEST_F(ProjectCommand, UsesTheStoredTemplatesWhenAStateFileExists)
{
    AppState state;
    state.templates = {ProjectTemplate{QUuid::createUuid(), "Shoot", {"{DATE}/{CLIENT}", "02_FOOTAGE/ORIGINALS"}}};
    StateStore::save(state, support);
    const QByteArray saved = readFile(support + "/state.json");
    EXPECT_EQ(vantor({"project", "templates"}).outText(), "Shoot\n  {DATE}/{CLIENT}\n  02_FOOTAGE/ORIGINALS\n");
    const ProcessResult created = vantor({"project", "create", "--template", "shoot", "-n", " Doc ", "-c", "Acme", "-d", "2026-03-01", parent});
    ASSERT_EQ(created.exitCode, 0) << created.err.constData();
    EXPECT_EQ(created.outText(), parent + "/Doc\n");
    EXPECT_EQ(listTree(parent), QStringList({"Doc/", "Doc/02_FOOTAGE/", "Doc/02_FOOTAGE/ORIGINALS/", "Doc/2026-03-01/",
                                             "Doc/2026-03-01/Acme/", "Doc/Project.vantor"}));
    EXPECT_EQ(readFile(support + "/state.json"), saved);
    const ProcessResult builtIn = vantor({"project", "create", "-t", "Commercial", "-n", "X", parent});
    EXPECT_EQ(builtIn.exitCode, 2);
    EXPECT_TRUE(builtIn.errText().startsWith("vantor: --template names no template \u201CCommercial\u201D. Run 'vantor project templates' for the list.\n"));
}

// Kills `vantor project create` before and after each of its file operations in turn: the
// parent then holds the complete project or none (a hidden staging folder at most).
TEST_F(ProjectCommand, AKilledCreationLeavesTheWholeProjectOrNone)
{
    const QStringList arguments{"project", "create", "-t", "Music video", "-n", "Doc", "-d", "2026-03-01"};
    environment.insert("VANTOR_FAULT_TRACE", dir.file("trace"));
    ASSERT_EQ(vantor(arguments + QStringList{parent}).exitCode, 0);
    environment.remove("VANTOR_FAULT_TRACE");
    const QStringList complete = listTree(parent);
    const qsizetype operations = readFile(dir.file("trace")).count('\n');
    ASSERT_GT(operations, 20);
    int whole = 0, none = 0;
    for (const char *variable : {"VANTOR_FAULT_KILL_BEFORE", "VANTOR_FAULT_KILL_AFTER"}) {
        for (qsizetype operation = 1; operation <= operations; ++operation) {
            const QString killedParent = dir.makeDir(QString("%1-%2").arg(variable).arg(operation));
            environment.insert(variable, QString::number(operation));
            EXPECT_EQ(vantor(arguments + QStringList{killedParent}).exitCode, -1) << variable << "=" << operation << " did not kill";
            environment.remove(variable);
            const QStringList tree = listTree(killedParent);
            tree == complete ? ++whole : ++none;
            EXPECT_TRUE(tree == complete || tree.filter(QRegularExpression("^(?!\\.vantor-project-)")).isEmpty())
                << variable << "=" << operation << " left " << tree.join(' ').toStdString();
        }
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(none, 0);
}

} // namespace
