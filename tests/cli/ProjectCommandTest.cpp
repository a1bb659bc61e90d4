#include "ChildProcess.h"
#include "SampleRecords.h"
#include "TempDir.h"
#include "model/JsonCodec.h"
#include "model/StateStore.h"
#include "projects/ProjectTemplateService.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class ProjectCommand : public testing::Test {
protected:
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VANTOR_SUPPORT_DIR", m_support.path());
        return env;
    }
    ProcessResult vantor(const QStringList &arguments) const { return runVantor(arguments, environment()); }

    TempDir m_support;
    TempDir m_parent;
};

TEST_F(ProjectCommand, ListsTheBuiltInsWithoutAStateFile)
{
    const ProcessResult plain = vantor({ "project", "templates" });
    ASSERT_EQ(plain.exitCode, 0) << plain.err.constData();
    QStringList expected;
    for (const ProjectTemplate &entry : ProjectTemplateService::defaults()) {
        expected << entry.name;
        for (const QString &folder : entry.folders)
            expected << "  " + folder;
    }
    EXPECT_EQ(plain.outText(), expected.join('\n') + '\n');

    const ProcessResult json = vantor({ "project", "templates", "--json" });
    ASSERT_EQ(json.exitCode, 0);
    const QJsonArray array = JsonCodec::parse(json.out).toArray();
    ASSERT_EQ(array.size(), 7);
    EXPECT_EQ(ProjectTemplate::fromJson(array[6]).folders, ProjectTemplateService::defaults()[6].folders);
    EXPECT_EQ(listTree(m_support.path()), QStringList()) << "listing writes no state";
}

TEST_F(ProjectCommand, UsesTheStoredTemplatesWhenAStateFileExists)
{
    AppState state = fullState();
    state.templates
        = { ProjectTemplate { QUuid::createUuid(), "Shoot", { "{DATE}/{CLIENT}", "02_FOOTAGE/ORIGINALS" } } };
    StateStore::save(state, m_support.path());
    const QByteArray saved = readFile(m_support.file("state.json"));

    EXPECT_EQ(
        vantor({ "project", "templates" }).outText(), "Shoot\n  {DATE}/{CLIENT}\n  02_FOOTAGE/ORIGINALS\n");
    const ProcessResult created = vantor({ "project", "create", "--template", "shoot", "-n", " Doc ", "-c",
        "Acme", "-d", "2026-03-01", m_parent.path() });
    ASSERT_EQ(created.exitCode, 0) << created.err.constData();
    EXPECT_EQ(created.outText(), m_parent.path() + "/Doc\n");
    EXPECT_EQ(listTree(m_parent.path()),
        QStringList({ "Doc/", "Doc/02_FOOTAGE/", "Doc/02_FOOTAGE/ORIGINALS/", "Doc/2026-03-01/",
            "Doc/2026-03-01/Acme/", "Doc/Project.vantor" }));
    EXPECT_EQ(readFile(m_support.file("state.json")), saved);

    const ProcessResult builtIn
        = vantor({ "project", "create", "-t", "Commercial", "-n", "X", m_parent.path() });
    EXPECT_EQ(builtIn.exitCode, 1);
    EXPECT_EQ(builtIn.errText(),
        "vantor: No template named \u201CCommercial\u201D. Run 'vantor project templates' for the list.\n");
}

TEST_F(ProjectCommand, CreatesWithTodaysDateByDefault)
{
    const ProcessResult created = vantor(
        { "project", "create", "-t", "Post handoff", "-n", "Doc", "--client", "Acme", m_parent.path() });
    ASSERT_EQ(created.exitCode, 0) << created.err.constData();
    const ProjectContext context
        = ProjectContext::fromJson(JsonCodec::parse(readFile(m_parent.file("Doc/Project.vantor"))));
    EXPECT_EQ(context.date, QDate::currentDate().toString("yyyy-MM-dd"));
    EXPECT_EQ(context.client, "Acme");
    EXPECT_TRUE(QFileInfo(m_parent.file("Doc/03_AUDIO/AAF")).isDir());
}

struct BadCall {
    const char *label;
    QStringList arguments; // "%P" is the parent folder
    int exitCode;
    QString error; // the start of stderr
};

class ProjectCommandRefusals : public ProjectCommand, public testing::WithParamInterface<BadCall> { };

TEST_P(ProjectCommandRefusals, ExplainAndCreateNothing)
{
    m_parent.write("existing/Project.vantor", "{}");
    QFile::link(m_parent.file("existing"), m_parent.file("link"));
    const QStringList before = listTree(m_parent.path());
    QStringList arguments = GetParam().arguments;
    arguments.replaceInStrings("%P", m_parent.path());
    const ProcessResult result = vantor(arguments);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_TRUE(result.errText().startsWith(QString(GetParam().error).replace("%P", m_parent.path())))
        << result.err.constData();
    EXPECT_EQ(result.out, QByteArray());
    EXPECT_EQ(listTree(m_parent.path()), before);
}

INSTANTIATE_TEST_SUITE_P(Calls, ProjectCommandRefusals,
    testing::Values(BadCall { "noTemplate", { "project", "create", "-n", "Doc", "%P" }, 2,
                        "vantor: --template is required." },
        BadCall {
            "noName", { "project", "create", "-t", "Commercial", "%P" }, 2, "vantor: --name is required." },
        BadCall { "noParent", { "project", "create", "-t", "Commercial", "-n", "Doc" }, 2,
            "vantor: Give exactly one" },
        BadCall { "badDate",
            { "project", "create", "-t", "Commercial", "-n", "Doc", "-d", "2026-02-30", "%P" }, 2,
            "vantor: --date takes a date as yyyy-MM-dd, not \"2026-02-30\"." },
        BadCall { "unknownSubcommand", { "project", "open" }, 2, "vantor: unknown project command: open" },
        BadCall { "unsafeName", { "project", "create", "-t", "Commercial", "-n", "a:b", "%P" }, 1,
            "vantor: \u201Ca:b\u201D is not a safe file or folder name.\n" },
        BadCall { "existing", { "project", "create", "-t", "Commercial", "-n", "existing", "%P" }, 1,
            "vantor: A project named \u201Cexisting\u201D already exists. Use Open Project or choose another "
            "name.\n" },
        BadCall { "linkParent", { "project", "create", "-t", "Commercial", "-n", "Doc", "%P/link" }, 1,
            "vantor: Select an available, real destination folder: %P/link\n" }),
    [](const testing::TestParamInfo<BadCall> &info) { return info.param.label; });

TEST_F(ProjectCommand, NeverWritesOverAStateFileItCouldNotRead)
{
    const QByteArray broken = "{\"version\": 1, \"jobs\": [";
    m_support.write("state.json", broken);
    for (const QStringList &arguments : { QStringList { "project", "templates" },
             QStringList { "project", "create", "-t", "Commercial", "-n", "Doc", m_parent.path() } }) {
        const ProcessResult result = vantor(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.errText().startsWith(
            "vantor: Saved state could not be read. The original state.json has been preserved. "))
            << result.err.constData();
    }
    EXPECT_EQ(readFile(m_support.file("state.json")), broken);
    EXPECT_EQ(listTree(m_support.path()), QStringList { "state.json" });
    EXPECT_EQ(listTree(m_parent.path()), QStringList());
}

// Kills `vantor project create` before and after each of its file operations in turn: the
// parent then holds the complete project or none (a hidden staging folder at most).
TEST_F(ProjectCommand, AKilledCreationLeavesTheWholeProjectOrNone)
{
    const QStringList arguments { "project", "create", "-t", "Music video", "-n", "Doc", "-d", "2026-03-01" };
    TempDir reference;
    QProcessEnvironment traced = environment();
    traced.insert("VANTOR_FAULT_TRACE", m_support.file("trace"));
    ASSERT_EQ(runVantor(arguments + QStringList { reference.path() }, traced).exitCode, 0);
    const QStringList complete = listTree(reference.path());
    const qsizetype operations = readFile(m_support.file("trace")).count('\n');
    ASSERT_GT(operations, 20);

    int whole = 0;
    int none = 0;
    for (const char *variable : { "VANTOR_FAULT_KILL_BEFORE", "VANTOR_FAULT_KILL_AFTER" }) {
        for (qsizetype operation = 1; operation <= operations; ++operation) {
            TempDir parent;
            QProcessEnvironment env = environment();
            env.insert(variable, QString::number(operation));
            const ProcessResult result = runVantor(arguments + QStringList { parent.path() }, env);
            EXPECT_EQ(result.exitCode, -1) << variable << "=" << operation << " did not kill";
            QStringList tree = listTree(parent.path());
            if (tree == complete) {
                ++whole;
                continue;
            }
            ++none;
            const QStringList projectEntries = tree.filter(QRegularExpression("^Doc"));
            EXPECT_EQ(projectEntries, QStringList()) << variable << "=" << operation;
            for (const QString &entry : tree)
                EXPECT_TRUE(entry.startsWith(".vantor-project-")) << entry.toStdString();
        }
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(none, 0);
}

} // namespace
