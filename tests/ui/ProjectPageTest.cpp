#include "RefusalCheck.h"

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
    const QString parent = dir.makeDir("projects");
    QTest::keyClicks(find<QComboBox>("projectTemplate"), "Doc");
    type("projectName", " Doc ");
    type("projectClient", "Acme");
    find<QDateEdit>("projectDate")->setDate(QDate(2026, 3, 1));
    answers.folders << parent;
    click("chooseLocation");
    EXPECT_EQ(find<QLabel>("projectLocation")->text(), parent);
    click("createProject");
    ASSERT_TRUE(settled());

    const QString root = parent + "/Doc";
    for (const char *folder : {"02_FOOTAGE/ORIGINALS", "03_AUDIO/INTERVIEWS", "10_ARCHIVE/RESEARCH"})
        EXPECT_TRUE(QFileInfo(root + u'/' + QLatin1String(folder)).isDir()) << folder;
    const ProjectContext project = *workspace->queue().state().project;
    EXPECT_EQ(project, (ProjectContext{"Doc", "Acme", "2026-03-01", root}));
    EXPECT_EQ(workspace->notice(), "Project created \u00B7 14 folders"); // the chosen template's count

    workspace->setPage(Page::project);
    EXPECT_TRUE(find<QLabel>("currentProject")->text().contains(root));
    click("createProject");
    ASSERT_TRUE(settled());
    test::expectRefusal(
        *this, "A project named \u201CDoc\u201D already exists. Use Open Project or choose another name.");
    EXPECT_EQ(test::listTree(parent).filter(".vantor-"), QStringList());
}

TEST_F(ProjectPageTest, OpeningAFolderMakesItTheProject)
{
    const QString folder = dir.makeDir("Feature");
    answers.folders << folder;
    click("openProject");
    EXPECT_EQ(answers.asked, QStringList{"Open project folder"});
    EXPECT_EQ(workspace->queue().state().project->root, folder);
    EXPECT_EQ(find<QLineEdit>("projectName")->text(), "Feature");
}

TEST_F(ProjectPageTest, TheTemplateEditorAddsDuplicatesSavesAndShowsRefusals)
{
    workspace->setEditingTemplates(true);
    auto *list = find<QListView>("templateList");
    auto *text = find<QPlainTextEdit>("templateText");
    ASSERT_TRUE(list->isVisible());
    const QStringList builtIn = storedNames();

    click("newTemplate");
    click("duplicateTemplate");
    EXPECT_EQ(storedNames(), builtIn + QStringList({"Untitled template",
                                                    "Untitled template copy"}));
    EXPECT_EQ(list->currentIndex().data().toString(), "Untitled template copy");
    EXPECT_EQ(find<QLineEdit>("templateName")->text(), "Untitled template copy");

    type("templateName", "Shorts");
    text->selectAll();
    QTest::keyClick(text, Qt::Key_Backspace);
    for (const QString &line : QStringList{"  {CLIENT}/BRIEF", QString(), "02_FOOTAGE "}) {
        QTest::keyClicks(text, line);
        QTest::keyClick(text, Qt::Key_Return);
    }
    click("saveTemplate");
    const ProjectTemplate saved = workspace->queue().state().templates.back();
    EXPECT_EQ(saved.name, "Shorts");
    EXPECT_EQ(saved.folders, (QStringList{"{CLIENT}/BRIEF", "02_FOOTAGE"}));
    EXPECT_EQ(workspace->notice(), "Template saved");

    struct Refusal {
        QString text, message;
    };
    for (const Refusal &refusal : {Refusal{"03_AUDIO\n03_audio",
                                           "The template contains duplicate folder paths."},
                                   Refusal{"\n  \n",
                                           "Add at least one folder to the template."}}) {
        text->setPlainText(refusal.text);
        click("saveTemplate");
        test::expectRefusal(*this, refusal.message);
        EXPECT_EQ(workspace->queue().state().templates.back(), saved);
    }

    // Choosing another template in the list loads it into the editor.
    list->setCurrentIndex(list->model()->index(0, 0));
    EXPECT_EQ(workspace->templateDraft(), workspace->queue().state().templates.front());
    EXPECT_EQ(text->toPlainText(), workspace->queue().state().templates.front().folders.join(u'\n'));

    click("doneTemplates");
    EXPECT_FALSE(workspace->editingTemplates());
    auto *picker = find<QComboBox>("projectTemplate");
    EXPECT_TRUE(picker->isVisible());
    EXPECT_EQ(picker->itemText(picker->count() - 1), "Shorts");
}

} // namespace
