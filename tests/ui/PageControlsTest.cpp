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
};

TEST_F(PageControlsTest, EveryControlIsNamedAfterItsLabelAndTabbedInReadingOrder)
{
    workspace->watcher()->addRule(dir.makeDir(QStringLiteral("in")), dir.makeDir(QStringLiteral("out")),
                                  PresetService::defaults().first());
    struct Surface {
        std::function<QWidget *()> show;
        QStringList chain;
    };
    const Surface surfaces[] = {
        {[&] {
             workspace->setPage(Page::ingest);
             return window->findChild<ui::ImportPage *>();
         },
         {"importAutomation=Automation\u2026", "addSources=Add Sources\u2026", "browseMedia=Browse media\u2026",
          "sourceList=Source media", "planOperation=Operation", "planTabs=Plan", "copyFolder=Media folder",
          "planHierarchy=Preserve source hierarchy", "planVerify=Verify copies", "planChecksum=Checksum",
          "queueStart=Queue & start"}},
        {[&] {
             workspace->setPage(Page::project);
             return window->findChild<ui::ProjectPage *>();
         },
         {"projectTemplate=Template", "projectName=Name", "projectClient=Client", "projectDate=Date",
          "chooseLocation=Choose\u2026", "createProject=Create Project", "openProject=Open Project\u2026",
          "editTemplates=Edit Templates\u2026"}},
        {[&] {
             workspace->setEditingTemplates(true);
             return window->findChild<ui::ProjectPage *>();
         },
         {"templateList=Templates", "newTemplate=New Template", "duplicateTemplate=Duplicate", "templateName=Name",
          "templateText=Folders", "doneTemplates=Done", "saveTemplate=Save Template"}},
        {[&] {
             workspace->setPage(Page::settings);
             return window->findChild<ui::SettingsPage *>();
         },
         {"verifyCopies=Verify Copies", "verificationMethod=Verification Method",
          "preserveFolders=Preserve Folder Structure", "showStorage=Show In File Manager", "openLog=Open Log",
          "openAutomation=Folder Automation\u2026"}},
        {[&] {
             click(QStringLiteral("openAutomation"));
             auto *sheet = window->findChild<ui::FolderAutomationSheet *>();
             auto *rules = sheet->findChild<QAbstractItemView *>(QStringLiteral("watchRules"));
             rules->setCurrentIndex(rules->model()->index(0, 0));
             return sheet;
         },
         {"watchRules=Rules", "addWatchFolder=Add Folder\u2026", "removeWatchFolder=Remove",
          "doneAutomation=Done"}},
        {[&] {
             workspace->setPage(Page::transcode);
             return window->findChild<ui::TranscodePage *>();
         },
         {"openSources=Open Sources", "addToQueue=Add To Queue", "startTranscodes=Start", "pauseQueue=Pause",
          "showQueue=Queue", "transcodeSources=Source", "batchSources=Batch Sources\u2026", "presetPicker=Preset",
          "reloadPreset=Reload", "saveNewPreset=Save New Preset\u2026", "settingsTabs=Settings",
          "preserveMetadata=Preserve Timecode & Metadata", "chooseOutputFolder=Choose Output Folder",
          "suffix=Suffix"}},
        {[&] {
             click(QStringLiteral("batchSources"));
             return window->findChild<ui::BatchSourcesSheet *>();
         },
         {"batchSources=Sources", "batchSelect=Select", "batchSelectAll=Select All", "batchDone=Done"}},
    };
    for (const Surface &surface : surfaces) {
        QWidget *root = surface.show();
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(test::tabChain(root), surface.chain);
    }
}

} // namespace
