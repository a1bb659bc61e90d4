#include "UiFixture.h"

#include "automation/WatchFolderService.h"
#include "pages/FolderAutomationSheet.h"
#include "pages/ImportPage.h"
#include "pages/ProjectPage.h"
#include "pages/SettingsPage.h"
#include "pages/BatchSourcesSheet.h"
#include "pages/TranscodePage.h"
#include "presets/PresetService.h"

#include <QAbstractItemView>

using namespace vantor;

namespace {

class PageControlsTest : public test::UiTest {
protected:
    void SetUp() override { open(); }
    // Shows a page, or opens a sheet with a button, and returns it.
    template <typename T> std::function<QWidget *()> onPage(Page page)
    {
        return [this, page] { return workspace->setPage(page), window->findChild<T *>(); };
    }
    template <typename T> std::function<QWidget *()> sheet(const char *button)
    {
        return [this, button] { return click(button), window->findChild<T *>(); };
    }
};

TEST_F(PageControlsTest, EveryControlIsNamedAfterItsLabelAndTabbedInReadingOrder)
{
    workspace->watcher()->addRule(dir.makeDir("in"), dir.makeDir("out"), PresetService::defaults().first());
    const std::function<QWidget *()> templates = [&] {
        workspace->setEditingTemplates(true);
        return window->findChild<ui::ProjectPage *>();
    };
    const std::function<QWidget *()> automation = [&] {
        QWidget *shown = sheet<ui::FolderAutomationSheet>("openAutomation")();
        auto *rules = shown->findChild<QAbstractItemView *>("watchRules");
        rules->setCurrentIndex(rules->model()->index(0, 0));
        return shown;
    };
    const std::pair<std::function<QWidget *()>, QStringList> surfaces[] = {
        {onPage<ui::ImportPage>(Page::ingest),
         {"importAutomation=Automation\u2026", "addSources=Add Sources\u2026", "browseMedia=Browse media\u2026",
          "sourceList=Source media", "planOperation=Operation", "planTabs=Plan", "copyFolder=Media folder",
          "planHierarchy=Preserve source hierarchy", "planVerify=Verify copies", "planChecksum=Checksum",
          "planBackups=Backup destinations", "planAddBackup=Add\u2026", "queueStart=Queue & start"}},
        {onPage<ui::ProjectPage>(Page::project),
         {"projectTemplate=Template", "projectName=Name", "projectClient=Client", "projectDate=Date",
          "chooseLocation=Choose\u2026", "createProject=Create Project", "openProject=Open Project\u2026",
          "editTemplates=Edit Templates\u2026"}},
        {templates,
         {"templateList=Templates", "newTemplate=New Template", "duplicateTemplate=Duplicate", "templateName=Name",
          "templateText=Folders", "doneTemplates=Done", "saveTemplate=Save Template"}},
        {onPage<ui::SettingsPage>(Page::settings),
         {"verifyCopies=Verify Copies", "verificationMethod=Verification Method",
          "preserveFolders=Preserve Folder Structure", "writeMhl=Write ASC MHL Histories", "showStorage=Show In File Manager", "openLog=Open Log",
          "openAutomation=Folder Automation\u2026"}},
        {automation,
         {"watchRules=Rules", "addWatchFolder=Add Folder\u2026", "removeWatchFolder=Remove", "doneAutomation=Done"}},
        {onPage<ui::TranscodePage>(Page::transcode),
         {"openSources=Open Sources", "addToQueue=Add To Queue", "startTranscodes=Start", "pauseQueue=Pause",
          "showQueue=Queue", "transcodeSources=Source", "batchSources=Batch Sources\u2026", "presetPicker=Preset",
          "reloadPreset=Reload", "saveNewPreset=Save New Preset\u2026", "settingsTabs=Settings",
          "preserveMetadata=Preserve Timecode & Metadata", "chooseOutputFolder=Choose Output Folder",
          "suffix=Suffix"}},
        {sheet<ui::BatchSourcesSheet>("batchSources"),
         {"batchSources=Sources", "batchSelect=Select", "batchSelectAll=Select All", "batchDone=Done"}},
    };
    for (const auto &[show, chain] : surfaces) {
        QWidget *root = show();
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(test::tabChain(root), chain);
    }
}

} // namespace
