#include "UiFixture.h"

#include "automation/WatchFolderService.h"
#include "models/BackupFolderModel.h"
#include "models/DestinationListModel.h"
#include "models/PresetListModel.h"
#include "models/TemplateListModel.h"
#include "models/TranscodeSourceModel.h"
#include "models/WatchRuleModel.h"
#include "presets/PresetService.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace vantor;

namespace {

class PageModelsTest : public test::UiTest {
protected:
    void SetUp() override { open(); }
};

// Rows changed since the spy started, as "first-last" per dataChanged.
QStringList changedRows(const QSignalSpy &spy)
{
    QStringList rows;
    for (const QList<QVariant> &signal : spy)
        rows << QString::number(signal[0].toModelIndex().row()) + u'-' + QString::number(signal[1].toModelIndex().row());
    return rows;
}

TEST_F(PageModelsTest, TemplateRowsFollowTheStoredTemplates)
{
    ui::TemplateListModel model(*workspace);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const int builtIn = model.rowCount();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    workspace->newTemplate(false);
    ASSERT_EQ(model.rowCount(), builtIn + 1);
    EXPECT_EQ(inserted.size(), 1);
    EXPECT_EQ(model.index(builtIn, 0).data().toString(), "Untitled template");
    EXPECT_EQ(model.rowOf(workspace->templateDraft().id), builtIn);

    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    workspace->setTemplateName("Renamed");
    workspace->saveTemplate();
    EXPECT_EQ(changedRows(changed), QStringList{QString::number(builtIn) + u'-' + QString::number(builtIn)});
    EXPECT_EQ(model.index(builtIn, 0).data().toString(), "Renamed");
    EXPECT_EQ(reset.size(), 0);
}

TEST_F(PageModelsTest, RuleRowsFollowTheRulesOneRowAtATime)
{
    ui::WatchRuleModel model(*workspace);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    WatchFolderService &watcher = *workspace->watcher();
    const TranscodePreset preset = PresetService::defaults().first();
    std::vector<QUuid> ids;
    for (const char *name : {"A", "B", "C"})
        ids.push_back(watcher.addRule(dir.makeDir(QLatin1String(name)), dir.makeDir("out/" + QLatin1String(name)), preset));
    ASSERT_EQ(model.rowCount(), 3);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    EXPECT_TRUE(model.setData(model.index(1, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(changedRows(changed), QStringList{"1-1"});
    EXPECT_TRUE(workspace->queue().state().watches[1].enabled);
    EXPECT_EQ(model.index(1, 0).data(ui::WatchRuleModel::EnabledRole), true);

    watcher.removeRule(ids[0]);
    ASSERT_EQ(removed.size(), 1);
    EXPECT_EQ(removed[0][1].toInt(), 0);
    EXPECT_EQ(model.index(0, 0).data(ui::WatchRuleModel::IdRole).toUuid(), ids[1]);
    EXPECT_EQ(model.index(0, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(reset.size(), 0);
}

TEST_F(PageModelsTest, PresetRowsFollowSavingAndRemovingPresets)
{
    ui::PresetListModel model(*workspace);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const int stored = model.rowCount();
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);

    workspace->setCustomPresetName("dailies hd");
    workspace->savePreset();
    ASSERT_EQ(model.rowCount(), stored + 1);
    EXPECT_EQ(inserted.size(), 1);
    EXPECT_EQ(model.rowOf(workspace->preset().id), stored);
    EXPECT_EQ(model.index(stored, 0).data().toString(), workspace->preset().displayName());

    const QUuid saved = workspace->preset().id;
    workspace->setPreset(*model.at(0)); // removing a preset that is not current still shows
    workspace->removePreset(saved);
    EXPECT_EQ(model.rowCount(), stored);
    EXPECT_EQ(removed.size(), 1);
    EXPECT_EQ(model.rowOf(saved), -1);
    EXPECT_EQ(reset.size(), 0);
}

TEST_F(PageModelsTest, SourceRowsShowTheirSettingsAndKeepTheirChecks)
{
    const QStringList urls{dir.write("a.mov", "a"), dir.write("b.mov", "b"),
                           dir.write("c.mov", "c")};
    workspace->receive(urls);
    ASSERT_TRUE(waitUntil([&] { return workspace->sources().size() == 3; }));
    ui::TranscodeSourceModel model(*workspace, true);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);

    EXPECT_TRUE(model.setData(model.index(2, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(model.setData(model.index(0, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(model.checked(), (QStringList{urls[0], urls[2]}));
    changed.clear();
    workspace->setSourcePreset(urls[1], workspace->preset());
    EXPECT_EQ(changedRows(changed), QStringList{"1-1"});
    EXPECT_EQ(model.index(1, 0).data(ui::TranscodeSourceModel::SettingsRole).toString(),
              workspace->preset().displayName());
    EXPECT_EQ(model.index(0, 0).data(ui::TranscodeSourceModel::SettingsRole).toString(),
              "Global Settings");

    // A removed source takes its check with it; the others keep theirs.
    std::vector<SourceFile> kept = workspace->sources();
    kept.erase(kept.begin());
    workspace->setSources(kept);
    EXPECT_EQ(model.checked(), QStringList{urls[2]});
    EXPECT_EQ(model.index(1, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
}

} // namespace

namespace {

TEST_F(PageModelsTest, BackupRowsFollowTheFoldersOneRowAtATime)
{
    ui::BackupFolderModel model(*workspace);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    for (const char *name : {"a", "b", "c"})
        workspace->addBackupFolder(dir.makeDir(QLatin1String(name)));
    workspace->removeBackupFolder(1);
    workspace->setCascade(true); // the plan changes, the rows do not
    QStringList rows;
    for (int row = 0; row < model.rowCount(); ++row)
        rows << model.index(row, 0).data(ui::BackupFolderModel::PathRole).toString();
    EXPECT_EQ(rows, QStringList({dir.file("a"), dir.file("c")}));
    EXPECT_EQ(std::make_tuple(inserted.size(), removed.size(), reset.size()), std::make_tuple(3, 1, 0));
    EXPECT_EQ(removed.front()[1].toInt(), 1);
}

// What each destination of a job shows, by the job's and the destination's outcome.
TEST(DestinationLines, FollowEachDestinationsOutcome)
{
    const auto make = [](JobStatus status, std::optional<ChecksumAlgorithm> checksum, bool copies) {
        MediaJob job = MediaJob::make("/card/A.MOV", FileGrant("/card"), "/p", FileGrant("/p"),
                                      copies ? std::optional<QString>("/p/A.MOV") : std::nullopt,
                                      copies ? std::nullopt : std::optional<QString>("/p/A.mp4"),
                                      copies ? JobOperation::copy : JobOperation::transcode, std::nullopt, checksum,
                                      1, Timestamp{});
        job.status = status;
        BackupCopy backup;
        backup.root = "/b";
        job.backups.push_back(backup);
        return job;
    };
    MediaJob unreadable = make(JobStatus::failed, ChecksumAlgorithm(), true);
    unreadable.error = "The source could not be read.";
    MediaJob unverified = make(JobStatus::complete, std::nullopt, true);
    unverified.copyCommitted = unverified.backups[0].committed = true;
    unverified.destinationHash = unverified.backups[0].hash = "ab12";
    MediaJob cascading = make(JobStatus::copying, ChecksumAlgorithm(), true);
    cascading.backups[0].deferred = true;
    const struct {
        const char *name;
        MediaJob job;
        QStringList lines;
    } cases[] = {
        {"a source read error fails every destination", unreadable,
         {"/p Failed: The source could not be read. ", "/b Failed: The source could not be read. "}},
        {"unverified copies are only copied", unverified, {"/p Copied ab12", "/b Copied ab12"}},
        {"a cascade backup waits for the first copy", cascading, {"/p Copying ", "/b Copied later from the first copy "}},
        {"a transcode makes no copy", make(JobStatus::waiting, std::nullopt, false), {}},
    };
    for (const auto &entry : cases) {
        QStringList lines;
        for (const ui::DestinationListModel::Line &line : ui::DestinationListModel::lines(entry.job))
            lines << line.folder + u' ' + line.state + u' ' + line.hash;
        EXPECT_EQ(lines, entry.lines) << entry.name;
    }
}

} // namespace
