#include "planning/JobPlanner.h"
#include "presets/PresetService.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

SourceFile source(const QString &relative)
{
    return {QStringLiteral("/media/") + relative, relative, FileGrant(QStringLiteral("/media")), 7, Timestamp()};
}

TranscodePreset proxy(const QString &suffix = QStringLiteral("_proxy"), const QString &container = QStringLiteral("mov"))
{
    TranscodePreset preset = PresetService::defaults().first();
    preset.suffix = suffix;
    preset.container = container;
    return preset;
}

JobPlan projectPlan()
{
    JobPlan plan = JobPlanner::forProject({QStringLiteral("Doc"), QStringLiteral("ACME"), QStringLiteral("2026-11-23"),
                                           QStringLiteral("/projects/Doc/")},
                                          FileGrant(QStringLiteral("/projects/Doc")));
    plan.copyFolder = QStringLiteral("{DATE}/ORIGINALS");
    plan.outputFolder = QStringLiteral("PROXIES");
    plan.checksum = ChecksumAlgorithm(ChecksumAlgorithm::md5);
    plan.preset = proxy();
    return plan;
}

// One planned job as text: operation, copy target, output target, preset suffix, checksum.
QString outline(const MediaJob &job)
{
    return QStringList{job.operation.rawValue(), job.copyDestination.value_or(QStringLiteral("-")),
                       job.outputDestination.value_or(QStringLiteral("-")),
                       job.preset ? job.preset->suffix : QStringLiteral("-"),
                       job.checksum ? job.checksum->rawValue() : QStringLiteral("-")}
        .join(QStringLiteral(" | "));
}

struct PlanCase {
    const char *name;
    std::function<void(JobPlan &)> change;
    std::vector<const char *> jobs; // outline() of each planned job, in order
};

class JobPlannerPlans : public testing::TestWithParam<PlanCase> {};

TEST_P(JobPlannerPlans, TurnsTheCardIntoTheseJobs)
{
    JobPlan plan = projectPlan();
    GetParam().change(plan);
    const std::vector<SourceFile> card{source(QStringLiteral("A001/CLIP/C0001.MXF")),
                                       source(QStringLiteral("A001/C0001M01.XML")), source(QStringLiteral("b.mov"))};
    QStringList planned, expected;
    for (const MediaJob &job : JobPlanner::plan(plan, card)) {
        planned << outline(job);
        EXPECT_EQ(job.destinationRoot, QStringLiteral("/projects/Doc"));
        EXPECT_EQ(job.destinationGrant, plan.grant);
    }
    for (const char *line : GetParam().jobs)
        expected << QString::fromUtf8(line);
    EXPECT_EQ(planned, expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, JobPlannerPlans,
    testing::Values(
        PlanCase{"CopyAndTranscodeKeepsFoldersAndCopiesSidecarsOnly", [](JobPlan &) {},
                 {"Copy + transcode | /projects/Doc/2026-11-23/ORIGINALS/A001/CLIP/C0001.MXF | "
                  "/projects/Doc/PROXIES/A001/CLIP/C0001_proxy.mov | _proxy | MD5",
                  "Copy & organize | /projects/Doc/2026-11-23/ORIGINALS/A001/C0001M01.XML | - | - | MD5",
                  "Copy + transcode | /projects/Doc/2026-11-23/ORIGINALS/b.mov | /projects/Doc/PROXIES/b_proxy.mov | _proxy | MD5"}},
        PlanCase{"FlatTranscodeLeavesSidecarsOutAndVerifiesNothing",
                 [](JobPlan &plan) {
                     plan.operation = JobOperation::transcode;
                     plan.hierarchy = false;
                     plan.outputFolder.clear();
                 },
                 {"Transcode in place | - | /projects/Doc/C0001_proxy.mov | _proxy | -",
                  "Transcode in place | - | /projects/Doc/b_proxy.mov | _proxy | -"}},
        PlanCase{"RenamingCountsEverySourceAndNamesCopiesAndOutputsAlike",
                 [](JobPlan &plan) {
                     plan.pattern = QStringLiteral("{PROJECT}_{CAMERA}{ROLL}_{COUNTER}");
                     plan.values.insert(QStringLiteral("CAMERA"), QStringLiteral("A"));
                     plan.values.insert(QStringLiteral("ROLL"), QStringLiteral("007"));
                     plan.hierarchy = false;
                     plan.checksum.reset();
                 },
                 {"Copy + transcode | /projects/Doc/2026-11-23/ORIGINALS/Doc_A007_0001.MXF | "
                  "/projects/Doc/PROXIES/Doc_A007_0001_proxy.mov | _proxy | -",
                  "Copy & organize | /projects/Doc/2026-11-23/ORIGINALS/Doc_A007_0002.XML | - | - | -",
                  "Copy + transcode | /projects/Doc/2026-11-23/ORIGINALS/Doc_A007_0003.mov | "
                  "/projects/Doc/PROXIES/Doc_A007_0003_proxy.mov | _proxy | -"}},
        PlanCase{"APerSourcePresetOverridesThePlansOne",
                 [](JobPlan &plan) {
                     plan.operation = JobOperation::transcode;
                     plan.sourcePresets.insert(QStringLiteral("/media/b.mov"), proxy(QStringLiteral("_review")));
                 },
                 {"Transcode in place | - | /projects/Doc/PROXIES/A001/CLIP/C0001_proxy.mov | _proxy | -",
                  "Transcode in place | - | /projects/Doc/PROXIES/b_review.mov | _review | -"}},
        PlanCase{"CopyOnlyIntoTheRootItself",
                 [](JobPlan &plan) {
                     plan.operation = JobOperation::copy;
                     plan.copyFolder.clear();
                     plan.preset.suffix = QStringLiteral("/not used");
                 },
                 {"Copy & organize | /projects/Doc/A001/CLIP/C0001.MXF | - | - | MD5",
                  "Copy & organize | /projects/Doc/A001/C0001M01.XML | - | - | MD5", "Copy & organize | /projects/Doc/b.mov | - | - | MD5"}}),
    [](const testing::TestParamInfo<PlanCase> &info) { return info.param.name; });

struct Refusal {
    const char *name;
    std::function<void(JobPlan &, std::vector<SourceFile> &)> change;
    QString message;
    bool unusableName = false;
};

class JobPlannerRefusals : public testing::TestWithParam<Refusal> {};

TEST_P(JobPlannerRefusals, RefusesTheWholeBatch)
{
    JobPlan plan = projectPlan();
    std::vector<SourceFile> sources{source(QStringLiteral("a.mov"))};
    GetParam().change(plan, sources);
    try {
        JobPlanner::plan(plan, sources);
        ADD_FAILURE() << "planned";
    } catch (const UnusableNameError &error) {
        EXPECT_TRUE(GetParam().unusableName);
        EXPECT_EQ(error.message(), GetParam().message);
    } catch (const VantorError &error) {
        EXPECT_FALSE(GetParam().unusableName);
        EXPECT_EQ(error.message(), GetParam().message);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, JobPlannerRefusals,
    testing::Values(
        Refusal{"CopyOntoItsSource",
                [](JobPlan &plan, std::vector<SourceFile> &) {
                    plan.root = QStringLiteral("/media");
                    plan.copyFolder.clear();
                },
                QStringLiteral("Source and destination are the same. Choose another folder.")},
        Refusal{"OutputOntoItsSource",
                [](JobPlan &plan, std::vector<SourceFile> &) {
                    plan.root = QStringLiteral("/media");
                    plan.outputFolder.clear();
                    plan.preset = proxy(QString());
                    plan.operation = JobOperation::transcode;
                },
                QStringLiteral("The output would replace a source. Choose another suffix or folder.")},
        Refusal{"SourceNameThatCannotBeUsed",
                [](JobPlan &, std::vector<SourceFile> &sources) { sources.push_back(source(QStringLiteral(".vantor-x.mov"))); },
                QStringLiteral("This file's name cannot be part of a file name in the project: /media/.vantor-x.mov"), true},
        Refusal{"UnknownToken", [](JobPlan &plan, std::vector<SourceFile> &) { plan.pattern = QStringLiteral("{REEL}"); },
                QStringLiteral("Unknown naming token in \u201C{REEL}\u201D.")},
        Refusal{"OutputNameTooLong",
                [](JobPlan &plan, std::vector<SourceFile> &) { plan.preset.suffix = QString(240, QLatin1Char('x')); },
                QStringLiteral("\u201Ca%1.mov\u201D is not a safe file or folder name.").arg(QString(240, QLatin1Char('x')))},
        Refusal{"AbsoluteFolder", [](JobPlan &plan, std::vector<SourceFile> &) { plan.outputFolder = QStringLiteral("/P"); },
                QStringLiteral("Use relative folder paths, without a leading or trailing slash.")},
        Refusal{"RelativeBackupFolder",
                [](JobPlan &plan, std::vector<SourceFile> &) { plan.backups = {QStringLiteral("backup")}; },
                QStringLiteral("A backup folder must be an absolute path: \u201Cbackup\u201D.")},
        Refusal{"BackupFolderInsideTheProject",
                [](JobPlan &plan, std::vector<SourceFile> &) { plan.backups = {QStringLiteral("/projects/Doc/copy/")}; },
                QStringLiteral("A backup folder must lie outside the project folder: /projects/Doc/copy")},
        Refusal{"BackupFolderHoldingTheProject",
                [](JobPlan &plan, std::vector<SourceFile> &) { plan.backups = {QStringLiteral("/projects")}; },
                QStringLiteral("A backup folder must lie outside the project folder: /projects")},
        Refusal{"BackupFolderRepeated",
                [](JobPlan &plan, std::vector<SourceFile> &) {
                    plan.backups = {QStringLiteral("/mnt/b"), QStringLiteral("/mnt/b/")};
                },
                QStringLiteral("Backup folders must not lie inside one another: /mnt/b")},
        Refusal{"BackupFoldersNested",
                [](JobPlan &plan, std::vector<SourceFile> &) {
                    plan.backups = {QStringLiteral("/mnt/b/day1"), QStringLiteral("/mnt/b")};
                },
                QStringLiteral("Backup folders must not lie inside one another: /mnt/b")},
        Refusal{"InvalidPresetForATranscode",
                [](JobPlan &plan, std::vector<SourceFile> &) { plan.preset.suffix = QStringLiteral("/x"); },
                QStringLiteral("Use a suffix without \u201C/\u201D, \u201C..\u201D or control characters.")}),
    [](const testing::TestParamInfo<Refusal> &info) { return info.param.name; });

TEST(JobPlanner, TemporaryFilesLieBesideTheirTargetsNamedAfterTheJob)
{
    JobPlan plan = projectPlan();
    const std::vector<MediaJob> jobs =
        JobPlanner::plan(plan, {source(QStringLiteral("A001/a.mov")), source(QStringLiteral("A001/a.wav"))});
    ASSERT_EQ(jobs.size(), 2u);
    const QString id = jobs[0].id.toString(QUuid::WithoutBraces).toUpper();
    EXPECT_EQ(JobPlanner::copyTemporary(jobs[0]),
              QStringLiteral("/projects/Doc/2026-11-23/ORIGINALS/A001/.vantor-%1.partial").arg(id));
    EXPECT_EQ(JobPlanner::outputTemporary(jobs[0]), QStringLiteral("/projects/Doc/PROXIES/A001/.vantor-%1-encode.partial").arg(id));
    EXPECT_EQ(JobPlanner::outputTemporary(jobs[1]), std::nullopt);
    EXPECT_NE(jobs[0].id, jobs[1].id);
}

TEST(JobPlanner, EachJobKnowsTheCardItCameFromAndKeepsItThroughTheStateFile)
{
    const std::vector<SourceFile> sources{source(QStringLiteral("A001/CLIP/C0001.MXF")), source(QStringLiteral("A001/x.wav")),
                                          source(QStringLiteral("b.mov")),
                                          {QStringLiteral("/media/My Card/a.mov"), QStringLiteral("My Card/a.mov"),
                                           FileGrant(QStringLiteral("/media")), 1, Timestamp()}};
    const std::vector<MediaJob> jobs = JobPlanner::plan(projectPlan(), sources);
    ASSERT_EQ(jobs.size(), 4u);
    const std::vector<std::optional<QString>> roots{QStringLiteral("/media/A001"), QStringLiteral("/media/A001"), std::nullopt,
                                                    QStringLiteral("/media/My Card")};
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        EXPECT_EQ(jobs[i].sourceRoot, roots[i]) << i;
        EXPECT_EQ(MediaJob::fromJson(jobs[i].toJson()).sourceRoot, roots[i]) << i;
    }
    QJsonObject older = jobs[0].toJson();
    older.remove(QStringLiteral("sourceRoot"));
    EXPECT_EQ(MediaJob::fromJson(older).sourceRoot, std::nullopt);
}

TEST(JobPlanner, OutputNameIsTheTranscodesForVideoAndTheCopysOtherwise)
{
    JobPlan plan = projectPlan();
    plan.pattern = QStringLiteral("{SCENE}-{ORIGINAL}");
    plan.values.insert(QStringLiteral("SCENE"), QStringLiteral("12"));
    EXPECT_EQ(JobPlanner::outputName(plan, source(QStringLiteral("x/a.mov")), 0), QStringLiteral("12-a_proxy.mov"));
    EXPECT_EQ(JobPlanner::outputName(plan, source(QStringLiteral("x/a.wav")), 0), QStringLiteral("12-a.wav"));
    plan.operation = JobOperation::copy;
    EXPECT_EQ(JobPlanner::outputName(plan, source(QStringLiteral("x/a.mov")), 0), QStringLiteral("12-a.mov"));
}

} // namespace

// Each copy owes every backup folder a copy at its place below the project; a transcode-only
// job owes none; cascade defers them all. The list survives the state file, and a job without
// backups is written without the key, as older builds wrote it.
TEST(JobPlanner, CopiesOweEachBackupFolderTheProjectCopysPlace)
{
    struct Case {
        JobOperation operation;
        bool cascade;
        QStringList backups; // paths of the first job's backups
    };
    const Case cases[] = {
        {JobOperation::copyAndTranscode, false,
         {QStringLiteral("/mnt/b/Doc/2026-11-23/ORIGINALS/A001/CLIP/C0001.MXF"),
          QStringLiteral("/mnt/c/Doc/2026-11-23/ORIGINALS/A001/CLIP/C0001.MXF")}},
        {JobOperation::copy, true,
         {QStringLiteral("/mnt/b/Doc/2026-11-23/ORIGINALS/A001/CLIP/C0001.MXF"),
          QStringLiteral("/mnt/c/Doc/2026-11-23/ORIGINALS/A001/CLIP/C0001.MXF")}},
        {JobOperation::transcode, false, {}},
    };
    for (const Case &each : cases) {
        JobPlan plan = projectPlan();
        plan.operation = each.operation;
        plan.cascade = each.cascade;
        plan.backups = {QStringLiteral("/mnt/b/"), QStringLiteral("/mnt/c")};
        const std::vector<MediaJob> jobs = JobPlanner::plan(plan, {source(QStringLiteral("A001/CLIP/C0001.MXF"))});
        ASSERT_EQ(jobs.size(), 1u);
        QStringList paths;
        for (const BackupCopy &backup : jobs[0].backups) {
            paths << backup.path;
            EXPECT_EQ(backup.deferred, each.cascade);
            EXPECT_FALSE(backup.committed);
            EXPECT_EQ(backup.grant, FileGrant(backup.root));
        }
        EXPECT_EQ(paths, each.backups) << each.operation.rawValue().toStdString();

        MediaJob done = jobs[0];
        if (!done.backups.empty()) {
            done.backups[0].committed = true;
            done.backups[0].hash = QStringLiteral("00ff");
            done.backups[1].error = QStringLiteral("No space left on the device.");
            done.backups[1].publish = PublishRecord{7, ChecksumAlgorithm(ChecksumAlgorithm::md5), QStringLiteral("00ff")};
        }
        const MediaJob again = MediaJob::fromJson(done.toJson());
        EXPECT_EQ(again.toJson(), done.toJson());
        EXPECT_EQ(done.toJson().contains(QStringLiteral("backups")), !done.backups.empty());
        if (!done.backups.empty()) {
            EXPECT_EQ(again.backups[0].hash, QStringLiteral("00ff"));
            EXPECT_EQ(again.backups[1].error, QStringLiteral("No space left on the device."));
            EXPECT_EQ(again.backups[1].publish, done.backups[1].publish);
        }
    }
}
