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
    EXPECT_TRUE(find<QCheckBox>(QStringLiteral("verifyCopies"))->isChecked());
    EXPECT_EQ(find<QComboBox>(QStringLiteral("verificationMethod"))->currentText(), QStringLiteral("xxHash64"));

    click(QStringLiteral("verifyCopies"));
    click(QStringLiteral("preserveFolders"));
    QTest::keyClick(find<QComboBox>(QStringLiteral("verificationMethod")), Qt::Key_Down);
    EXPECT_FALSE(workspace->verify());
    EXPECT_FALSE(workspace->hierarchy());
    EXPECT_EQ(workspace->algorithm(), ChecksumAlgorithm::sha256);

    open();
    EXPECT_FALSE(workspace->verify());
    EXPECT_FALSE(workspace->hierarchy());
    EXPECT_EQ(workspace->algorithm(), ChecksumAlgorithm::sha256);
    EXPECT_FALSE(find<QCheckBox>(QStringLiteral("verifyCopies"))->isChecked());
    EXPECT_FALSE(find<QCheckBox>(QStringLiteral("preserveFolders"))->isChecked());
    EXPECT_EQ(find<QComboBox>(QStringLiteral("verificationMethod"))->currentText(), QStringLiteral("SHA-256"));

    // A change made elsewhere (the Import page) shows here too, without being stored.
    workspace->setVerify(true);
    EXPECT_TRUE(find<QCheckBox>(QStringLiteral("verifyCopies"))->isChecked());
    EXPECT_EQ(QSettings(QStringLiteral("Vantor"), QStringLiteral("Vantor")).value(QStringLiteral("import.verify")).toString(),
              QStringLiteral("false"));
}

TEST_F(SettingsPageTest, StorageAndLogOpenOnTheDesktop)
{
    click(QStringLiteral("openLog"));
    test::expectRefusal(*this, QStringLiteral("The operation log does not exist yet: ") + support
                                   + QStringLiteral("/operations.log"));
    EXPECT_TRUE(desktop.opened.isEmpty());

    click(QStringLiteral("showStorage"));
    workspace->queue().log(QStringLiteral("written"));
    workspace->queue().flush();
    click(QStringLiteral("openLog"));
    EXPECT_EQ(desktop.opened, (QList<QUrl>{QUrl::fromLocalFile(support),
                                           QUrl::fromLocalFile(support + QStringLiteral("/operations.log"))}));
}

class FolderAutomationTest : public SettingsPageTest {
protected:
    ui::FolderAutomationSheet &openSheet()
    {
        click(QStringLiteral("openAutomation"));
        auto *sheet = window->findChild<ui::FolderAutomationSheet *>();
        EXPECT_TRUE(sheet && sheet->isVisible());
        return *sheet;
    }
    QStringList rows(ui::FolderAutomationSheet &sheet)
    {
        QStringList shown;
        QAbstractItemModel *model = sheet.findChild<QListView *>(QStringLiteral("watchRules"))->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row, 0);
            shown << index.data().toString() + (index.data(Qt::CheckStateRole).toInt() == Qt::Checked ? " [on]" : "");
        }
        return shown;
    }
    void press(ui::FolderAutomationSheet &sheet, const QString &button)
    {
        auto *target = sheet.findChild<QAbstractButton *>(button);
        ASSERT_TRUE(target && target->isVisible() && target->isEnabled()) << button.toStdString();
        QTest::mouseClick(target, Qt::LeftButton);
    }
};

TEST_F(FolderAutomationTest, ARuleWhoseDestinationIsInsideTheWatchedFolderIsRefused)
{
    const QString watched = dir.makeDir(QStringLiteral("Incoming"));
    ui::FolderAutomationSheet &sheet = openSheet();
    auto *error = sheet.findChild<QLabel *>(QStringLiteral("sheetError"));
    for (const QString &destination : {watched, dir.makeDir(QStringLiteral("Incoming/Proxies"))}) {
        answers.folders << watched << destination;
        press(sheet, QStringLiteral("addWatchFolder"));
        test::expectRefusal(*this, QStringLiteral("Choose a destination outside the watched folder."));
        EXPECT_TRUE(error->isVisible());
        EXPECT_EQ(error->text(), *workspace->error());
        EXPECT_TRUE(workspace->queue().state().watches.empty());
    }
    EXPECT_EQ(answers.asked.mid(0, 2), (QStringList{QStringLiteral("Choose folder to watch"),
                                                    QStringLiteral("Choose transcode destination")}));
}

TEST_F(FolderAutomationTest, RulesAreAddedDisabledThenEnabledDisabledAndRemoved)
{
    const QString watched = dir.makeDir(QStringLiteral("Incoming"));
    const QString output = dir.makeDir(QStringLiteral("Proxies"));
    ui::FolderAutomationSheet &sheet = openSheet();
    auto *list = sheet.findChild<QListView *>(QStringLiteral("watchRules"));
    EXPECT_FALSE(list->isVisible());

    answers.folders << watched << output;
    press(sheet, QStringLiteral("addWatchFolder"));
    EXPECT_FALSE(sheet.findChild<QLabel *>(QStringLiteral("sheetError"))->isVisible());
    const QString row = watched + QStringLiteral("\n\u2192 ") + output + QStringLiteral("\nPreset: ") + workspace->preset().name;
    EXPECT_EQ(rows(sheet), QStringList{row});
    ASSERT_TRUE(list->isVisible());

    list->setCurrentIndex(list->model()->index(0, 0));
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_TRUE(workspace->queue().state().watches.front().enabled);
    EXPECT_EQ(rows(sheet), QStringList{row + QStringLiteral(" [on]")});
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_FALSE(workspace->queue().state().watches.front().enabled);

    press(sheet, QStringLiteral("removeWatchFolder"));
    EXPECT_TRUE(workspace->queue().state().watches.empty());
    EXPECT_FALSE(list->isVisible());
    workspace->queue().flush();
    EXPECT_TRUE(StateStore::load(support).watches.empty());

    QPointer<ui::FolderAutomationSheet> closed(&sheet);
    press(sheet, QStringLiteral("doneAutomation"));
    EXPECT_TRUE(waitUntil([&] { return closed.isNull(); }));
}

} // namespace
