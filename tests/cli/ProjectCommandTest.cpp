#include "model/JsonCodec.h"
#include "model/StateStore.h"
#include "projects/ProjectTemplateService.h"

#include "ChildProcess.h"
#include "TempDir.h"

#include <QDate>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class ProjectCommand : public testing::Test {
protected:
    QProcessEnvironment environment(const char *name = nullptr, const QString &value = {}) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VANTOR_SUPPORT_DIR", m_support.path());
        if (name)
            env.insert(name, value);
        return env;
    }
    ProcessResult vantor(const QStringList &arguments) const { return runVantor(arguments, environment()); }

    TempDir m_support;
    TempDir m_parent;
};

TEST_F(ProjectCommand, BuiltInTemplatesWithoutAStateFileAndTodaysDate)
{
    QStringList expected;
    for (const ProjectTemplate &entry : ProjectTemplateService::defaults())
        expected << entry.name << QStringList(entry.folders).replaceInStrings(QRegularExpression("^"), "  ");
    EXPECT_EQ(vantor({"project", "templates"}).outText(), expected.join('\n') + '\n');
    const QJsonArray array = JsonCodec::parse(vantor({"project", "templates", "--json"}).out).toArray();
    ASSERT_EQ(array.size(), 7);
    EXPECT_EQ(ProjectTemplate::fromJson(array[6]).folders, ProjectTemplateService::defaults()[6].folders);
    EXPECT_EQ(listTree(m_support.path()), QStringList()) << "listing writes no state";

    const ProcessResult created = vantor({"project", "create", "-t", "Post handoff", "-n", "Doc", "--client", "Acme", m_parent.path()});
    ASSERT_EQ(created.exitCode, 0) << created.err.constData();
    const auto context = ProjectContext::fromJson(JsonCodec::parse(readFile(m_parent.file("Doc/Project.vantor"))));
    EXPECT_EQ(std::make_pair(context.date, context.client), std::make_pair(QDate::currentDate().toString("yyyy-MM-dd"), QString("Acme")));
    EXPECT_TRUE(QFileInfo(m_parent.file("Doc/03_AUDIO/AAF")).isDir());
}

TEST_F(ProjectCommand, UsesTheStoredTemplatesWhenAStateFileExists)
{
    AppState state;
    state.templates = {ProjectTemplate{QUuid::createUuid(), "Shoot", {"{DATE}/{CLIENT}", "02_FOOTAGE/ORIGINALS"}}};
    StateStore::save(state, m_support.path());
    const QByteArray saved = readFile(m_support.file("state.json"));
    EXPECT_EQ(vantor({"project", "templates"}).outText(), "Shoot\n  {DATE}/{CLIENT}\n  02_FOOTAGE/ORIGINALS\n");
    const ProcessResult created = vantor({"project", "create", "--template", "shoot", "-n", " Doc ", "-c", "Acme", "-d", "2026-03-01", m_parent.path()});
    ASSERT_EQ(created.exitCode, 0) << created.err.constData();
    EXPECT_EQ(created.outText(), m_parent.path() + "/Doc\n");
    EXPECT_EQ(listTree(m_parent.path()), QStringList({"Doc/", "Doc/02_FOOTAGE/", "Doc/02_FOOTAGE/ORIGINALS/",
                                                      "Doc/2026-03-01/", "Doc/2026-03-01/Acme/", "Doc/Project.vantor"}));
    EXPECT_EQ(readFile(m_support.file("state.json")), saved);
    const ProcessResult builtIn = vantor({"project", "create", "-t", "Commercial", "-n", "X", m_parent.path()});
    EXPECT_EQ(builtIn.exitCode, 1);
    EXPECT_EQ(builtIn.errText(), "vantor: No template named \u201CCommercial\u201D. Run 'vantor project templates' for the list.\n");
}

// Kills `vantor project create` before and after each of its file operations in turn: the
// parent then holds the complete project or none (a hidden staging folder at most).
TEST_F(ProjectCommand, AKilledCreationLeavesTheWholeProjectOrNone)
{
    const QStringList arguments{"project", "create", "-t", "Music video", "-n", "Doc", "-d", "2026-03-01"};
    TempDir reference;
    ASSERT_EQ(runVantor(arguments + QStringList{reference.path()}, environment("VANTOR_FAULT_TRACE", m_support.file("trace"))).exitCode, 0);
    const QStringList complete = listTree(reference.path());
    const qsizetype operations = readFile(m_support.file("trace")).count('\n');
    ASSERT_GT(operations, 20);
    int whole = 0, none = 0;
    for (const char *variable : {"VANTOR_FAULT_KILL_BEFORE", "VANTOR_FAULT_KILL_AFTER"}) {
        for (qsizetype operation = 1; operation <= operations; ++operation) {
            TempDir parent;
            const ProcessResult killed = runVantor(arguments + QStringList{parent.path()}, environment(variable, QString::number(operation)));
            EXPECT_EQ(killed.exitCode, -1) << variable << "=" << operation << " did not kill";
            const QStringList tree = listTree(parent.path());
            if (tree == complete) {
                ++whole;
                continue;
            }
            ++none;
            EXPECT_TRUE(tree.filter(QRegularExpression("^(?!\\.vantor-project-)")).isEmpty())
                << variable << "=" << operation << " left " << tree.join(' ').toStdString();
        }
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(none, 0);
}

} // namespace
