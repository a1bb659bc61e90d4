#include "model/FileIo.h"
#include "model/JsonCodec.h"
#include "model/StateStore.h"
#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include "SampleRecords.h"
#include "ScopedEnvironment.h"
#include "TempDir.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class StateStoreTest : public testing::Test {
protected:
    QByteArray stateFile() const { return readFile(dir.file("state.json")); }
    // Writes `data` as state.json and expects the load to fail and leave the file as it was.
    void expectRefused(const QByteArray &data)
    {
        dir.write("state.json", data);
        EXPECT_THROW(StateStore::load(dir.path()), std::exception) << data.left(80).constData();
        EXPECT_EQ(stateFile(), data);
    }
    TempDir dir;
};

TEST_F(StateStoreTest, EveryKindOfRecordSurvivesSaveAndLoad)
{
    const AppState state = fullState();
    StateStore::save(state, dir.path());
    const QByteArray written = stateFile();
    EXPECT_EQ(written, StateStore::encode(state));
    EXPECT_EQ(JsonCodec::parse(written), QJsonValue(state.toJson())); // exactly the records' own JSON forms
    EXPECT_TRUE(written.contains("\"source\": \"file:///media/CARD%201/CLIP/"));
    const AppState loaded = StateStore::load(dir.path());
    EXPECT_EQ(StateStore::encode(loaded), written);
    // The comparison above is of something real.
    EXPECT_EQ(loaded.jobs.size(), 24u);
    EXPECT_EQ(loaded.jobs[5].modified, state.jobs[5].modified);
    EXPECT_EQ(loaded.watches[0].seen, state.watches[0].seen);
    EXPECT_EQ(loaded.presets[1], state.presets[1]);
}

TEST_F(StateStoreTest, ALongHistoryIsWrittenAndReadInOrder)
{
    // Long histories are written and read in parts; the parts must join seamlessly and stay strict.
    const AppState state = stateWithJobs(4321);
    const QByteArray data = StateStore::encode(state);
    EXPECT_EQ(JsonCodec::parse(data), QJsonValue(state.toJson()));
    EXPECT_EQ(StateStore::encode(StateStore::decode(data)), data);
    QRandomGenerator random(7);
    for (int cut = 0; cut < 50; ++cut) {
        const qsizetype length = random.bounded(qsizetype(data.size() - 2));
        EXPECT_THROW(StateStore::decode(data.left(length)), DecodingError) << "cut at " << length;
    }
    const qsizetype late = data.lastIndexOf("\"COMPLETE\"");
    EXPECT_THROW(StateStore::decode(QByteArray(data).replace(late, 10, "\"RUNNING\"")), DecodingError);
}

TEST_F(StateStoreTest, MissingFileGivesTheFreshStateAndFirstSaveMakesTheFolder)
{
    const QString directory = dir.file("a/b/Vantor");
    const AppState fresh = StateStore::load(directory);
    EXPECT_EQ(fresh.version, 1);
    EXPECT_TRUE(fresh.jobs.empty() && fresh.watches.empty() && fresh.ffmpeg.isEmpty());
    EXPECT_FALSE(fresh.project || fresh.projectGrant || fresh.transcodeDestination);
    ASSERT_EQ(fresh.templates.size(), ProjectTemplateService::defaults().size());
    EXPECT_EQ(fresh.templates[0].folders, ProjectTemplateService::defaults()[0].folders);
    EXPECT_EQ(listTree(dir.path()), QStringList()) << "loading writes nothing";
    StateStore::save(fresh, directory);
    EXPECT_EQ(listTree(dir.path()), QStringList({"a/", "a/b/", "a/b/Vantor/", "a/b/Vantor/state.json"}));
    EXPECT_EQ(StateStore::encode(StateStore::load(directory)), StateStore::encode(fresh));
    ScopedEnvironment environment("VANTOR_SUPPORT_DIR", "relative/support");
    EXPECT_EQ(StateStore::directory(), "relative/support");
}

TEST_F(StateStoreTest, OptionalMembersMayBeMissingOrNull)
{
    QJsonObject trimmed = fullState().toJson();
    trimmed.remove("project");
    trimmed.remove("transcodeDestination");
    trimmed.insert("projectGrant", QJsonValue::Null);
    const AppState state = StateStore::decode(JsonCodec::pretty(trimmed));
    EXPECT_FALSE(state.project || state.projectGrant || state.transcodeDestination);
    EXPECT_EQ(state.jobs.size(), 24u);
}

// One flaw written into the pretty file: the first `from` becomes `to`. A renamed key is a missing one.
struct Damage {
    const char *label;
    const char *from;
    const char *to;
};

class StrictStateDecoding : public StateStoreTest, public testing::WithParamInterface<Damage> {};

TEST_P(StrictStateDecoding, OneFlawAnywhereRefusesTheWholeFile)
{
    const QByteArray good = StateStore::encode(fullState());
    const qsizetype at = good.indexOf(GetParam().from);
    ASSERT_GE(at, 0) << GetParam().from;
    expectRefused(QByteArray(good).replace(at, qsizetype(qstrlen(GetParam().from)), GetParam().to));
}

// Keys are sorted, so the first job comes before any preset; the first preset is job 8's.
INSTANTIATE_TEST_SUITE_P(
    Damages, StrictStateDecoding,
    testing::Values(
        Damage{"noVersion", "\"version\"", "\"versio\""}, Damage{"noTemplates", "\"templates\"", "\"template\""},
        Damage{"noPresets", "\"presets\"", "\"preset\""}, Damage{"noJobs", "\"jobs\"", "\"job\""},
        Damage{"noWatches", "\"watches\"", "\"watch\""}, Damage{"noFfmpeg", "\"ffmpeg\"", "\"ffmpe\""},
        Damage{"versionFraction", "\"version\": 1", "\"version\": 1.5"},
        Damage{"ffmpegAsNull", "\"ffmpeg\": \"/opt/ffmpeg/bin/ffmpeg\"", "\"ffmpeg\": null"},
        Damage{"jobStatus", "\"WAITING\"", "\"RUNNING\""}, Damage{"jobNoBytes", "\"bytes\"", "\"byte\""},
        Damage{"presetCodec", "\"ProRes Proxy\"", "\"prores\""},
        Damage{"presetNoAudio", "\"audio\"", "\"audi\""}, Damage{"presetAudio", "\"audio\": \"", "\"audio\": \"x"},
        Damage{"encodingNoKey", "\"maxHeight\"", "\"maxHeigh\""}, Damage{"finishingNoKey", "\"burnSize\"", "\"burnSiz\""},
        Damage{"templateNoFolders", "\"folders\"", "\"folder\""},
        Damage{"templateFolderNumber", "\"02_FOOTAGE/ORIGINALS\"", "2"},
        Damage{"projectNoRoot", "\"root\"", "\"roo\""}, Damage{"projectClientNull", "\"Acme\"", "null"},
        Damage{"projectGrantNumber", "\"projectGrant\": {", "\"projectGrant\": 3, \"x\": {"},
        Damage{"watchNoEnabled", "\"enabled\"", "\"enable\""}, Damage{"watchSeenNumber", "\"11:1731690000.0\"", "11"},
        Damage{"destinationNoPath", "\"path\": \"/renders\"", "\"pat\": \"/renders\""}),
    [](const testing::TestParamInfo<Damage> &info) { return info.param.label; });

TEST_F(StateStoreTest, UnreadableOrTruncatedFilesNeverLoadNorAreWrittenOver)
{
    for (const char *data : {"{}", "", "[]", "null", "{\"version\": 1", "\xff\xfe{}"})
        expectRefused(data);
    AppState state = fullState();
    state.jobs.resize(4); // every record kind, small enough to cut at every byte
    const QByteArray data = StateStore::encode(state);
    const qsizetype end = data.trimmed().size(); // only the trailing line feed may go
    ASSERT_GT(end, 1000);
    for (qsizetype length = 0; length < end; ++length)
        EXPECT_THROW(StateStore::decode(data.left(length)), DecodingError) << "cut at " << length;
    for (qsizetype length = 0; length < end; length += 97)
        expectRefused(data.left(length));
}

TEST_F(StateStoreTest, AFailedSaveLeavesThePreviousFileWhole)
{
    ASSERT_TRUE(FileIo::Faults::available());
    const AppState before = fullState();
    StateStore::save(before, dir.path());
    const QByteArray old = stateFile();
    AppState after = before;
    after.jobs.pop_back();
    for (const bool shortWrite : {false, true}) {
        for (long failAt = 1;; ++failAt) {
            ASSERT_LT(failAt, 50);
            FileIo::Faults::set({.failAt = failAt, .error = ENOSPC, .shortWrite = shortWrite});
            try {
                StateStore::save(after, dir.path());
                FileIo::Faults::clear();
                break;
            } catch (const std::system_error &error) {
                FileIo::Faults::clear();
                EXPECT_EQ(error.code().value(), ENOSPC);
            }
            // A failure after the rename (the folder's sync) may already show the new file.
            EXPECT_TRUE(stateFile() == old || stateFile() == StateStore::encode(after)) << "failure at " << failAt;
            EXPECT_EQ(listTree(dir.path()), QStringList{"state.json"}) << "temporary file left at " << failAt;
        }
        EXPECT_EQ(stateFile(), StateStore::encode(after));
        StateStore::save(before, dir.path());
    }
}

// Runs in a child process only: saves one of two large states after the other until killed.
TEST(StateStoreCrashChild, SavesUntilKilled)
{
    const QString dir = qEnvironmentVariable("VANTOR_TEST_CRASH_DIR");
    if (dir.isEmpty())
        GTEST_SKIP() << "runs only as the child of the crash test";
    const AppState a = StateStore::decode(readFile(dir + "/a.json"));
    const AppState b = StateStore::decode(readFile(dir + "/b.json"));
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
        m_dir.write("a.json", m_a = StateStore::encode(a));
        m_dir.write("b.json", m_b = StateStore::encode(stateWithJobs(350)));
        StateStore::save(a, m_dir.file("support"));
    }
    std::unique_ptr<QProcess> startChild()
    {
        auto child = std::make_unique<QProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VANTOR_TEST_CRASH_DIR", m_dir.path());
        child->setProcessEnvironment(environment);
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start(QCoreApplication::applicationFilePath(), {"--gtest_filter=StateStoreCrashChild.SavesUntilKilled"});
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
    QByteArray m_a, m_b, m_last;
    int m_changes = 0; // how often a kill found the other state: proof that saves completed
};

TEST_F(StateStoreCrash, KillingASaveAtRandomMomentsLeavesAWholeState)
{
    QRandomGenerator random(20261122);
    for (int kill = 0; kill < 200; ++kill) {
        const auto child = startChild();
        // Once the child says it is saving, kill it anywhere within its next few saves.
        while (!child->readAllStandardOutput().contains("saving"))
            ASSERT_TRUE(child->waitForReadyRead(10000));
        QThread::usleep(random.bounded(0u, 200000u));
        child->kill();
        ASSERT_TRUE(child->waitForFinished(10000));
        expectWholeState(QStringLiteral("kill %1").arg(kill));
    }
    EXPECT_GT(m_changes, 20) << "the kills must land among completed saves, not only before the first";
}

} // namespace
