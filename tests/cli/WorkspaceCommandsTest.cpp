#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"

#include "ingest/MediaIngestService.h"
#include "model/StateStore.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>
#include <gtest/gtest.h>
#include <csignal>

using namespace vantor;
using namespace vantor::test;

namespace {

// Every command here runs on a private support folder and private user defaults.
class WorkspaceCommands : public ::testing::Test {
protected:
    TempDir support, config, media;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

    void SetUp() override
    {
        environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), support.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    }
    ProcessResult vantor(const QString &command, const QStringList &arguments)
    {
        return runVantor(command.split(u' ') + arguments, environment);
    }
    AppState state() { return StateStore::load(support.path()); }
};

} // namespace

// Waits for the real copy and transcode phases on main.
TEST_F(WorkspaceCommands, IngestOfACardWithRenamingIntoAProject)
{
    media.makeDir(QStringLiteral("A001/CLIP"));
    makeClip(media.file(QStringLiteral("A001/CLIP/A001C001.mov")));
    makeClip(media.file(QStringLiteral("A001/CLIP/A001C002.mov")));
    media.write(QStringLiteral("A001/CLIP/A001C001.XML"), "<clip/>");
    media.write(QStringLiteral("A001/.DS_Store"), "finder");
    const QString project = media.makeDir(QStringLiteral("Doc"));
    const QString card = media.file(QStringLiteral("A001"));

    const ProcessResult result = vantor(QStringLiteral("ingest --rename {PROJECT}_{ORIGINAL}_{COUNTER} --project"),
                                        {project, card});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();

    // The previewed names, counted in the scan's order; the sidecar is copied, never transcoded.
    const TranscodePreset preset = state().presets.front();
    QStringList expected;
    int counter = 0;
    for (const SourceFile &source : MediaIngestService::scan({card})) {
        const QFileInfo info(source.url);
        const QString stem = QStringLiteral("A001/CLIP/Doc_%1_%2").arg(info.completeBaseName()).arg(++counter, 4, 10, QLatin1Char('0'));
        expected << QStringLiteral("02_FOOTAGE/ORIGINALS/") + stem + u'.' + info.suffix();
        if (MediaIngestService::isVideo(source.url))
            expected << QStringLiteral("02_FOOTAGE/PROXIES/") + stem + preset.suffix + u'.' + preset.container;
    }
    ASSERT_EQ(counter, 3); // the hidden file is not a source
    QStringList files = listTree(project);
    files.removeIf([](const QString &entry) { return entry.endsWith(u'/'); });
    expected.sort();
    EXPECT_EQ(files, expected);
    for (const MediaJob &job : state().jobs)
        EXPECT_EQ(job.status, JobStatus::complete) << job.source.toStdString();
}

TEST_F(WorkspaceCommands, IngestQueuesThePlanFromItsOptions)
{
    media.write(QStringLiteral("A001/CLIP/C1.mov"), "video");
    media.write(QStringLiteral("A001/CLIP/C1.XML"), "xml");
    const QString project = media.makeDir(QStringLiteral("Doc"));
    const ProcessResult queued =
        vantor(QStringLiteral("ingest --operation copy --flat --no-verify --copy-folder CARDS/{PROJECT} --no-start --project"),
               {project, media.file(QStringLiteral("A001"))});
    ASSERT_EQ(queued.exitCode, 0) << queued.errText().toStdString();
    EXPECT_EQ(queued.outText(), QStringLiteral("2 jobs queued\n"));
    const AppState after = state();
    ASSERT_EQ(after.jobs.size(), 2u);
    for (const MediaJob &job : after.jobs) {
        EXPECT_EQ(job.status, JobStatus::waiting);
        EXPECT_EQ(job.operation, JobOperation::copy);
        EXPECT_EQ(job.checksum, std::nullopt);
        EXPECT_EQ(QFileInfo(*job.copyDestination).path(), project + QStringLiteral("/CARDS/Doc"));
    }
    EXPECT_EQ(vantor(QStringLiteral("ingest --operation move --project"), {project, project}).exitCode, 2);
}

TEST_F(WorkspaceCommands, WatchRulesFromTheCommandLine)
{
    const ProcessResult added = vantor(QStringLiteral("watch add"), {media.makeDir(QStringLiteral("In")),
                                                                     media.makeDir(QStringLiteral("Out")),
                                                                     QStringLiteral("-p"), QStringLiteral("Review File")});
    ASSERT_EQ(added.exitCode, 0) << added.errText().toStdString();
    const QString id = added.outText().trimmed();
    const auto rule = [&] { return QJsonDocument::fromJson(vantor(QStringLiteral("watch list --json"), {}).out).array().at(0); };
    EXPECT_EQ(rule()[QStringLiteral("id")].toString(), id);
    EXPECT_EQ(rule()[QStringLiteral("preset")][QStringLiteral("name")].toString(), QStringLiteral("Review File"));
    EXPECT_FALSE(rule()[QStringLiteral("enabled")].toBool());
    EXPECT_EQ(vantor(QStringLiteral("watch enable"), {id.left(8).toLower()}).exitCode, 0);
    EXPECT_TRUE(rule()[QStringLiteral("enabled")].toBool());
    EXPECT_EQ(vantor(QStringLiteral("watch disable"), {id}).exitCode, 0);
    EXPECT_FALSE(rule()[QStringLiteral("enabled")].toBool());
    EXPECT_EQ(vantor(QStringLiteral("watch remove nope"), {}).exitCode, 1);
    EXPECT_EQ(vantor(QStringLiteral("watch remove"), {id}).exitCode, 0);
    EXPECT_TRUE(state().watches.empty());
}

TEST_F(WorkspaceCommands, OneProcessHoldsTheQueueAndAnInterruptSavesIt)
{
    QProcess runner;
    runner.setProcessEnvironment(environment);
    runner.start(vantorPath(), {QStringLiteral("watch"), QStringLiteral("run")});
    ASSERT_TRUE(runner.waitForStarted());
    // The queue writes its state once it holds the lock.
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo::exists(support.file(QStringLiteral("state.json"))); }, 10000));

    const QStringList ingest{media.makeDir(QStringLiteral("Doc")), media.write(QStringLiteral("a.mov"), "v")};
    const ProcessResult second = vantor(QStringLiteral("ingest --no-start --project"), ingest);
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_TRUE(second.errText().startsWith(
        QStringLiteral("vantor: Another Vantor process (pid %1) is using the queue").arg(runner.processId())))
        << second.errText().toStdString();

    ::kill(pid_t(runner.processId()), SIGTERM);
    ASSERT_TRUE(runner.waitForFinished(10000));
    EXPECT_EQ(runner.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(runner.exitCode(), 130);
    // The lock went with it.
    EXPECT_EQ(vantor(QStringLiteral("ingest --no-start --project"), ingest).exitCode, 0);
}
