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
    TempDir support;
    TempDir config;
    TempDir media;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

    void SetUp() override
    {
        environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), support.path());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
    }
    ProcessResult vantor(const QStringList &arguments) { return runVantor(arguments, environment); }
    AppState state() { return StateStore::load(support.path()); }
    QStringList filesBelow(const QString &root)
    {
        QStringList files;
        for (const QString &entry : listTree(root))
            if (!entry.endsWith(QLatin1Char('/')))
                files << entry;
        return files;
    }
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

    const ProcessResult result = vantor({QStringLiteral("ingest"), QStringLiteral("--project"), project,
                                         QStringLiteral("--rename"), QStringLiteral("{PROJECT}_{ORIGINAL}_{COUNTER}"),
                                         card});
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();

    // The previewed names: the scan's order gives the counters.
    const TranscodePreset preset = state().presets.front();
    QStringList copies, proxies;
    int counter = 0;
    for (const SourceFile &source : MediaIngestService::scan({card})) {
        const QFileInfo info(source.url);
        const QString stem = QStringLiteral("Doc_%1_%2").arg(info.completeBaseName()).arg(++counter, 4, 10, QLatin1Char('0'));
        copies << QStringLiteral("A001/CLIP/") + stem + u'.' + info.suffix();
        if (MediaIngestService::isVideo(source.url))
            proxies << QStringLiteral("A001/CLIP/") + stem + preset.suffix + u'.' + preset.container;
    }
    ASSERT_EQ(copies.size(), 3);
    copies.sort();
    proxies.sort();
    EXPECT_EQ(filesBelow(project + QStringLiteral("/02_FOOTAGE/ORIGINALS")), copies);
    EXPECT_EQ(filesBelow(project + QStringLiteral("/02_FOOTAGE/PROXIES")), proxies);
    EXPECT_EQ(listTree(project), (QStringList{QStringLiteral("02_FOOTAGE/"), QStringLiteral("02_FOOTAGE/ORIGINALS/"),
                                              QStringLiteral("02_FOOTAGE/ORIGINALS/A001/"),
                                              QStringLiteral("02_FOOTAGE/ORIGINALS/A001/CLIP/")}
                                  + [&] {
                                        QStringList rest;
                                        for (const QString &copy : copies)
                                            rest << QStringLiteral("02_FOOTAGE/ORIGINALS/") + copy;
                                        rest << QStringLiteral("02_FOOTAGE/PROXIES/")
                                             << QStringLiteral("02_FOOTAGE/PROXIES/A001/")
                                             << QStringLiteral("02_FOOTAGE/PROXIES/A001/CLIP/");
                                        for (const QString &proxy : proxies)
                                            rest << QStringLiteral("02_FOOTAGE/PROXIES/") + proxy;
                                        return rest;
                                    }()));
    for (const MediaJob &job : state().jobs)
        EXPECT_EQ(job.status, JobStatus::complete) << job.source.toStdString();
}

TEST_F(WorkspaceCommands, IngestQueuesThePlanFromItsOptions)
{
    media.write(QStringLiteral("A001/CLIP/C1.mov"), "video");
    media.write(QStringLiteral("A001/CLIP/C1.XML"), "xml");
    const QString project = media.makeDir(QStringLiteral("Doc"));

    const ProcessResult refused = vantor({QStringLiteral("ingest"), QStringLiteral("--project"), project,
                                          QStringLiteral("--copy-folder"), QStringLiteral("/abs"),
                                          media.file(QStringLiteral("A001"))});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.errText(),
              QStringLiteral("vantor: Use relative folder paths, without a leading or trailing slash.\n"));
    EXPECT_TRUE(state().jobs.empty());

    const ProcessResult queued = vantor({QStringLiteral("ingest"), QStringLiteral("--project"), project,
                                         QStringLiteral("--operation"), QStringLiteral("copy"), QStringLiteral("--flat"),
                                         QStringLiteral("--no-verify"), QStringLiteral("--copy-folder"),
                                         QStringLiteral("CARDS/{PROJECT}"), QStringLiteral("--no-start"),
                                         media.file(QStringLiteral("A001"))});
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
    ASSERT_TRUE(after.project);
    EXPECT_EQ(after.project->name, QStringLiteral("Doc"));

    const ProcessResult usage = vantor({QStringLiteral("ingest"), QStringLiteral("--project"), project,
                                        QStringLiteral("--operation"), QStringLiteral("move"), project});
    EXPECT_EQ(usage.exitCode, 2);
}

TEST_F(WorkspaceCommands, WatchRulesFromTheCommandLine)
{
    const QString watched = media.makeDir(QStringLiteral("In"));
    const ProcessResult inside = vantor({QStringLiteral("watch"), QStringLiteral("add"), watched,
                                         media.makeDir(QStringLiteral("In/out")), QStringLiteral("-p"),
                                         QStringLiteral("Review File")});
    EXPECT_EQ(inside.exitCode, 1);
    EXPECT_EQ(inside.errText(), QStringLiteral("vantor: Choose a destination outside the watched folder.\n"));

    const ProcessResult added = vantor({QStringLiteral("watch"), QStringLiteral("add"), watched,
                                        media.makeDir(QStringLiteral("Out")), QStringLiteral("-p"),
                                        QStringLiteral("Review File")});
    ASSERT_EQ(added.exitCode, 0) << added.errText().toStdString();
    const QString id = added.outText().trimmed();

    const auto listed = [&] {
        return QJsonDocument::fromJson(vantor({QStringLiteral("watch"), QStringLiteral("list"), QStringLiteral("--json")}).out)
            .array();
    };
    ASSERT_EQ(listed().size(), 1);
    EXPECT_EQ(listed().at(0)[QStringLiteral("id")].toString(), id);
    EXPECT_FALSE(listed().at(0)[QStringLiteral("enabled")].toBool());
    EXPECT_EQ(listed().at(0)[QStringLiteral("preset")][QStringLiteral("name")].toString(), QStringLiteral("Review File"));

    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("enable"), id.left(8).toLower()}).exitCode, 0);
    EXPECT_TRUE(listed().at(0)[QStringLiteral("enabled")].toBool());
    EXPECT_TRUE(vantor({QStringLiteral("watch"), QStringLiteral("list")}).outText().contains(QStringLiteral("enabled")));
    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("disable"), id}).exitCode, 0);
    EXPECT_FALSE(listed().at(0)[QStringLiteral("enabled")].toBool());
    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("remove"), QStringLiteral("nope")}).exitCode, 1);
    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("remove"), id}).exitCode, 0);
    EXPECT_TRUE(listed().isEmpty());
}

TEST_F(WorkspaceCommands, OneProcessHoldsTheQueueAndAnInterruptSavesIt)
{
    QProcess runner;
    runner.setProcessEnvironment(environment);
    runner.start(vantorPath(), {QStringLiteral("watch"), QStringLiteral("run")});
    ASSERT_TRUE(runner.waitForStarted());
    // The queue writes its state once it holds the lock.
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo::exists(support.file(QStringLiteral("state.json"))); }, 10000));

    const ProcessResult second = vantor({QStringLiteral("ingest"), QStringLiteral("--project"),
                                         media.makeDir(QStringLiteral("Doc")), media.write(QStringLiteral("a.mov"), "v")});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_TRUE(second.errText().startsWith(QStringLiteral("vantor: Another Vantor process (pid %1) is using the queue")
                                                .arg(runner.processId())))
        << second.errText().toStdString();
    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("enable"), QStringLiteral("0")}).exitCode, 1);

    ::kill(pid_t(runner.processId()), SIGTERM);
    ASSERT_TRUE(runner.waitForFinished(10000));
    EXPECT_EQ(runner.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(runner.exitCode(), 130);
    // The lock went with it.
    EXPECT_EQ(vantor({QStringLiteral("watch"), QStringLiteral("list")}).exitCode, 0);
    EXPECT_EQ(vantor({QStringLiteral("ingest"), QStringLiteral("--project"), media.file(QStringLiteral("Doc")),
                      QStringLiteral("--no-start"), media.file(QStringLiteral("a.mov"))})
                  .exitCode,
              0);
}
