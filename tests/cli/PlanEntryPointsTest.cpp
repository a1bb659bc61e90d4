// One plan through every way jobs are made: the Import and Transcode pages, a watch rule,
// `vantor queue add`, `vantor ingest --dry-run` and `vantor transcode --dry-run` give the same jobs.
#include "CliTest.h"
#include "ClipMaker.h"
#include "WorkspaceHarness.h"
#include "automation/WatchFolderService.h"
#include "planning/JobPlanner.h"
#include "presets/PresetService.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>

using namespace vantor;
using namespace vantor::test;

namespace {

TranscodePreset reviewPreset()
{
    return *PresetService::find(PresetService::defaults(), QStringLiteral("Review File"));
}

// A job as the user meets it: what it does, where it writes and through which temporary files
// (the job's own id spelled ID), with which preset and checksum.
QString outline(const MediaJob &job)
{
    const QString id = job.id.toString(QUuid::WithoutBraces).toUpper();
    const auto shown = [&](const std::optional<QString> &path) { return path ? QString(*path).replace(id, "ID") : "-"; };
    return QStringList{job.source, job.operation.rawValue(), shown(job.copyDestination), shown(job.outputDestination),
                       shown(JobPlanner::copyTemporary(job)), shown(JobPlanner::outputTemporary(job)),
                       job.preset ? job.preset->name + job.preset->suffix + "." + job.preset->container : "-",
                       job.checksum ? job.checksum->rawValue() : "-"}
        .join(" | ");
}

QStringList outlines(const std::vector<MediaJob> &jobs)
{
    QStringList lines;
    for (const MediaJob &job : jobs)
        lines << outline(job);
    lines.sort(); // a watch rule queues in the order its folder lists
    return lines;
}

class PlanEntryPoints : public CliTest {
protected:
    QString in = dir.makeDir("In"), project = dir.makeDir("Doc");
    QStringList files{makeClip(dir.file("In/a.mov")), makeClip(dir.file("In/b.mp4")), dir.write("In/notes.txt", "n")};

    QStringList lines(const std::initializer_list<QString> &jobs) const
    {
        QStringList expected;
        for (const QString &job : jobs)
            expected << QString(job).replace("%D", dir.path());
        expected.sort();
        return expected;
    }
    std::vector<MediaJob> parsed(const ProcessResult &result, const QString &key) const
    {
        const QJsonDocument document = QJsonDocument::fromJson(result.out);
        const QJsonArray array = key.isEmpty() ? document.array() : document.object().value(key).toArray();
        std::vector<MediaJob> jobs;
        for (const QJsonValue &entry : array)
            jobs.push_back(MediaJob::fromJson(key.isEmpty() ? entry.toObject().value("job") : entry));
        return jobs;
    }
    std::vector<MediaJob> transcodePage(const QString &folder)
    {
        WorkspaceHarness harness; // a queue of its own
        Workspace &ws = harness.open();
        harness.choices.folders = {folder};
        ws.chooseTranscodeDestination();
        ws.setPreset(reviewPreset());
        ws.receive(files, Page::transcode);
        EXPECT_TRUE(harness.settle());
        ws.queue().pause();
        ws.enqueueTranscodes(false);
        EXPECT_EQ(ws.error(), std::nullopt);
        return ws.queue().state().jobs;
    }
    std::vector<MediaJob> watchRule(const QString &folder)
    {
        WorkspaceHarness harness; // a queue of its own
        Workspace &ws = harness.open();
        ws.queue().pause();
        double now = 0;
        WatchFolderService &watcher = *ws.watcher();
        watcher.setClock([&] { return now; });
        watcher.setEnabled(watcher.addRule(in, folder, reviewPreset()), true);
        for (double at : {0.0, WatchFolderService::stableFor}) {
            now = at;
            QSignalSpy finished(&watcher, &WatchFolderService::pollFinished);
            watcher.poll();
            EXPECT_TRUE(finished.wait(10000));
        }
        return ws.queue().state().jobs;
    }
    std::vector<MediaJob> importPage(const QString &card)
    {
        WorkspaceHarness harness; // a queue of its own
        Workspace &ws = harness.open();
        ws.openProjectFolder(project);
        ws.setOperation(JobOperation::copyAndTranscode);
        ws.setCopyFolder("ORIG");
        ws.setOutputFolder("PROX");
        ws.setVerify(true);
        ws.setAlgorithm(ChecksumAlgorithm::md5);
        ws.setPreset(reviewPreset());
        ws.receive({card}, Page::ingest);
        EXPECT_TRUE(harness.settle());
        ws.planImport();
        EXPECT_TRUE(harness.settle());
        EXPECT_EQ(ws.error(), std::nullopt);
        return ws.importPlan().jobs;
    }
};

// Every video of the folder transcoded into Doc/OUT; the text file is nobody's job. A watch rule
// keeps the watched folder's name, as an ingest of that folder does.
TEST_F(PlanEntryPoints, TranscodesIntoAFolderAreTheSameJobsEverywhere)
{
    const QString out = dir.makeDir("Doc/OUT");
    const QString names = "Review File_REVIEW.mp4 | -";
    const QStringList expected = lines(
        {"%D/In/a.mov | Transcode in place | - | %D/Doc/OUT/a_REVIEW.mp4 | - | %D/Doc/OUT/.vantor-ID-encode.partial | " + names,
         "%D/In/b.mp4 | Transcode in place | - | %D/Doc/OUT/b_REVIEW.mp4 | - | %D/Doc/OUT/.vantor-ID-encode.partial | " + names});
    const QStringList review{"-p", "Review File"};

    EXPECT_EQ(outlines(transcodePage(out)), expected) << "Transcode page";
    const ProcessResult queued = vantor(QStringList{"queue", "add", "transcode", "-o", out} + review + files);
    ASSERT_EQ(queued.exitCode, 0) << queued.errText().toStdString();
    EXPECT_EQ(outlines(stored().jobs), expected) << "queue add";
    const ProcessResult ingest = vantor(QStringList{"ingest", "--dry-run", "--json", "--project", project, "--operation",
                                                    "transcode", "--output-folder", "OUT", "--flat"} + review + files);
    ASSERT_EQ(ingest.exitCode, 0) << ingest.errText().toStdString();
    EXPECT_EQ(outlines(parsed(ingest, "jobs")), expected) << "ingest";

    const QStringList kept = lines(
        {"%D/In/a.mov | Transcode in place | - | %D/Doc/OUT/In/a_REVIEW.mp4 | - | %D/Doc/OUT/In/.vantor-ID-encode.partial | " + names,
         "%D/In/b.mp4 | Transcode in place | - | %D/Doc/OUT/In/b_REVIEW.mp4 | - | %D/Doc/OUT/In/.vantor-ID-encode.partial | " + names});
    EXPECT_EQ(outlines(watchRule(out)), kept) << "watch rule";
    const ProcessResult folder = vantor(QStringList{"ingest", "--dry-run", "--json", "--project", project, "--operation",
                                                    "transcode", "--output-folder", "OUT", in} + review);
    ASSERT_EQ(folder.exitCode, 0) << folder.errText().toStdString();
    EXPECT_EQ(outlines(parsed(folder, "jobs")), kept) << "ingest of the folder";

    // The text file is refused by name; the videos' plans are printed with the temporary file
    // the engine is told to write.
    const ProcessResult dryRun = vantor(QStringList{"transcode", "--dry-run", "--json", "-o", out} + review + files);
    EXPECT_EQ(dryRun.exitCode, 1);
    EXPECT_EQ(dryRun.errText(), "vantor: Select a video file to transcode: " + files[2] + "\n");
    EXPECT_EQ(outlines(parsed(dryRun, {})), expected) << "transcode --dry-run";
    for (const QJsonValue &entry : QJsonDocument::fromJson(dryRun.out).array()) {
        const MediaJob job = MediaJob::fromJson(entry.toObject().value("job"));
        EXPECT_EQ(entry.toObject().value("temporary").toString(), JobPlanner::outputTemporary(job));
        EXPECT_TRUE(entry.toObject().value("arguments").toArray().contains(*JobPlanner::outputTemporary(job)));
    }
}

// A card copied into Doc/ORIG and its video transcoded into Doc/PROX, sub-folders kept.
TEST_F(PlanEntryPoints, CopiesAndTranscodesIntoAProjectAreTheSameJobsEverywhere)
{
    const QString card = dir.makeDir("card/A001");
    makeClip(dir.makeDir("card/A001/CLIP") + "/c.mov");
    dir.write("card/A001/sidecar.xml", "<xml/>");
    const QStringList expected = lines(
        {"%D/card/A001/CLIP/c.mov | Copy + transcode | %D/Doc/ORIG/A001/CLIP/c.mov | %D/Doc/PROX/A001/CLIP/c_REVIEW.mp4 | "
         "%D/Doc/ORIG/A001/CLIP/.vantor-ID.partial | %D/Doc/PROX/A001/CLIP/.vantor-ID-encode.partial | Review File_REVIEW.mp4 | MD5",
         "%D/card/A001/sidecar.xml | Copy & organize | %D/Doc/ORIG/A001/sidecar.xml | - | %D/Doc/ORIG/A001/.vantor-ID.partial | - | - | MD5"});
    const QStringList options{"-p", "Review File", "-a", "MD5", "--output-folder", "PROX"};

    EXPECT_EQ(outlines(importPage(card)), expected) << "Import page";
    const ProcessResult queued =
        vantor(QStringList{"queue", "add", "copy-transcode", "--root", project, "--folder", "ORIG"} + options + QStringList{card});
    ASSERT_EQ(queued.exitCode, 0) << queued.errText().toStdString();
    EXPECT_EQ(outlines(stored().jobs), expected) << "queue add";
    const ProcessResult ingest = vantor(QStringList{"ingest", "--dry-run", "--json", "--project", project, "--copy-folder",
                                                    "ORIG"} + options + QStringList{card});
    ASSERT_EQ(ingest.exitCode, 0) << ingest.errText().toStdString();
    EXPECT_EQ(outlines(parsed(ingest, "jobs")), expected) << "ingest";
}

} // namespace
