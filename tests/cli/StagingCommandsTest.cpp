// Staging files killed runs leave: a later `vantor copy` of the same target and `vantor queue
// clean` remove them, and never anything else.
#include "CliTest.h"
#include "ingest/StagingFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class StagingCommands : public CliTest {};

TEST_F(StagingCommands, ALaterCopyOfTheSameTargetRemovesWhatAKilledOneLeft)
{
    const QByteArray content = randomBytes(3 << 20, 5);
    const QString source = dir.write("card/clip.mov", content), project = dir.makeDir("project");
    // Killed after the staging file is made and written to: a full-size leftover in real life.
    environment.insert("VANTOR_FAULT_KILL_AFTER", "2");
    EXPECT_NE(vantor({"copy", source, project + "/clip.mov"}).exitCode, 0);
    environment.remove("VANTOR_FAULT_KILL_AFTER");
    ASSERT_EQ(listTree(project).filter(".vantor-").size(), 1) << "the kill left no staging file; the test proved nothing";
    const ProcessResult again = vantor({"copy", source, project + "/clip.mov"});
    EXPECT_EQ(again.exitCode, 0) << again.errText().toStdString();
    EXPECT_EQ(listTree(project), QStringList{"clip.mov"});
    EXPECT_EQ(readFile(project + "/clip.mov"), content);
}

// The same target named twice at once: the second copy must not take the first one's staging
// file for a leftover.
TEST_F(StagingCommands, ASecondCopyToATargetBeingWrittenIsRefused)
{
    const QString source = hugeFile("huge.mov", qint64(8) << 30), project = dir.makeDir("project");
    const auto first = launch({"copy", "--no-verify", source, project + "/huge.mov"}, [&] { return !listTree(project).isEmpty(); });
    ASSERT_EQ(listTree(project).size(), 1) << "the first copy never started writing";
    const ProcessResult second = vantor({"copy", "--no-verify", source, project + "/huge.mov"});
    ::kill(pid_t(first->processId()), SIGINT);
    first->waitForFinished(60000);
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_EQ(second.errText(), "vantor: Another copy to this target is running: " + project + "/huge.mov\n");
    EXPECT_EQ(first->exitCode(), 130) << "the first copy was disturbed";
    EXPECT_EQ(listTree(project), QStringList());
}

TEST_F(StagingCommands, QueueCleanRemovesOnlyOrphanedStagingInTheJobsFolders)
{
    const QString project = dir.makeDir("project");
    const auto make = [&](const QString &copy, const QString &output) {
        return MediaJob::make(dir.file("card/a.mov"), FileGrant(dir.file("card")), project, FileGrant(project),
                              project + copy, project + output, JobOperation::copyAndTranscode, std::nullopt,
                              std::nullopt, 1, Timestamp{});
    };
    AppState state = AppState::fresh();
    state.jobs = {make("/day1/a.mov", "/proxies/a.mp4"), make("/busy/b.mov", "/proxies/b.mp4")};
    StateStore::save(state, support);
    const QString stranger = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QStringList orphans = {
        dir.write("project/day1/" + StagingFiles::copyName(state.jobs[0].id), "partial"),
        dir.write("project/day1/.vantor-" + stranger + ".partial", "a killed vantor copy"),
        dir.write("project/proxies/" + StagingFiles::encodeName(state.jobs[1].id), "partial")};
    const QStringList kept = {
        dir.write("project/busy/" + StagingFiles::copyName(state.jobs[1].id), "a writer holds this folder"),
        dir.write("project/day1/.vantor-notes.partial", "not a staging name"),
        dir.write("project/day1/a.mov", "a user's file"),
        dir.write("project/other/" + StagingFiles::copyName(state.jobs[0].id), "no job's folder"),
        dir.write("elsewhere/" + StagingFiles::copyName(state.jobs[0].id), "outside the project")};
    dir.makeDir("project/day1/.vantor-" + stranger + "-encode.partial"); // a folder, not a file
    // A copy or transcode at work marks its folder; the clean-up leaves that folder alone.
    const int busy = ::open(QFile::encodeName(project + "/busy").constData(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(::flock(busy, LOCK_SH), 0);

    const auto listed = [](const ProcessResult &result) {
        QStringList lines = result.outText().split('\n', Qt::SkipEmptyParts);
        lines.sort();
        return std::make_pair(result.exitCode, lines);
    };
    QStringList sorted = orphans;
    sorted.sort();
    const ProcessResult dry = vantor({"queue", "clean", "--dry-run"});
    EXPECT_EQ(listed(dry), std::make_pair(0, sorted)) << dry.errText().toStdString();
    for (const QString &path : orphans + kept)
        EXPECT_TRUE(QFileInfo::exists(path)) << "a dry run removed " << path.toStdString();

    const ProcessResult clean = vantor({"queue", "clean"});
    EXPECT_EQ(listed(clean), std::make_pair(0, sorted)) << clean.errText().toStdString();
    for (const QString &path : orphans)
        EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
    for (const QString &path : kept)
        EXPECT_TRUE(QFileInfo::exists(path)) << path.toStdString();
    EXPECT_TRUE(QFileInfo(dir.file("project/day1/.vantor-" + stranger + "-encode.partial")).isDir());
    ::close(busy);

    const ProcessResult help = vantor({"queue", "clean", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.outText().contains("--dry-run"));
    EXPECT_EQ(vantor({"queue", "clean", "extra"}).exitCode, 2);
}

} // namespace
