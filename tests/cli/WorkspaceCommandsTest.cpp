// vantor queue, vantor ingest and vantor watch, all on the one queue.
#include "CliTest.h"
#include "ClipMaker.h"
#include "ingest/MediaIngestService.h"
#include "queue/QueueLock.h"
#include "SampleRecords.h"

#include <QDateTime>
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
    // Queues the copy of a card: two clips, a sidecar and a hidden file.
    ProcessResult addCard(const QStringList &options = {})
    {
        for (const auto &[name, content] : {std::pair<QString, QByteArray>{"CLIP/one.mov", randomBytes(3000, 1)},
                                            {"CLIP/two.mov", randomBytes(5000, 2)}, {"sidecar.xml", "<xml/>"}, {".hidden", "x"}})
            dir.write("card/A001/" + name, content);
        return vantor("queue add copy --root", QStringList{dir.makeDir("project")} + options + QStringList{dir.file("card/A001")});
    }
};

TEST_F(WorkspaceCommands, QueueAddListRunAndReport)
{
    const ProcessResult added = addCard({"--folder", "02_FOOTAGE/ORIGINALS"});
    ASSERT_EQ(added.exitCode, 0) << added.errText().toStdString();
    EXPECT_EQ(added.outText().count('\n'), 3) << "two clips and the sidecar; the hidden file is left out";
    const QString listed = vantor("queue list").outText();
    EXPECT_EQ(listed.count("WAITING"), 3);
    EXPECT_TRUE(listed.contains(" → " + dir.file("project/02_FOOTAGE/ORIGINALS/A001/CLIP/one.mov")));

    const ProcessResult ran = vantor("queue run");
    EXPECT_EQ(ran.exitCode, 0) << ran.errText().toStdString();
    EXPECT_EQ(readFile(dir.file("project/02_FOOTAGE/ORIGINALS/A001/CLIP/two.mov")), readFile(dir.file("card/A001/CLIP/two.mov")));
    const QJsonArray jobs = QJsonDocument::fromJson(vantor("queue list --json").out).array();
    ASSERT_EQ(jobs.size(), 3);
    for (const auto &job : jobs) {
        EXPECT_EQ(job[u"status"].toString(), "COMPLETE");
        EXPECT_EQ(job[u"sourceHash"], job[u"destinationHash"]);
    }
    const QString report = dir.file("Vantor-queue-report.json");
    ASSERT_EQ(vantor("queue report", {report}).exitCode, 0);
    const QJsonArray reports = QJsonDocument::fromJson(readFile(report)).array();
    ASSERT_EQ(reports.size(), 3);
    EXPECT_EQ(reports[0][u"checksum"].toString(), "xxHash64");
    for (const auto &entry : reports) {
        EXPECT_EQ(entry[u"copyPath"], entry[u"destination"]);
        EXPECT_EQ(entry[u"copyHash"], entry[u"sourceHash"]);
        const QDateTime started = QDateTime::fromString(entry[u"started"].toString(), Qt::ISODate);
        EXPECT_TRUE(started.isValid() && started <= QDateTime::fromString(entry[u"finished"].toString(), Qt::ISODate));
    }
    // One project's jobs: those that write into it.
    const auto reported = [&](const QString &project) {
        const ProcessResult result = vantor("queue report", {report, "--project", project});
        return std::make_pair(result.exitCode, result.exitCode == 0 ? QJsonDocument::fromJson(readFile(report)).array().size()
                                                                     : qsizetype(-1));
    };
    EXPECT_EQ(reported(dir.file("project/02_FOOTAGE")), std::make_pair(0, qsizetype(3)));
    EXPECT_EQ(reported(dir.makeDir("proj")), std::make_pair(0, qsizetype(0))) << "a prefix of the name is not the folder";
    EXPECT_EQ(reported(dir.file("missing")), std::make_pair(1, qsizetype(-1)));
    EXPECT_EQ(vantor("queue report", {report, "--project", dir.file("missing")}).errText(),
              "vantor: The project folder does not exist: " + dir.file("missing") + '\n');
}

TEST_F(WorkspaceCommands, QueueChangesByIdPrefixAndInBulk)
{
    const QStringList ids = addCard({"--no-verify"}).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(ids.size(), 3);
    EXPECT_EQ(vantor("queue move", {ids[2].left(8), "--by", "-2"}).exitCode, 0);
    EXPECT_EQ(stored().jobs.front().id.toString(QUuid::WithoutBraces).toUpper(), ids[2]);
    for (const QStringList &change : {QStringList{"cancel", ids[0]}, {"cancel", "--all"}, {"retry", ids[1]}, {"remove", ids[0]},
                                      {"remove", "--completed"}})
        EXPECT_EQ(vantor("queue", change).exitCode, 0) << change.join(' ').toStdString();
    const AppState state = stored();
    ASSERT_EQ(state.jobs.size(), 1u);
    EXPECT_EQ(state.jobs[0].status, JobStatus::waiting);
    EXPECT_FALSE(state.jobs[0].checksum.has_value());
}

// A job left running by a process that is gone (Ctrl-C saves it so) is shown as interrupted while
// no process holds the queue, as it is while one does, and the next run says what it recovered.
TEST_F(WorkspaceCommands, JobsLeftRunningShowAsInterruptedUntilTheNextRunRecoversThem)
{
    const QString message = "Interrupted by application shutdown. Retry to restart the unfinished phase. Original media is preserved.";
    const struct {
        JobStatus status;
        bool interrupted;
    } cases[] = {{JobStatus::copying, true}, {JobStatus::verifying, true}, {JobStatus::transcoding, true},
                 {JobStatus::paused, true}, {JobStatus::complete, false}, {JobStatus::failed, false}};
    AppState state = AppState::fresh();
    for (const auto &c : cases)
        state.jobs.push_back(sampleJob(JobOperation::copyAndTranscode, c.status, int(state.jobs.size())));
    StateStore::save(state, support);
    const QByteArray saved = readFile(support + "/state.json");

    const auto listed = [&] { return vantor("queue list").outText().split('\n', Qt::SkipEmptyParts); };
    QStringList free = listed(), held;
    {
        const QueueLock lock = QueueLock::acquire(support);
        held = listed();
    }
    for (std::size_t i = 0, line = 0; i < std::size(cases); ++i, ++line) {
        const QString status = cases[i].status.rawValue();
        ASSERT_LT(line, std::size_t(free.size()));
        EXPECT_EQ(free[line].section("  ", 1, 1).trimmed(), cases[i].interrupted ? "INTERRUPTED" : status) << status.toStdString();
        if (cases[i].interrupted)
            EXPECT_EQ(free[++line], "    " + message);
        EXPECT_EQ(held[i].section("  ", 1, 1).trimmed(), status) << "a held queue is shown as it is";
    }
    EXPECT_EQ(held.size(), std::size(cases));
    EXPECT_EQ(readFile(support + "/state.json"), saved) << "reading changes nothing";

    const ProcessResult ran = vantor("queue run");
    EXPECT_EQ(ran.exitCode, 0) << ran.errText().toStdString();
    EXPECT_EQ(ran.errText(), "Recovered 4 interrupted jobs: A000C0 clip \u00E9.mov, A000C1 clip \u00E9.mov, A000C2 clip \u00E9.mov, "
                             "A000C3 clip \u00E9.mov. They are now failed; 'vantor queue retry --failed' restarts the unfinished phase.\n");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const MediaJob job = stored().jobs[i];
        EXPECT_EQ(job.status, cases[i].interrupted ? JobStatus::failed : cases[i].status);
        if (cases[i].interrupted)
            EXPECT_EQ(job.error, message);
    }
    EXPECT_EQ(vantor("queue run").errText(), "") << "recovered once";
}

// A move swaps the job with the waiting job that many waiting places away; a change that would
// leave the queue as it is says why and fails.
TEST_F(WorkspaceCommands, QueueChangesThatChangeNothingSayWhy)
{
    AppState state = AppState::fresh();
    for (const JobStatus status : {JobStatus::waiting, JobStatus::complete, JobStatus::waiting, JobStatus::waiting, JobStatus::cancelled})
        state.jobs.push_back(sampleJob(JobOperation::copy, status, int(state.jobs.size())));
    StateStore::save(state, support);
    const auto id = [&](int index) { return state.jobs[std::size_t(index)].id.toString(QUuid::WithoutBraces).toUpper(); };
    const auto outline = [](const std::vector<MediaJob> &jobs) {
        QStringList lines;
        for (const MediaJob &job : jobs)
            lines << job.id.toString() + ' ' + job.status.rawValue();
        return lines;
    };
    const struct {
        QStringList arguments;
        QString error;
    } cases[] = {
        {{"retry", id(1)}, "Job " + id(1) + " is COMPLETE; only a failed or cancelled job can be retried."},
        {{"retry", "--failed"}, "No job has failed; nothing was retried."},
        {{"cancel", id(1)}, "Job " + id(1) + " is already COMPLETE; nothing was cancelled."},
        {{"cancel", id(4)}, "Job " + id(4) + " is already CANCELLED; nothing was cancelled."},
        {{"move", id(0), "--by", "100"}, "Job " + id(0) + " is waiting job 1 of 3; there is no waiting job 100 places after it."},
        {{"move", id(0), "--by", "-1"}, "Job " + id(0) + " is waiting job 1 of 3; there is no waiting job 1 place before it."},
        {{"move", id(3), "--by", "0"}, "Moving by 0 places leaves job " + id(3) + " where it is."},
        {{"move", id(1), "--by", "1"}, "Job " + id(1) + " is COMPLETE; only a waiting job can be moved."},
    };
    for (const auto &c : cases) {
        const ProcessResult result = vantor("queue", c.arguments);
        EXPECT_EQ(std::make_pair(result.exitCode, result.errText()), std::make_pair(1, "vantor: " + c.error + '\n'))
            << c.arguments.join(' ').toStdString();
        EXPECT_EQ(outline(stored().jobs), outline(state.jobs));
    }
    EXPECT_TRUE(vantor("queue move --help").outText().contains("Swaps a waiting job with the waiting job N places away"));
    ASSERT_EQ(vantor("queue move", {id(0), "--by", "2"}).exitCode, 0);
    std::swap(state.jobs[0], state.jobs[3]); // the complete job and the waiting one between stay
    EXPECT_EQ(outline(stored().jobs), outline(state.jobs));
}

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
    for (const auto &[change, enabled] : {std::pair{"watch enable", true}, {"watch disable", false}}) {
        EXPECT_EQ(vantor(change, {enabled ? id.left(8).toLower() : id}).exitCode, 0); // an id's start, in any case, names it
        EXPECT_EQ(rule()[u"enabled"].toBool(), enabled);
    }
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
