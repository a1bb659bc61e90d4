// vantor queue, vantor ingest and vantor watch, all on the one queue.
#include "CliTest.h"
#include "ClipMaker.h"
#include "ingest/MediaIngestService.h"
#include "queue/CardSeal.h"
#include "state/QueueLock.h"
#include "SampleRecords.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

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
    // Not a terminal: no status line, one line per ended file with the run's count and bytes.
    EXPECT_EQ(ran.errText(), QString("[1/3, 3.0 kB of 8.0 kB] COMPLETE  %1/CLIP/one.mov\n"
                                     "[2/3, 8.0 kB of 8.0 kB] COMPLETE  %1/CLIP/two.mov\n"
                                     "[3/3, 8.0 kB of 8.0 kB] COMPLETE  %1/sidecar.xml\n").arg(dir.file("card/A001")));
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
        if (cases[i].interrupted) {
            EXPECT_EQ(free[++line], "    " + message);
        }
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
        if (cases[i].interrupted) {
            EXPECT_EQ(job.error, message);
        }
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
    // The card and its proxies each get an ASC MHL history.
    for (const char *scope : {"02_FOOTAGE/ORIGINALS/A001/ascmhl/", "02_FOOTAGE/PROXIES/A001/ascmhl/"})
        expected << QString(scope) + "0001_A001_DATE.mhl" << QString(scope) + "ascmhl_chain.xml";
    // And the card's offload report, in a folder of its own as the project has no 01_REPORTS.
    expected << "Reports/A001 offload DATE.html" << "Reports/A001 offload DATE.json";
    ASSERT_EQ(counter, 3); // the hidden file is not a source
    QStringList files = listTree(project);
    files.removeIf([](const QString &entry) { return entry.endsWith(u'/'); });
    files.replaceInStrings(QRegularExpression("_\\d{4}-\\d\\d-\\d\\d_\\d{6}Z\\.mhl$"), "_DATE.mhl");
    files.replaceInStrings(QRegularExpression(" offload \\d{4}-\\d\\d-\\d\\d \\d{6}\\."), " offload DATE.");
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

// A card of two clips (700 and 600 kB) and a sidecar.
QString writeCard(const TempDir &dir)
{
    dir.write("A001/CLIP/C1.MXF", randomBytes(700000, 1));
    dir.write("A001/CLIP/C2.MXF", randomBytes(600000, 2));
    dir.write("A001/C1.XML", "<clip/>");
    return dir.file("A001");
}

TEST_F(WorkspaceCommands, IngestDryRunPrintsThePlanAndQueuesNothing)
{
    const QString card = writeCard(dir), project = dir.makeDir("Doc");
    const ProcessResult text = vantor("ingest --operation copy --dry-run --project", {project, card});
    ASSERT_EQ(text.exitCode, 0) << text.errText().toStdString();
    const QString copies = project + "/02_FOOTAGE/ORIGINALS/A001";
    const QStringList lines = text.outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines.mid(0, 3), (QStringList{"Copy & organize  7 bytes  " + card + "/C1.XML → " + copies + "/C1.XML",
                                            "Copy & organize  700.0 kB  " + card + "/CLIP/C1.MXF → " + copies + "/CLIP/C1.MXF",
                                            "Copy & organize  600.0 kB  " + card + "/CLIP/C2.MXF → " + copies + "/CLIP/C2.MXF"}));
    EXPECT_TRUE(lines[3].contains(": 1.3 MB to copy, ")) << lines[3].toStdString();

    const ProcessResult json = vantor("ingest --operation copy --dry-run --json --project", {project, card});
    const QJsonObject plan = QJsonDocument::fromJson(json.out).object();
    EXPECT_EQ(plan.keys(), (QStringList{"alreadyOffloaded", "jobs", "volumes"}));
    EXPECT_EQ(plan[u"jobs"].toArray().size(), 3);
    EXPECT_EQ(plan[u"volumes"][0][u"needed"].toInteger(), 1300007);
    EXPECT_TRUE(stored().jobs.empty());
    EXPECT_TRUE(QDir(project).isEmpty());

    // The picture options change the preset the clips are transcoded with.
    const QJsonArray jobs = QJsonDocument::fromJson(vantor("ingest --rotate 90 --grayscale --burn-text DAY1 --dry-run --json --project",
                                                           {project, card}).out)[u"jobs"].toArray();
    ASSERT_EQ(jobs.size(), 3);
    const QJsonValue preset = jobs[1][u"preset"];
    EXPECT_EQ(std::make_tuple(preset[u"encoding"][u"rotation"].toInt(), preset[u"encoding"][u"grayscale"].toBool(),
                              preset[u"finishing"][u"burnText"].toString()),
              std::make_tuple(90, true, QString("DAY1")));
}

// A 1 MB volume mounted for the test, unmounted after it.
struct SmallVolume {
    QString path;
    bool mounted = false;
    explicit SmallVolume(const QString &folder) : path(folder)
    {
        mounted = QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=1m", "tmpfs", path}) == 0;
    }
    ~SmallVolume()
    {
        if (mounted)
            QProcess::execute("umount", {path});
    }
};

TEST_F(WorkspaceCommands, AnIngestThatDoesNotFitIsRefusedBeforeAnyByteIsWritten)
{
    const QString card = writeCard(dir);
    const SmallVolume volume(dir.makeDir("volume"));
    if (!volume.mounted)
        GTEST_SKIP() << "mounting a tmpfs needs root";
    for (const QString &run : QStringList{"ingest --operation copy --dry-run --project", "ingest --operation copy --project"}) {
        const ProcessResult result = vantor(run, {volume.path, card});
        EXPECT_EQ(result.exitCode, 1) << run.toStdString();
        EXPECT_EQ(result.errText(), "vantor: Not enough space on " + volume.path + " for this ingest: 1.3 MB needed, 1.0 MB free.\n");
        EXPECT_TRUE(QDir(volume.path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
    EXPECT_TRUE(stored().jobs.empty());
}

// Files whose verified copies are already in the project are reported, not refused; a changed
// file under a taken name still is.
TEST_F(WorkspaceCommands, IngestSetsAsideWhatIsAlreadyOffloaded)
{
    const QString card = writeCard(dir), project = dir.makeDir("Doc"), copies = project + "/02_FOOTAGE/ORIGINALS/A001";
    ASSERT_EQ(vantor("ingest --operation copy --project", {project, card}).exitCode, 0);
    dir.write("A001/C2.XML", "<clip two/>");

    const ProcessResult again = vantor("ingest --operation copy --project", {project, card});
    ASSERT_EQ(again.exitCode, 0) << again.errText().toStdString();
    EXPECT_EQ(again.outText(), copies + "/C2.XML\nSafe to format: " + card + "\n  Receipt "
                                   + CardSeal::receipts(stored().jobs).value(card) + ": " + copies + "\n");
    QStringList expected{"Comparing the copies already at their destinations with their sources."};
    for (const QString &file : QStringList{"C1.XML", "CLIP/C1.MXF", "CLIP/C2.MXF"})
        expected << QString("Already offloaded: %1/%2 → %3/%2").arg(card, file, copies);
    expected << "3 files already offloaded; their copies match the sources.";
    EXPECT_EQ(again.errText().split('\n').mid(0, 5), expected);

    QFile copy(copies + "/CLIP/C2.MXF");
    ASSERT_TRUE(copy.open(QIODevice::ReadWrite));
    copy.write("changed"); // same size, other bytes
    copy.close();
    const QByteArray before = readFile(copy.fileName());
    const ProcessResult changed = vantor("ingest --operation copy --project", {project, card});
    EXPECT_EQ(changed.exitCode, 1);
    EXPECT_EQ(changed.errText(), "Comparing the copies already at their destinations with their sources.\n"
                                 "vantor: Destination collision: " + copies + "/CLIP/C2.MXF. Change the output pattern or folder.\n");
    EXPECT_EQ(readFile(copy.fileName()), before);
}

// A card holding files whose names cannot be used: each is named on stderr, the rest is queued,
// and the exit status says something was left out.
TEST_F(WorkspaceCommands, IngestSkipsFilesWhoseNamesCannotBeUsed)
{
    const QString card = dir.makeDir("A001"), project = dir.makeDir("Doc");
    dir.write("A001/ok.mov", "v");
    const QStringList unusable{dir.write("A001/A:B.mov", "v"), dir.write("A001/new\nline.mov", "v"),
                               dir.write("A001/" + QString(241, 'x') + ".mov", "v")};
    const ProcessResult result = vantor("ingest --operation copy --no-start --project", {project, card});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), "1 jobs queued\n");
    QString expected;
    for (const QString &path : unusable)
        expected += "vantor: Skipped. This file's name cannot be part of a file name in the project: "
                    + QString(path).replace("\n", "\\x0a") + '\n';
    EXPECT_EQ(result.errText(), expected + "vantor: 3 of the sources were skipped; see the lines above.\n");
    ASSERT_EQ(stored().jobs.size(), 1u);
    EXPECT_EQ(stored().jobs.front().source, card + "/ok.mov");
    // A pattern that breaks for every file is the pattern's fault: nothing is skipped, nothing queued.
    const ProcessResult pattern = vantor("ingest --operation copy --no-start --rename {NOPE} --project", {project, card + "/ok.mov"});
    EXPECT_EQ(pattern.exitCode, 1);
    EXPECT_EQ(pattern.errText(), "vantor: Unknown naming token in \u201C{NOPE}\u201D.\n");
    EXPECT_EQ(stored().jobs.size(), 1u);
}

TEST_F(WorkspaceCommands, ASourceThatVanishedAfterQueueingIsNamed)
{
    ASSERT_EQ(addCard({"--no-verify"}).exitCode, 0);
    const QString gone = dir.file("card/A001/sidecar.xml");
    ASSERT_TRUE(QFile::remove(gone));
    const ProcessResult ran = vantor("queue run");
    EXPECT_EQ(ran.exitCode, 1);
    EXPECT_TRUE(ran.errText().contains(": " + gone + ": No such file or directory\n")) << ran.errText().toStdString();
}

// The support folder's files are named when the system refuses them.
TEST_F(WorkspaceCommands, ASupportFolderThatCannotBeUsedIsNamed)
{
    ASSERT_TRUE(QDir().mkpath(support));
    const std::tuple<int, QString, QString> cases[] = {
        {0555, "queue run", "vantor: " + support + "/queue.lock: Permission denied\n"},
        {0, "queue list", "vantor: Saved state could not be read. The original state.json has been preserved. " + support
                              + "/state.json: Permission denied\n"},
    };
    for (const auto &[mode, command, message] : cases) {
        ::chmod(QFile::encodeName(support).constData(), mode_t(mode));
        // setpriv takes root's override of file permissions away, so the folder is locked.
        const ProcessResult result = runProgram("setpriv", QStringList{"--bounding-set=-dac_override,-dac_read_search", vantorPath()}
                                                               + command.split(' '), environment);
        EXPECT_EQ(result.exitCode, 1) << command.toStdString();
        EXPECT_EQ(result.errText(), message);
    }
    ::chmod(QFile::encodeName(support).constData(), 0755);
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

// A save the disk refuses fails the command that asked for it, and nothing is published that
// the state could not record.
TEST_F(WorkspaceCommands, ASaveThatFailsFailsTheCommand)
{
    ASSERT_EQ(addCard({"--no-verify"}).exitCode, 0);
    environment.insert("VANTOR_FAULT_ERRNO", "ENOSPC");
    dir.write("card2/x.mov", "x");
    // The command's own save is the first write: one frame appended to the state journal.
    for (const auto &[command, failAt] : {std::pair{QString("queue add copy --root %1 %2").arg(dir.makeDir("p2"), dir.file("card2")), "1"},
                                          {"queue cancel --all", "1"}}) {
        environment.insert("VANTOR_FAULT_FAIL_AT", failAt);
        const ProcessResult result = vantor(command);
        EXPECT_EQ(result.exitCode, 1) << command.toStdString();
        EXPECT_EQ(result.errText().trimmed().section('\n', -1), "vantor: Queue could not be saved: No space left on device")
            << command.toStdString();
        if (command.startsWith("queue add")) {
            EXPECT_EQ(result.outText(), "") << "no id of a job that was not saved";
        }
    }
    environment.remove("VANTOR_FAULT_FAIL_AT");
    environment.remove("VANTOR_FAULT_ERRNO");

    // The run: the support folder on a full volume, the copies' destination elsewhere.
    const SmallVolume volume(dir.makeDir("full"));
    ASSERT_TRUE(volume.mounted) << "mounting a tmpfs needs root";
    ASSERT_TRUE(QFile::copy(support + "/state.json", volume.path + "/state.json"));
    QProcess::execute("sh", {"-c", "cat /dev/zero > \"$0\" 2>/dev/null", volume.path + "/filler"});
    environment.insert("VANTOR_SUPPORT_DIR", volume.path);
    const ProcessResult full = vantor("queue run");
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_EQ(full.errText().trimmed().section('\n', -1), "vantor: Queue could not be saved: No space left on device");
    const auto statuses = [&] {
        QStringList all;
        for (const MediaJob &job : StateStore::load(volume.path).jobs)
            all << job.status.rawValue();
        return all;
    };
    EXPECT_EQ(statuses(), QStringList({"WAITING", "WAITING", "WAITING"}));
    EXPECT_EQ(vantor("queue run").exitCode, 1) << "still full";
    QFile::remove(volume.path + "/filler");
    const ProcessResult freed = vantor("queue run");
    EXPECT_EQ(freed.exitCode, 0) << freed.errText().toStdString();
    EXPECT_EQ(statuses(), QStringList({"COMPLETE", "COMPLETE", "COMPLETE"})) << "nothing published unrecorded";
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
    QFile::remove(support + "/queue.lock");
    const ProcessResult third = vantor("ingest --no-start --project", ingest);
    EXPECT_EQ(third.exitCode, 1) << "a deleted lock file lets no second writer in";
    EXPECT_TRUE(third.errText().startsWith("vantor: Another Vantor process")) << third.errText().toStdString();

    ::kill(pid_t(runner.processId()), SIGTERM);
    ASSERT_TRUE(runner.waitForFinished(10000));
    EXPECT_EQ(std::make_pair(runner.exitStatus(), runner.exitCode()), std::make_pair(QProcess::NormalExit, 130));
    EXPECT_EQ(vantor("ingest --no-start --project", ingest).exitCode, 0);
}

} // namespace
