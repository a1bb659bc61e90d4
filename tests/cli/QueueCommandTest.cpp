// vantor queue.
#include "CliTest.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace vantor;
using namespace vantor::test;

namespace {

class QueueCommand : public CliTest {
protected:
    QueueCommand()
    {
        dir.write("card/A001/CLIP/one.mov", randomBytes(3000, 1));
        dir.write("card/A001/CLIP/two.mov", randomBytes(5000, 2));
        dir.write("card/A001/sidecar.xml", "<xml/>");
        dir.write("card/A001/.hidden", "x");
    }
    ProcessResult add(const QStringList &options = {})
    {
        return vantor(QStringList{"queue", "add", "copy", "--root", dir.makeDir("project")} + options + QStringList{dir.file("card/A001")});
    }
};

TEST_F(QueueCommand, AddListRunAndReport)
{
    const ProcessResult added = add({"--folder", "02_FOOTAGE/ORIGINALS"});
    ASSERT_EQ(added.exitCode, 0) << added.errText().toStdString();
    EXPECT_EQ(added.outText().count('\n'), 3) << "two clips and the sidecar; the hidden file is left out";
    const QString listed = vantor({"queue", "list"}).outText();
    EXPECT_EQ(listed.count("WAITING"), 3);
    EXPECT_TRUE(listed.contains(" → " + dir.file("project/02_FOOTAGE/ORIGINALS/A001/CLIP/one.mov")));

    const ProcessResult ran = vantor({"queue", "run"});
    EXPECT_EQ(ran.exitCode, 0) << ran.errText().toStdString();
    EXPECT_EQ(readFile(dir.file("project/02_FOOTAGE/ORIGINALS/A001/CLIP/two.mov")), readFile(dir.file("card/A001/CLIP/two.mov")));
    const QJsonArray jobs = QJsonDocument::fromJson(vantor({"queue", "list", "--json"}).out).array();
    ASSERT_EQ(jobs.size(), 3);
    for (const auto &job : jobs) {
        EXPECT_EQ(job[u"status"].toString(), "COMPLETE");
        EXPECT_EQ(job[u"sourceHash"], job[u"destinationHash"]);
    }
    const QString report = dir.file("Vantor-queue-report.json");
    ASSERT_EQ(vantor({"queue", "report", report}).exitCode, 0);
    const QJsonArray reports = QJsonDocument::fromJson(readFile(report)).array();
    ASSERT_EQ(reports.size(), 3);
    EXPECT_EQ(reports[0][u"checksum"].toString(), "xxHash64");
}

TEST_F(QueueCommand, ChangesByIdPrefixAndInBulk)
{
    const QStringList ids = add({"--no-verify"}).outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(ids.size(), 3);
    EXPECT_EQ(vantor({"queue", "move", ids[2].left(8), "--by", "-2"}).exitCode, 0);
    EXPECT_EQ(stored().jobs.front().id.toString(QUuid::WithoutBraces).toUpper(), ids[2]);
    for (const QStringList &change : {QStringList{"cancel", ids[0]}, {"cancel", "--all"}, {"retry", ids[1]}, {"remove", ids[0]},
                                      {"remove", "--completed"}})
        EXPECT_EQ(vantor(QStringList{"queue"} + change).exitCode, 0) << change.join(' ').toStdString();
    const AppState state = stored();
    ASSERT_EQ(state.jobs.size(), 1u);
    EXPECT_EQ(state.jobs[0].status, JobStatus::waiting);
    EXPECT_FALSE(state.jobs[0].checksum.has_value());
}

} // namespace
