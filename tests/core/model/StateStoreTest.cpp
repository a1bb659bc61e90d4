#include "model/StateStore.h"

#include "SampleRecords.h"
#include "TempDir.h"
#include "model/FileIo.h"
#include "model/JsonCodec.h"
#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

QString statePath(const TempDir &dir)
{
    return dir.file(QStringLiteral("state.json"));
}

// Rewrites the value at `path` ("jobs/3/status") inside a JSON document.
QJsonValue edited(
    const QJsonValue &value, QStringList path, const std::function<QJsonValue(QJsonValue)> &edit)
{
    if (path.isEmpty())
        return edit(value);
    const QString head = path.takeFirst();
    if (value.isArray()) {
        QJsonArray array = value.toArray();
        const int index = head.toInt();
        array[index] = edited(array[index], path, edit);
        return array;
    }
    QJsonObject object = value.toObject();
    if (path.isEmpty() && !edit(object.value(head)).isUndefined())
        object.insert(head, edit(object.value(head)));
    else if (path.isEmpty())
        object.remove(head);
    else
        object.insert(head, edited(object.value(head), path, edit));
    return object;
}

QJsonValue removed(const QJsonValue &)
{
    return QJsonValue(QJsonValue::Undefined);
}

TEST(StateStore, EveryKindOfRecordSurvivesSaveAndLoad)
{
    TempDir dir;
    const AppState state = fullState();
    ASSERT_EQ(state.jobs.size(), 24u);
    StateStore::save(state, dir.path());
    const QByteArray written = readFile(statePath(dir));
    EXPECT_EQ(written, StateStore::encode(state));
    // The file says exactly what the records' own JSON forms say.
    EXPECT_EQ(JsonCodec::parse(written), QJsonValue(state.toJson()));
    const AppState loaded = StateStore::load(dir.path());
    EXPECT_EQ(StateStore::encode(loaded), written);
    // Spot checks that the comparison above is of something real.
    EXPECT_EQ(loaded.jobs[5].modified, state.jobs[5].modified);
    EXPECT_EQ(loaded.jobs[0].sourceGrant.bookmark, state.jobs[0].sourceGrant.bookmark);
    EXPECT_EQ(loaded.watches[0].seen, state.watches[0].seen);
    EXPECT_EQ(loaded.presets[1], state.presets[1]);
    EXPECT_FALSE(loaded.presets[1].encoding);
}

TEST(StateStore, ALongHistoryIsWrittenAndReadInOrder)
{
    // Long histories are written and read in parts; the parts must join seamlessly.
    const AppState state = stateWithJobs(4321);
    const QByteArray data = StateStore::encode(state);
    EXPECT_EQ(JsonCodec::parse(data), QJsonValue(state.toJson()));
    const AppState loaded = StateStore::decode(data);
    ASSERT_EQ(loaded.jobs.size(), state.jobs.size());
    for (std::size_t i = 0; i < state.jobs.size(); i += 997)
        EXPECT_EQ(loaded.jobs[i].id, state.jobs[i].id);
    EXPECT_EQ(StateStore::encode(loaded), data);

    QRandomGenerator random(7);
    for (int cut = 0; cut < 100; ++cut) {
        const qsizetype length = random.bounded(qsizetype(data.size() - 2));
        EXPECT_THROW(StateStore::decode(data.left(length)), DecodingError) << "cut at " << length;
    }

    QJsonObject damaged = state.toJson();
    damaged["jobs"]
        = edited(damaged["jobs"], { "4000", "status" }, [](QJsonValue) { return QJsonValue("RUNNING"); });
    EXPECT_THROW(StateStore::decode(JsonCodec::pretty(damaged)), DecodingError);
}

TEST(StateStore, WritesPrettyJsonWithSortedKeys)
{
    TempDir dir;
    StateStore::save(fullState(), dir.path());
    const QByteArray data = readFile(statePath(dir));
    QStringList topKeys;
    for (const QByteArray &line : data.split('\n')) {
        if (line.startsWith("  \""))
            topKeys << QString::fromUtf8(line.mid(3, line.indexOf('"', 3) - 3));
    }
    EXPECT_EQ(topKeys,
        QStringList({ "ffmpeg", "jobs", "presets", "project", "projectGrant", "templates",
            "transcodeDestination", "version", "watches" }));
    EXPECT_TRUE(data.contains("\"root\": \"file:///projects/Doc/\""));
    EXPECT_TRUE(data.contains("\"source\": \"file:///media/CARD%201/CLIP/"));
}

TEST(StateStore, MissingFileGivesTheFreshStateAndFirstSaveMakesTheFolder)
{
    TempDir top;
    const QString directory = top.file("a/b/Vantor");
    const AppState fresh = StateStore::load(directory);
    EXPECT_EQ(fresh.version, 1);
    EXPECT_TRUE(fresh.jobs.empty());
    EXPECT_TRUE(fresh.watches.empty());
    EXPECT_FALSE(fresh.project || fresh.projectGrant || fresh.transcodeDestination);
    EXPECT_EQ(fresh.ffmpeg, "");
    ASSERT_EQ(fresh.templates.size(), ProjectTemplateService::defaults().size());
    EXPECT_EQ(fresh.templates[0].folders, ProjectTemplateService::defaults()[0].folders);
    EXPECT_EQ(listTree(top.path()), QStringList()) << "loading writes nothing";

    StateStore::save(fresh, directory);
    EXPECT_EQ(listTree(top.path()), QStringList({ "a/", "a/b/", "a/b/Vantor/", "a/b/Vantor/state.json" }));
    EXPECT_EQ(StateStore::encode(StateStore::load(directory)), StateStore::encode(fresh));
}

TEST(StateStore, DirectoryHonoursTheEnvironment)
{
    const QByteArray saved = qgetenv("VANTOR_SUPPORT_DIR");
    qputenv("VANTOR_SUPPORT_DIR", "relative/support");
    EXPECT_EQ(StateStore::directory(), "relative/support");
    qunsetenv("VANTOR_SUPPORT_DIR");
    EXPECT_TRUE(StateStore::directory().endsWith("/Vantor"));
    if (!saved.isEmpty())
        qputenv("VANTOR_SUPPORT_DIR", saved);
}

TEST(StateStore, OptionalMembersMayBeMissingOrNull)
{
    const QJsonObject full = fullState().toJson();
    QJsonObject trimmed = full;
    trimmed.remove("project");
    trimmed.insert("projectGrant", QJsonValue::Null);
    trimmed.remove("transcodeDestination");
    const AppState state = StateStore::decode(JsonCodec::pretty(trimmed));
    EXPECT_FALSE(state.project || state.projectGrant || state.transcodeDestination);
    EXPECT_EQ(state.jobs.size(), 24u);
}

struct Damage {
    const char *label;
    const char *path;
    std::function<QJsonValue(QJsonValue)> edit;
};

QJsonValue text(const char *value)
{
    return QString::fromUtf8(value);
}

class StrictDecoding : public testing::TestWithParam<Damage> { };

TEST_P(StrictDecoding, OneFlawAnywhereRefusesTheWholeFile)
{
    TempDir dir;
    const QJsonObject good = fullState().toJson();
    const QJsonValue bad = edited(good, QString::fromLatin1(GetParam().path).split('/'), GetParam().edit);
    ASSERT_NE(bad, QJsonValue(good)) << "the damage must change the document";
    const QByteArray data = JsonCodec::pretty(bad);
    dir.write("state.json", data);
    EXPECT_THROW(StateStore::load(dir.path()), DecodingError);
    EXPECT_EQ(readFile(statePath(dir)), data) << "a file that fails to load is left as it was";
}

// Jobs 0-7 copy, 8-15 copy and transcode, 16-23 transcode; statuses in table order in each.
INSTANTIATE_TEST_SUITE_P(Damages, StrictDecoding,
    testing::Values(Damage { "noVersion", "version", removed },
        Damage { "noTemplates", "templates", removed }, Damage { "noPresets", "presets", removed },
        Damage { "noJobs", "jobs", removed }, Damage { "noWatches", "watches", removed },
        Damage { "noFfmpeg", "ffmpeg", removed },
        Damage { "versionAsText", "version", [](QJsonValue) { return text("1"); } },
        Damage { "versionFraction", "version", [](QJsonValue) { return QJsonValue(1.5); } },
        Damage { "jobsAsObject", "jobs", [](QJsonValue) { return QJsonObject(); } },
        Damage { "ffmpegAsNull", "ffmpeg", [](QJsonValue) { return QJsonValue(QJsonValue::Null); } },
        Damage { "jobStatus", "jobs/3/status", [](QJsonValue) { return text("RUNNING"); } },
        Damage { "jobStatusCase", "jobs/3/status", [](QJsonValue) { return text("waiting"); } },
        Damage { "jobOperation", "jobs/9/operation", [](QJsonValue) { return text("Copy"); } },
        Damage { "jobChecksum", "jobs/2/checksum", [](QJsonValue) { return text("sha256"); } },
        Damage { "jobNoId", "jobs/0/id", removed }, Damage { "jobNoCreated", "jobs/23/created", removed },
        Damage { "jobNoCopyCommitted", "jobs/4/copyCommitted", removed },
        Damage { "jobBytesAsText", "jobs/1/bytes", [](QJsonValue) { return text("12"); } },
        Damage { "jobSourceNotUrl", "jobs/1/source", [](QJsonValue) { return text("/media/x.mov"); } },
        Damage { "jobGrantNoPath", "jobs/1/sourceGrant/path", removed },
        Damage { "jobGrantBadBookmark", "jobs/1/sourceGrant/bookmark",
            [](QJsonValue) { return text("*not base64*"); } },
        Damage { "jobPresetCodec", "jobs/16/preset/codec", [](QJsonValue) { return text("MPEG-2"); } },
        Damage { "jobPresetAudio", "jobs/17/preset/audio", [](QJsonValue) { return text("mp3"); } },
        Damage { "jobPresetEncodingKey", "jobs/16/preset/encoding/maxHeight", removed },
        Damage { "jobPresetFinishingKey", "jobs/16/preset/finishing/burnSize", removed },
        Damage { "presetNoName", "presets/0/name", removed },
        Damage { "presetAsArray", "presets/1", [](QJsonValue) { return QJsonArray(); } },
        Damage { "templateNoFolders", "templates/0/folders", removed },
        Damage {
            "templateFolderNumber", "templates/1/folders", [](QJsonValue) { return QJsonArray({ 1 }); } },
        Damage { "projectNoRoot", "project/root", removed },
        Damage {
            "projectClientNull", "project/client", [](QJsonValue) { return QJsonValue(QJsonValue::Null); } },
        Damage { "projectGrantNumber", "projectGrant", [](QJsonValue) { return QJsonValue(3); } },
        Damage { "watchNoSeen", "watches/0/seen", removed },
        Damage { "watchNoEnabled", "watches/1/enabled", removed },
        Damage { "watchPresetCodec", "watches/0/preset/codec", [](QJsonValue) { return text("prores"); } },
        Damage { "watchBadUuid", "watches/0/id", [](QJsonValue) { return text("not-a-uuid"); } },
        Damage { "destinationNoPath", "transcodeDestination/path", removed }),
    [](const testing::TestParamInfo<Damage> &info) { return info.param.label; });

TEST(StateStore, UnreadableDocumentsRefuseToLoad)
{
    TempDir dir;
    for (const QByteArray &data : { QByteArray("{}"), QByteArray(""), QByteArray("[]"), QByteArray("null"),
             QByteArray("{\"version\": 1"), QByteArray("\xff\xfe{}") }) {
        dir.write("state.json", data);
        EXPECT_THROW(StateStore::load(dir.path()), std::exception) << data.constData();
        EXPECT_EQ(readFile(statePath(dir)), data);
    }
}

TEST(StateStore, ATruncatedFileNeverLoads)
{
    AppState state = fullState();
    state.jobs.resize(4); // every record kind, small enough to cut at every byte
    const QByteArray data = StateStore::encode(state);
    // Only the trailing line feed may go: the document is complete before it.
    qsizetype end = data.size();
    while (end > 0 && std::isspace(static_cast<unsigned char>(data[end - 1])))
        --end;
    ASSERT_GT(end, 1000);
    for (qsizetype length = 0; length < end; ++length)
        EXPECT_THROW(StateStore::decode(data.left(length)), DecodingError) << "cut at " << length;
    // Through the file as well, at a spread of lengths.
    TempDir dir;
    for (qsizetype length = 0; length < end; length += 97) {
        dir.write("state.json", data.left(length));
        EXPECT_THROW(StateStore::load(dir.path()), DecodingError);
        EXPECT_EQ(readFile(statePath(dir)), data.left(length));
    }
}

TEST(StateStore, AFailedSaveLeavesThePreviousFileWhole)
{
    ASSERT_TRUE(FileIo::Faults::available());
    TempDir dir;
    const AppState before = fullState();
    StateStore::save(before, dir.path());
    const QByteArray old = readFile(statePath(dir));
    AppState after = before;
    after.ffmpeg = "/usr/bin/ffmpeg";
    after.jobs.pop_back();
    for (const bool shortWrite : { false, true }) {
        for (long failAt = 1;; ++failAt) {
            ASSERT_LT(failAt, 50);
            FileIo::Faults::set({ .failAt = failAt, .error = ENOSPC, .shortWrite = shortWrite });
            try {
                StateStore::save(after, dir.path());
                FileIo::Faults::clear();
                break;
            } catch (const std::system_error &error) {
                FileIo::Faults::clear();
                EXPECT_EQ(error.code().value(), ENOSPC);
            }
            // A failure after the rename (the folder's sync) may already show the new file.
            const QByteArray now = readFile(statePath(dir));
            EXPECT_TRUE(now == old || now == StateStore::encode(after)) << "failure at " << failAt;
            EXPECT_EQ(listTree(dir.path()), QStringList { "state.json" })
                << "temporary file left at " << failAt;
        }
        EXPECT_EQ(readFile(statePath(dir)), StateStore::encode(after));
        StateStore::save(before, dir.path());
    }
}

// Runs in a child process only: saves one of two large states after the other, for ever, until
// the parent kills it.
TEST(StateStoreCrashChild, SavesUntilKilled)
{
    const QByteArray directory = qgetenv("VANTOR_TEST_CRASH_DIR");
    if (directory.isEmpty())
        GTEST_SKIP() << "runs only as the child of the crash test";
    const QString dir = QString::fromLocal8Bit(directory);
    const AppState a = StateStore::decode(readFile(dir + "/a.json"));
    const AppState b = StateStore::decode(readFile(dir + "/b.json"));
    FileIo::Faults::loadFromEnvironment();
    std::fputs("saving\n", stdout);
    std::fflush(stdout);
    for (long round = 0;; ++round)
        StateStore::save(round % 2 ? a : b, dir + "/support");
}

class StateStoreCrash : public testing::Test {
protected:
    void SetUp() override
    {
        AppState a = stateWithJobs(300);
        AppState b = stateWithJobs(350);
        b.ffmpeg = "/b";
        m_a = StateStore::encode(a);
        m_b = StateStore::encode(b);
        m_dir.write("a.json", m_a);
        m_dir.write("b.json", m_b);
        StateStore::save(a, m_dir.file("support"));
    }

    QProcess *startChild(const QProcessEnvironment &extra = {})
    {
        auto *child = new QProcess;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VANTOR_TEST_CRASH_DIR", m_dir.path());
        environment.insert(extra);
        child->setProcessEnvironment(environment);
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start(QCoreApplication::applicationFilePath(),
            { "--gtest_filter=StateStoreCrashChild.SavesUntilKilled" });
        EXPECT_TRUE(child->waitForStarted());
        return child;
    }

    void expectWholeState(const QString &when)
    {
        const QByteArray now = readFile(m_dir.file("support/state.json"));
        EXPECT_TRUE(now == m_a || now == m_b) << when.toStdString() << ": " << now.size() << " bytes";
        m_changes += now != m_last;
        m_last = now;
    }

    TempDir m_dir;
    QByteArray m_a;
    QByteArray m_b;
    QByteArray m_last;
    int m_changes = 0; // how often a kill found the other state: proof that saves completed
};

TEST_F(StateStoreCrash, KillingASaveAtAnyOperationLeavesAWholeState)
{
    ASSERT_TRUE(FileIo::Faults::available());
    // One save is open, writes, sync, close, rename, folder sync: kill before and after each op
    // of the first two saves.
    for (const char *variable : { "VANTOR_FAULT_KILL_BEFORE", "VANTOR_FAULT_KILL_AFTER" }) {
        for (int operation = 1; operation <= 18; ++operation) {
            QProcessEnvironment faults;
            faults.insert(variable, QString::number(operation));
            std::unique_ptr<QProcess> child(startChild(faults));
            ASSERT_TRUE(child->waitForFinished(60000));
            EXPECT_EQ(child->exitStatus(), QProcess::CrashExit);
            expectWholeState(QStringLiteral("%1=%2").arg(variable).arg(operation));
        }
    }
}

TEST_F(StateStoreCrash, KillingASaveAtRandomMomentsLeavesAWholeState)
{
    QRandomGenerator random(20261122);
    for (int kill = 0; kill < 200; ++kill) {
        std::unique_ptr<QProcess> child(startChild());
        // Once the child says it is saving, kill it anywhere within its next few saves.
        while (!child->readAllStandardOutput().contains("saving"))
            ASSERT_TRUE(child->waitForReadyRead(10000));
        QThread::usleep(random.bounded(0u, 200000u));
        child->kill();
        ASSERT_TRUE(child->waitForFinished(10000));
        expectWholeState(QStringLiteral("kill %1").arg(kill));
    }
    EXPECT_GT(m_changes, 20) << "the kills must land among completed saves, not only before the first";
    const AppState loaded = StateStore::load(m_dir.file("support"));
    EXPECT_TRUE(loaded.jobs.size() == 300 || loaded.jobs.size() == 350);
}

} // namespace
