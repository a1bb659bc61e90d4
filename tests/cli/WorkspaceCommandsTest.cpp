// vantor ingest and vantor watch.
#include "CliTest.h"
#include "ClipMaker.h"
#include "ingest/MediaIngestService.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>
#include <csignal>

using namespace vantor;
using namespace vantor::test;

namespace {

class WorkspaceCommands : public CliTest {
protected:
    ProcessResult vantor(const QString &command, const QStringList &arguments = {}) const
    {
        return CliTest::vantor(command.split(u' ') + arguments);
    }
};

// Waits for the real copy and transcode phases on main.
TEST_F(WorkspaceCommands, IngestOfACardWithRenamingIntoAProject)
{
    dir.makeDir("A001/CLIP");
    makeClip(dir.file("A001/CLIP/A001C001.mov"));
    makeClip(dir.file("A001/CLIP/A001C002.mov"));
    dir.write("A001/CLIP/A001C001.XML", "<clip/>");
    dir.write("A001/.DS_Store", "finder");
    const QString project = dir.makeDir("Doc"), card = dir.file("A001");

    const ProcessResult result = vantor("ingest --rename {PROJECT}_{ORIGINAL}_{COUNTER} --project", {project, card});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();

    // The previewed names, counted in the scan's order; the sidecar is copied, never transcoded.
    const TranscodePreset preset = stored().presets.front();
    QStringList expected;
    int counter = 0;
    for (const SourceFile &source : MediaIngestService::scan({card})) {
        const QFileInfo info(source.url);
        const QString stem = QString("A001/CLIP/Doc_%1_%2").arg(info.completeBaseName()).arg(++counter, 4, 10, QChar('0'));
        expected << "02_FOOTAGE/ORIGINALS/" + stem + '.' + info.suffix();
        if (MediaIngestService::isVideo(source.url))
            expected << "02_FOOTAGE/PROXIES/" + stem + preset.suffix + '.' + preset.container;
    }
    ASSERT_EQ(counter, 3); // the hidden file is not a source
    QStringList files = listTree(project);
    files.removeIf([](const QString &entry) { return entry.endsWith(u'/'); });
    expected.sort();
    EXPECT_EQ(files, expected);
    for (const MediaJob &job : stored().jobs)
        EXPECT_EQ(job.status, JobStatus::complete) << job.source.toStdString();
}

TEST_F(WorkspaceCommands, IngestQueuesThePlanFromItsOptions)
{
    dir.write("A001/CLIP/C1.mov", "video");
    dir.write("A001/CLIP/C1.XML", "xml");
    const QString project = dir.makeDir("Doc");
    const ProcessResult queued = vantor("ingest --operation copy --flat --no-verify --copy-folder CARDS/{PROJECT} --no-start --project",
                                        {project, dir.file("A001")});
    ASSERT_EQ(queued.exitCode, 0) << queued.errText().toStdString();
    EXPECT_EQ(queued.outText(), "2 jobs queued\n");
    const AppState after = stored();
    ASSERT_EQ(after.jobs.size(), 2u);
    for (const MediaJob &job : after.jobs) {
        EXPECT_EQ(std::make_tuple(job.status, job.operation, job.checksum), std::make_tuple(JobStatus::waiting, JobOperation::copy, std::nullopt));
        EXPECT_EQ(QFileInfo(*job.copyDestination).path(), project + "/CARDS/Doc");
    }
}

TEST_F(WorkspaceCommands, WatchRulesFromTheCommandLine)
{
    const ProcessResult added = vantor("watch add", {dir.makeDir("In"), dir.makeDir("Out"), "-p", "Review File"});
    ASSERT_EQ(added.exitCode, 0) << added.errText().toStdString();
    const QString id = added.outText().trimmed();
    const auto rule = [&] { return QJsonDocument::fromJson(vantor("watch list --json").out).array().at(0); };
    EXPECT_EQ(rule()[u"id"].toString(), id);
    EXPECT_EQ(rule()[u"preset"][u"name"].toString(), "Review File");
    EXPECT_FALSE(rule()[u"enabled"].toBool());
    EXPECT_EQ(vantor("watch enable", {id.left(8).toLower()}).exitCode, 0);
    EXPECT_TRUE(rule()[u"enabled"].toBool());
    EXPECT_EQ(vantor("watch disable", {id}).exitCode, 0);
    EXPECT_FALSE(rule()[u"enabled"].toBool());
    EXPECT_EQ(vantor("watch remove", {id}).exitCode, 0);
    EXPECT_TRUE(stored().watches.empty());
}

// A second process that would change the queue is refused while the first holds it, and goes on
// once the first is stopped (SIGTERM ends it with 130).
TEST_F(WorkspaceCommands, OneProcessHoldsTheQueue)
{
    QProcess runner;
    runner.setProcessEnvironment(environment);
    runner.start(vantorPath(), {"watch", "run"});
    ASSERT_TRUE(runner.waitForStarted());
    // The queue writes its state once it holds the lock.
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo::exists(support + "/state.json"); }, 10000));

    const QStringList ingest{dir.makeDir("Doc"), dir.write("a.mov", "v")};
    const ProcessResult second = vantor("ingest --no-start --project", ingest);
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_TRUE(second.errText().startsWith(QString("vantor: Another Vantor process (pid %1) is using the queue").arg(runner.processId())))
        << second.errText().toStdString();
    EXPECT_EQ(vantor("queue list").exitCode, 0) << "reading needs no lock";

    ::kill(pid_t(runner.processId()), SIGTERM);
    ASSERT_TRUE(runner.waitForFinished(10000));
    EXPECT_EQ(std::make_pair(runner.exitStatus(), runner.exitCode()), std::make_pair(QProcess::NormalExit, 130));
    EXPECT_EQ(vantor("ingest --no-start --project", ingest).exitCode, 0);
}

} // namespace
