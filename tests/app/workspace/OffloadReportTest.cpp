#include "WorkspaceHarness.h"

#include "queue/CardReportWriter.h"
#include "queue/CardTracker.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

// A card queued into a project through the workspace; its phases do no file work, so the card
// ends "Not safe to format", and its report must be written all the same.
class OffloadReportTest : public ::testing::Test {
public:
    WorkspaceHarness harness;
    TempDir media;
    Workspace &ws = harness.open();
    QString project = media.makeDir(QStringLiteral("projects/Doc"));
    QString card = media.makeDir(QStringLiteral("A001"));

    void offload()
    {
        media.write(QStringLiteral("A001/CLIP/C0001.MXF"), "one");
        media.write(QStringLiteral("A001/CLIP/C0002.MXF"), "two");
        harness.choices.folders << project;
        ws.openProject();
        ws.setOperation(JobOperation::copy);
        ws.receive({card});
        ASSERT_TRUE(harness.settle());
        ws.enqueue();
        ASSERT_FALSE(ws.error()) << ws.error()->toStdString();
    }
    QStringList entries(const QString &folder) { return QDir(folder).entryList(QDir::Files | QDir::Hidden); }
};

class ReportFolder : public OffloadReportTest, public ::testing::WithParamInterface<bool> {};

TEST_P(ReportFolder, ACardThatEndsHasItsReportInTheProject)
{
    const bool templated = GetParam();
    const QString folder = templated ? media.makeDir(QStringLiteral("projects/Doc/01_REPORTS")) : project + QStringLiteral("/Reports");
    QSignalSpy written(&ws, &Workspace::offloadReportWritten);
    offload();
    ASSERT_TRUE(written.wait(20000));
    ASSERT_EQ(written.count(), 1);
    EXPECT_EQ(written[0][0].toString(), card);
    const QStringList paths = written[0][1].toStringList();
    ASSERT_EQ(paths.size(), 2);
    const QRegularExpression name(QStringLiteral("^A001 offload \\d{4}-\\d\\d-\\d\\d \\d{6}\\.(html|json)$"));
    for (const QString &path : paths) {
        EXPECT_EQ(QFileInfo(path).path(), folder);
        EXPECT_TRUE(name.match(QFileInfo(path).fileName()).hasMatch()) << path.toStdString();
    }
    EXPECT_EQ(entries(folder), QStringList({QFileInfo(paths[0]).fileName(), QFileInfo(paths[1]).fileName()}))
        << "nothing staged is left behind";

    const std::optional<CardVerdict> verdict = ws.cards().verdict(card);
    ASSERT_TRUE(verdict);
    EXPECT_FALSE(verdict->safe);
    const QString html = QString::fromUtf8(readFile(paths[0]));
    for (const QString &text : {verdict->label(), QStringLiteral("C0001.MXF"), QStringLiteral("C0002.MXF")})
        EXPECT_TRUE(html.contains(text)) << text.toStdString();

    QJsonParseError error;
    const QJsonDocument json = QJsonDocument::fromJson(readFile(paths[1]), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError);
    QStringList reported, queued;
    for (const QJsonValue &job : json.array())
        reported << job[QStringLiteral("id")].toString();
    for (const MediaJob &job : ws.queue().state().jobs)
        queued << job.id.toString(QUuid::WithoutBraces).toUpper();
    EXPECT_EQ(reported, queued);
}

INSTANTIATE_TEST_SUITE_P(Folders, ReportFolder, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "ReportsOfTheTemplate" : "ReportsMade"; });

TEST_F(OffloadReportTest, AReportInTheSameSecondNeverReplacesOne)
{
    QSignalSpy written(&ws, &Workspace::offloadReportWritten);
    offload();
    ASSERT_TRUE(written.wait(20000));
    const std::vector<MediaJob> jobs = ws.queue().state().jobs;
    const CardVerdict verdict = *ws.cards().verdict(card);
    const QDateTime when(QDate(2020, 1, 2), QTime(3, 4, 5)); // local time, apart from the report just written
    const CardReportWriter::Written first = CardReportWriter::write(card, jobs, verdict, when);
    EXPECT_EQ(first.html, project + QStringLiteral("/Reports/A001 offload 2020-01-02 030405.html"));
    media.write(QStringLiteral("projects/Doc/Reports/") + QFileInfo(first.html).fileName(), "mine");
    // Only the JSON of " 2" exists: both names move on together.
    const QString taken = first.json.chopped(5) + QStringLiteral(" 2.json");
    media.write(taken.mid(media.path().size() + 1), "theirs");
    const CardReportWriter::Written second = CardReportWriter::write(card, jobs, verdict, when);
    EXPECT_EQ(second.html, first.html.chopped(5) + QStringLiteral(" 3.html"));
    EXPECT_EQ(second.json, first.json.chopped(5) + QStringLiteral(" 3.json"));
    EXPECT_EQ(readFile(first.html), "mine");
    EXPECT_EQ(readFile(taken), "theirs");
    EXPECT_TRUE(QFileInfo::exists(second.html) && QFileInfo::exists(second.json));
}

TEST_F(OffloadReportTest, AnUnwritableReportFolderIsANoticeAndTheVerdictStands)
{
    const QString folder = media.makeDir(QStringLiteral("projects/Doc/01_REPORTS"));
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
    QSignalSpy failed(&ws, &Workspace::offloadReportFailed);
    QSignalSpy written(&ws, &Workspace::offloadReportWritten);
    offload();
    ASSERT_TRUE(failed.wait(20000));
    const QString message = QStringLiteral("The offload report for \u201CA001\u201D could not be written: "
                                           "The destination is read-only: ") + folder;
    EXPECT_EQ(failed[0][0].toString(), message);
    EXPECT_EQ(ws.notice(), message);
    EXPECT_EQ(written.count(), 0);
    EXPECT_FALSE(ws.error());
    EXPECT_TRUE(ws.cards().verdict(card).has_value());
    EXPECT_EQ(entries(folder), QStringList());
    EXPECT_EQ(entries(project + QStringLiteral("/Reports")), QStringList()) << "no second folder is made";
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace
