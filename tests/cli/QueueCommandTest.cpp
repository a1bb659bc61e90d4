#include "ChildProcess.h"
#include "TempDir.h"
#include "model/StateStore.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::runVantor;
using vantor::test::TempDir;

namespace {

class QueueCommandTest : public ::testing::Test {
protected:
    QueueCommandTest()
    {
        environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), dir.file(QStringLiteral("support")));
        dir.write(QStringLiteral("card/A001/CLIP/one.mov"), vantor::test::randomBytes(3000, 1));
        dir.write(QStringLiteral("card/A001/CLIP/two.mov"), vantor::test::randomBytes(5000, 2));
        dir.write(QStringLiteral("card/A001/sidecar.xml"), "<xml/>");
        dir.write(QStringLiteral("card/A001/.hidden"), "x");
        dir.makeDir(QStringLiteral("project"));
    }

    test::ProcessResult vantor(const QStringList &arguments) { return runVantor(arguments, environment); }

    QStringList addCopies(const QStringList &extra = {})
    {
        const auto added = vantor(QStringList{QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"),
                                              QStringLiteral("--root"), dir.file(QStringLiteral("project")),
                                              QStringLiteral("--folder"), QStringLiteral("02_FOOTAGE/ORIGINALS")}
                                  + extra + QStringList{dir.file(QStringLiteral("card/A001"))});
        EXPECT_EQ(added.exitCode, 0) << added.errText().toStdString();
        return added.outText().split(u'\n', Qt::SkipEmptyParts);
    }

    AppState stored() { return StateStore::load(dir.file(QStringLiteral("support"))); }

    TempDir dir;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
};

} // namespace

TEST_F(QueueCommandTest, AddListRunAndReport)
{
    const QStringList ids = addCopies();
    ASSERT_EQ(ids.size(), 3) << "two clips and the sidecar; the hidden file is left out";

    const auto listed = vantor({QStringLiteral("queue"), QStringLiteral("list")});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_EQ(listed.outText().count(QStringLiteral("WAITING")), 3);
    EXPECT_TRUE(listed.outText().contains(QStringLiteral(" → ") + dir.file(QStringLiteral("project/02_FOOTAGE/ORIGINALS/A001/CLIP/one.mov"))));

    const auto ran = vantor({QStringLiteral("queue"), QStringLiteral("run")});
    EXPECT_EQ(ran.exitCode, 0) << ran.errText().toStdString();
    EXPECT_EQ(vantor::test::readFile(dir.file(QStringLiteral("project/02_FOOTAGE/ORIGINALS/A001/CLIP/two.mov"))),
              vantor::test::readFile(dir.file(QStringLiteral("card/A001/CLIP/two.mov"))));

    const auto json = vantor({QStringLiteral("queue"), QStringLiteral("list"), QStringLiteral("--json")});
    const QJsonArray jobs = QJsonDocument::fromJson(json.out).array();
    ASSERT_EQ(jobs.size(), 3);
    for (const auto &job : jobs) {
        EXPECT_EQ(job[QStringLiteral("status")].toString(), QStringLiteral("COMPLETE"));
        EXPECT_EQ(job[QStringLiteral("sourceHash")], job[QStringLiteral("destinationHash")]);
    }

    const QString report = dir.file(QStringLiteral("Vantor-queue-report.json"));
    ASSERT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("report"), report}).exitCode, 0);
    const QJsonArray reports = QJsonDocument::fromJson(vantor::test::readFile(report)).array();
    ASSERT_EQ(reports.size(), 3);
    EXPECT_EQ(reports[0][QStringLiteral("checksum")].toString(), QStringLiteral("xxHash64"));

    // The same batch again collides with the history and is refused whole.
    const auto again = vantor({QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                               dir.file(QStringLiteral("project")), dir.file(QStringLiteral("card/A001"))});
    EXPECT_EQ(again.exitCode, 0) << "without --folder the destinations differ";
    const auto clash = vantor({QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                               dir.file(QStringLiteral("project")), dir.file(QStringLiteral("card/A001"))});
    EXPECT_EQ(clash.exitCode, 1);
    EXPECT_TRUE(clash.errText().startsWith(QStringLiteral("vantor: Destination collision: ")));
    EXPECT_EQ(stored().jobs.size(), 6u);
}

TEST_F(QueueCommandTest, ChangesByIdPrefixAndInBulk)
{
    const QStringList ids = addCopies({QStringLiteral("--no-verify")});
    ASSERT_EQ(ids.size(), 3);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("move"), ids[2].left(8), QStringLiteral("--by"), QStringLiteral("-2")}).exitCode, 0);
    EXPECT_EQ(stored().jobs.front().id.toString(QUuid::WithoutBraces).toUpper(), ids[2]);

    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("cancel"), ids[0]}).exitCode, 0);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("cancel"), QStringLiteral("--all")}).exitCode, 0);
    for (const MediaJob &job : stored().jobs)
        EXPECT_EQ(job.status, JobStatus::cancelled);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("retry"), ids[1]}).exitCode, 0);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("remove"), ids[0]}).exitCode, 0);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("remove"), QStringLiteral("--completed")}).exitCode, 0);
    const AppState state = stored();
    ASSERT_EQ(state.jobs.size(), 1u);
    EXPECT_EQ(state.jobs[0].status, JobStatus::waiting);
    EXPECT_FALSE(state.jobs[0].checksum.has_value());

    const auto unknown = vantor({QStringLiteral("queue"), QStringLiteral("retry"), QStringLiteral("FFFF")});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.errText(), QStringLiteral("vantor: No job has the id FFFF.\n"));
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("retry")}).exitCode, 2);
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("frob")}).exitCode, 2);
}

TEST_F(QueueCommandTest, AnUnreadableStateIsReportedAndLeftAlone)
{
    const QByteArray broken = "{\"jobs\": 7}";
    dir.write(QStringLiteral("support/state.json"), broken);
    const auto listed = vantor({QStringLiteral("queue"), QStringLiteral("list")});
    EXPECT_EQ(listed.exitCode, 1);
    const auto added = vantor({QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                               dir.file(QStringLiteral("project")), dir.file(QStringLiteral("card/A001"))});
    EXPECT_EQ(added.exitCode, 1);
    EXPECT_TRUE(added.errText().startsWith(
        QStringLiteral("vantor: Saved state could not be read. The original state.json has been preserved. ")));
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("run")}).exitCode, 1);
    EXPECT_EQ(vantor::test::readFile(dir.file(QStringLiteral("support/state.json"))), broken);
}

TEST_F(QueueCommandTest, ASecondProcessIsRefusedWhileTheFirstOwnsTheQueue)
{
    // A big sparse source keeps the first process busy copying for a while.
    QFile big(dir.file(QStringLiteral("card/B002/big.mov")));
    dir.makeDir(QStringLiteral("card/B002"));
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_TRUE(big.resize(qint64(4) << 30));
    big.close();
    ASSERT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                      dir.file(QStringLiteral("project")), QStringLiteral("--no-verify"), dir.file(QStringLiteral("card/B002"))})
                  .exitCode,
              0);

    QProcess runner;
    runner.setProcessEnvironment(environment);
    runner.start(test::vantorPath(), {QStringLiteral("queue"), QStringLiteral("run")});
    ASSERT_TRUE(runner.waitForStarted());
    const QString lockFile = dir.file(QStringLiteral("support/queue.lock"));
    for (int attempt = 0; attempt < 500; ++attempt) {
        if (vantor::test::readFile(lockFile).trimmed() == QByteArray::number(runner.processId()))
            break;
        QThread::msleep(10);
    }
    const auto refused = vantor({QStringLiteral("queue"), QStringLiteral("cancel"), QStringLiteral("--all")});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.errText().contains(QStringLiteral("Another Vantor process (pid %1)").arg(runner.processId())))
        << refused.errText().toStdString();
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("list")}).exitCode, 0) << "reading needs no lock";

    runner.kill();
    runner.waitForFinished();
    EXPECT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("cancel"), QStringLiteral("--all")}).exitCode, 0);
}

TEST_F(QueueCommandTest, InterruptCancelsTheRunningJobAndSavesTheQueue)
{
    QFile big(dir.file(QStringLiteral("card/B002/big.mov")));
    dir.makeDir(QStringLiteral("card/B002"));
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_TRUE(big.resize(qint64(4) << 30));
    big.close();
    ASSERT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("add"), QStringLiteral("copy"), QStringLiteral("--root"),
                      dir.file(QStringLiteral("project")), dir.file(QStringLiteral("card/B002"))})
                  .exitCode,
              0);
    QProcess runner;
    runner.setProcessEnvironment(environment);
    runner.start(test::vantorPath(), {QStringLiteral("queue"), QStringLiteral("run")});
    ASSERT_TRUE(runner.waitForStarted());
    // Wait until the copy is well under way: its staging file holds several chunks.
    const QString project = dir.file(QStringLiteral("project"));
    const auto stagedBytes = [&] {
        const QStringList staged = vantor::test::listTree(project).filter(QStringLiteral(".vantor-"));
        return staged.isEmpty() ? qint64(0) : QFileInfo(project + u'/' + staged.first()).size();
    };
    for (int attempt = 0; attempt < 3000 && stagedBytes() < (qint64(64) << 20); ++attempt)
        QThread::msleep(10);
    ::kill(pid_t(runner.processId()), SIGINT);
    ASSERT_TRUE(runner.waitForFinished(60000));
    EXPECT_EQ(runner.exitCode(), 130) << runner.readAllStandardError().toStdString();
    EXPECT_TRUE(vantor::test::listTree(project).filter(QStringLiteral("big.mov")).isEmpty());
    EXPECT_TRUE(vantor::test::listTree(project).filter(QStringLiteral(".vantor-")).isEmpty()) << "staging removed";
    // Saved in its running status; the next owner reports it as interrupted.
    const auto listed = vantor({QStringLiteral("queue"), QStringLiteral("list"), QStringLiteral("--json")});
    const QJsonArray jobs = QJsonDocument::fromJson(listed.out).array();
    ASSERT_EQ(jobs.size(), 1);
    EXPECT_EQ(jobs[0][QStringLiteral("status")].toString(), QStringLiteral("COPYING"));
    ASSERT_EQ(vantor({QStringLiteral("queue"), QStringLiteral("retry"), QStringLiteral("--failed")}).exitCode, 0);
    EXPECT_EQ(stored().jobs[0].status, JobStatus::waiting);
}
