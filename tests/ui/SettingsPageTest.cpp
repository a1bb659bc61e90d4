#include "RefusalCheck.h"

#include "automation/WatchFolderService.h"
#include "state/StateStore.h"
#include "pages/FolderAutomationSheet.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QPointer>

using namespace vantor;

namespace {

class SettingsPageTest : public test::UiTest {
protected:
    void SetUp() override
    {
        open();
        workspace->setPage(Page::settings);
    }
};

TEST_F(SettingsPageTest, ImportDefaultsReachTheWorkspaceAndSurviveARestart)
{
    EXPECT_TRUE(find<QCheckBox>("verifyCopies")->isChecked());
    EXPECT_EQ(find<QComboBox>("verificationMethod")->currentText(), "xxHash64");

    click("verifyCopies");
    click("preserveFolders");
    QTest::keyClick(find<QComboBox>("verificationMethod"), Qt::Key_Down);
    EXPECT_FALSE(workspace->verify());
    EXPECT_FALSE(workspace->hierarchy());
    EXPECT_EQ(workspace->algorithm(), ChecksumAlgorithm::sha256);

    open();
    EXPECT_FALSE(workspace->verify());
    EXPECT_FALSE(workspace->hierarchy());
    EXPECT_EQ(workspace->algorithm(), ChecksumAlgorithm::sha256);
    EXPECT_FALSE(find<QCheckBox>("verifyCopies")->isChecked());
    EXPECT_FALSE(find<QCheckBox>("preserveFolders")->isChecked());
    EXPECT_EQ(find<QComboBox>("verificationMethod")->currentText(), "SHA-256");

    // A change made elsewhere (the Import page) shows here too, without being stored.
    workspace->setVerify(true);
    EXPECT_TRUE(find<QCheckBox>("verifyCopies")->isChecked());
    EXPECT_EQ(QSettings("Vantor", "Vantor").value("import.verify").toString(),
              "false");
}

TEST_F(SettingsPageTest, StorageAndLogOpenOnTheDesktop)
{
    click("openLog");
    test::expectRefusal(*this, "The operation log does not exist yet: " + support
                                   + "/operations.log");
    EXPECT_TRUE(desktop.opened.isEmpty());

    click("showStorage");
    workspace->queue().log("written");
    workspace->queue().flush();
    click("openLog");
    EXPECT_EQ(desktop.opened, (QList<QUrl>{QUrl::fromLocalFile(support),
                                           QUrl::fromLocalFile(support + "/operations.log")}));
}

class FolderAutomationTest : public SettingsPageTest {
protected:
    ui::FolderAutomationSheet &openSheet()
    {
        click("openAutomation");
        auto *sheet = window->findChild<ui::FolderAutomationSheet *>();
        EXPECT_TRUE(sheet && sheet->isVisible());
        return *sheet;
    }
    QStringList rows(ui::FolderAutomationSheet &sheet)
    {
        QStringList shown;
        QAbstractItemModel *model = sheet.findChild<QListView *>("watchRules")->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            shown << index.data().toString() + (index.data(Qt::CheckStateRole).toInt() == Qt::Checked ? " [on]" : "");
        }
        return shown;
    }
    void press(ui::FolderAutomationSheet &sheet, const QString &button) { clickIn(&sheet, button); }
};

TEST_F(FolderAutomationTest, RulesAreRefusedOrAddedDisabledThenEnabledDisabledAndRemoved)
{
    const QString watched = dir.makeDir("Incoming");
    const QString output = dir.makeDir("Proxies");
    ui::FolderAutomationSheet &sheet = openSheet();
    auto *list = sheet.findChild<QListView *>("watchRules");
    EXPECT_FALSE(list->isVisible());

    // A destination inside the watched folder is refused on the sheet; the service tests the rule.
    auto *error = findIn<QLabel>(&sheet, "sheetError");
    answers.folders << watched << dir.makeDir("Incoming/Proxies");
    press(sheet, "addWatchFolder");
    test::expectRefusal(*this, "Choose a destination outside the watched folder.");
    EXPECT_TRUE(error->isVisible());
    EXPECT_EQ(error->text(), *workspace->error());
    EXPECT_TRUE(workspace->queue().state().watches.empty());
    EXPECT_EQ(answers.asked, (QStringList{"Choose folder to watch", "Choose transcode destination"}));

    answers.folders << watched << output;
    press(sheet, "addWatchFolder");
    EXPECT_FALSE(error->isVisible());
    const QString row = watched + "\n\u2192 " + output + "\nPreset: " + workspace->preset().name;
    EXPECT_EQ(rows(sheet), QStringList{row});
    ASSERT_TRUE(list->isVisible());

    list->setCurrentIndex(list->model()->index(0, 0));
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_TRUE(workspace->queue().state().watches.front().enabled);
    EXPECT_EQ(rows(sheet), QStringList{row + " [on]"});
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_FALSE(workspace->queue().state().watches.front().enabled);

    press(sheet, "removeWatchFolder");
    EXPECT_TRUE(workspace->queue().state().watches.empty());
    EXPECT_FALSE(list->isVisible());
    workspace->queue().flush();
    EXPECT_TRUE(StateStore::load(support).watches.empty());

    QPointer<ui::FolderAutomationSheet> closed(&sheet);
    press(sheet, "doneAutomation");
    EXPECT_TRUE(waitUntil([&] { return closed.isNull(); }));
}

} // namespace
