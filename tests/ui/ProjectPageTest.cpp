#include "RefusalCheck.h"

#include "state/StateStore.h"
#include "projects/ProjectTemplate.h"

#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPlainTextEdit>

using namespace vantor;

namespace {

class ProjectPageTest : public test::UiTest {
protected:
    void SetUp() override
    {
        open();
        workspace->setPage(Page::project);
    }
    void type(const QString &field, const QString &text)
    {
        auto *edit = find<QLineEdit>(field);
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, text);
    }
    QStringList storedNames() const
    {
        QStringList names;
        for (const ProjectTemplate &entry : workspace->queue().state().templates)
            names << entry.name;
        return names;
    }
    bool settled()
    {
        return waitUntil([&] { return !workspace->scanning(); });
    }
};

TEST_F(ProjectPageTest, CreatingAProjectMakesItsTreeAndRefusesASecondOfTheSameName)
{
    const QString parent = dir.makeDir(QStringLiteral("projects"));
    click(QStringLiteral("createProject"));
    test::expectRefusal(*this, QStringLiteral("Choose a project location."));

    QTest::keyClicks(find<QComboBox>(QStringLiteral("projectTemplate")), QStringLiteral("Doc"));
    type(QStringLiteral("projectName"), QStringLiteral(" Doc "));
    type(QStringLiteral("projectClient"), QStringLiteral("Acme"));
    find<QDateEdit>(QStringLiteral("projectDate"))->setDate(QDate(2026, 3, 1));
    answers.folders << parent;
    click(QStringLiteral("chooseLocation"));
    EXPECT_EQ(find<QLabel>(QStringLiteral("projectLocation"))->text(), parent);
    click(QStringLiteral("createProject"));
    ASSERT_TRUE(settled());

    const QString root = parent + QStringLiteral("/Doc");
    for (const char *folder : {"02_FOOTAGE/ORIGINALS", "03_AUDIO/INTERVIEWS", "10_ARCHIVE/RESEARCH"})
        EXPECT_TRUE(QFileInfo(root + u'/' + QLatin1String(folder)).isDir()) << folder;
    const ProjectContext project = *workspace->queue().state().project;
    EXPECT_EQ(project, (ProjectContext{QStringLiteral("Doc"), QStringLiteral("Acme"), QStringLiteral("2026-03-01"), root}));
    EXPECT_TRUE(QFileInfo::exists(root + QStringLiteral("/Project.vantor")));
    EXPECT_EQ(workspace->notice(), QStringLiteral("Project created \u00B7 14 folders"));
    EXPECT_EQ(workspace->page(), Page::ingest);

    workspace->setPage(Page::project);
    EXPECT_TRUE(find<QLabel>(QStringLiteral("currentProject"))->text().contains(root));
    click(QStringLiteral("createProject"));
    ASSERT_TRUE(settled());
    test::expectRefusal(
        *this, QStringLiteral("A project named \u201CDoc\u201D already exists. Use Open Project or choose another name."));
    EXPECT_EQ(test::listTree(parent).filter(QStringLiteral(".vantor-")), QStringList());
}

TEST_F(ProjectPageTest, OpeningAFolderMakesItTheProject)
{
    const QString folder = dir.makeDir(QStringLiteral("Feature"));
    answers.folders << folder;
    click(QStringLiteral("openProject"));
    EXPECT_EQ(answers.asked, QStringList{QStringLiteral("Open project folder")});
    EXPECT_EQ(workspace->queue().state().project->root, folder);
    EXPECT_EQ(find<QLineEdit>(QStringLiteral("projectName"))->text(), QStringLiteral("Feature"));
}

TEST_F(ProjectPageTest, TheTemplateEditorAddsDuplicatesSavesAndShowsRefusals)
{
    workspace->setEditingTemplates(true);
    auto *list = find<QListView>(QStringLiteral("templateList"));
    auto *text = find<QPlainTextEdit>(QStringLiteral("templateText"));
    ASSERT_TRUE(list->isVisible());
    const QStringList builtIn = storedNames();

    click(QStringLiteral("newTemplate"));
    click(QStringLiteral("duplicateTemplate"));
    EXPECT_EQ(storedNames(), builtIn + QStringList({QStringLiteral("Untitled template"),
                                                    QStringLiteral("Untitled template copy")}));
    EXPECT_EQ(list->currentIndex().data().toString(), QStringLiteral("Untitled template copy"));
    EXPECT_EQ(find<QLineEdit>(QStringLiteral("templateName"))->text(), QStringLiteral("Untitled template copy"));

    type(QStringLiteral("templateName"), QStringLiteral("Shorts"));
    text->selectAll();
    QTest::keyClick(text, Qt::Key_Backspace);
    for (const QString &line : {QStringLiteral("  {CLIENT}/BRIEF"), QString(), QStringLiteral("02_FOOTAGE ")}) {
        QTest::keyClicks(text, line);
        QTest::keyClick(text, Qt::Key_Return);
    }
    click(QStringLiteral("saveTemplate"));
    const ProjectTemplate saved = workspace->queue().state().templates.back();
    EXPECT_EQ(saved.name, QStringLiteral("Shorts"));
    EXPECT_EQ(saved.folders, (QStringList{QStringLiteral("{CLIENT}/BRIEF"), QStringLiteral("02_FOOTAGE")}));
    EXPECT_EQ(workspace->notice(), QStringLiteral("Template saved"));

    struct Refusal {
        QString text, message;
    };
    for (const Refusal &refusal : {Refusal{QStringLiteral("03_AUDIO\n03_audio"),
                                           QStringLiteral("The template contains duplicate folder paths.")},
                                   Refusal{QStringLiteral("\n  \n"),
                                           QStringLiteral("Add at least one folder to the template.")}}) {
        text->setPlainText(refusal.text);
        click(QStringLiteral("saveTemplate"));
        test::expectRefusal(*this, refusal.message);
        EXPECT_EQ(workspace->queue().state().templates.back(), saved);
    }

    // Choosing another template in the list loads it into the editor.
    list->setCurrentIndex(list->model()->index(0, 0));
    EXPECT_EQ(workspace->templateDraft(), workspace->queue().state().templates.front());
    EXPECT_EQ(text->toPlainText(), workspace->queue().state().templates.front().folders.join(u'\n'));

    click(QStringLiteral("doneTemplates"));
    EXPECT_FALSE(workspace->editingTemplates());
    auto *picker = find<QComboBox>(QStringLiteral("projectTemplate"));
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(picker->itemText(picker->count() - 1), QStringLiteral("Shorts"));

    workspace->queue().flush();
    EXPECT_EQ(StateStore::load(support).templates.back(), saved);
}

} // namespace
