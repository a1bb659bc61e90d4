#include "base/FileIo.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QProcess>
#include <QRandomGenerator>
#include <QThread>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class StateStoreTest : public testing::Test {
protected:
    QByteArray stateFile() const { return readFile(dir.file("state.json")); }
    // Writes `data` as state.json and expects the load to fail and leave the file as it was;
    // returns the refusal's message.
    QString refusal(const QByteArray &data)
    {
        dir.write("state.json", data);
        QString message = QStringLiteral("(accepted)");
        try {
            StateStore::load(dir.path());
        } catch (const std::exception &error) {
            message = errorText(error);
        }
        EXPECT_EQ(stateFile(), data);
        return message;
    }
    TempDir dir;
};

TEST_F(StateStoreTest, EveryKindOfRecordSurvivesSaveAndLoad)
{
    const AppState state = fullState();
    StateStore::save(state, dir.path());
    const QByteArray written = stateFile();
    const AppState loaded = StateStore::load(dir.path());
    EXPECT_EQ(StateStore::encode(loaded), written);
    EXPECT_EQ(loaded.jobs[5].modified, state.jobs[5].modified); // to the nanosecond through the JSON double
    // The optional members may be missing or null.
    QJsonObject trimmed = state.toJson();
    trimmed.remove("project");
    trimmed.remove("transcodeDestination");
    trimmed.insert("projectGrant", QJsonValue::Null);
    const AppState partial = StateStore::decode(JsonCodec::pretty(trimmed));
    EXPECT_FALSE(partial.project || partial.projectGrant || partial.transcodeDestination);
}

// Long histories are written and read in parts; the parts must join seamlessly and stay strict.
TEST_F(StateStoreTest, ALongHistoryIsWrittenAndReadInOrder)
{
    const AppState state = stateWithJobs(4321);
    const QByteArray data = StateStore::encode(state);
    EXPECT_EQ(JsonCodec::parse(data), QJsonValue(state.toJson()));
    EXPECT_EQ(StateStore::encode(StateStore::decode(data)), data);
    QRandomGenerator random(7);
    for (int cut = 0; cut < 20; ++cut)
        EXPECT_THROW(StateStore::decode(data.left(random.bounded(qsizetype(data.size() - 2)))), DecodingError);
    EXPECT_THROW(StateStore::decode(QByteArray(data).replace(data.lastIndexOf("\"COMPLETE\""), 10, "\"RUNNING\"")), DecodingError);
}

TEST_F(StateStoreTest, MissingFileGivesTheFreshStateAndFirstSaveMakesTheFolder)
{
    const QString directory = dir.file("a/b/Vantor");
    const AppState fresh = StateStore::load(directory);
    EXPECT_TRUE(fresh.jobs.empty() && fresh.watches.empty() && fresh.ffmpeg.isEmpty() && !fresh.project);
    EXPECT_EQ(fresh.templates.size(), ProjectTemplateService::defaults().size());
    EXPECT_EQ(listTree(dir.path()), QStringList()) << "loading writes nothing";
    StateStore::save(fresh, directory);
    EXPECT_EQ(StateStore::encode(StateStore::load(directory)), StateStore::encode(fresh));
}

// One flaw written into the pretty file: the first `from` becomes `to`; a renamed key is a missing one.
struct Damage {
    const char *label, *from, *to, *message;
};

class StrictStateDecoding : public StateStoreTest, public testing::WithParamInterface<Damage> {};

TEST_P(StrictStateDecoding, OneFlawAnywhereRefusesTheWholeFileNamingRecordAndKey)
{
    const QByteArray good = StateStore::encode(fullState());
    const qsizetype at = good.indexOf(GetParam().from);
    ASSERT_GE(at, 0) << GetParam().from;
    EXPECT_EQ(refusal(QByteArray(good).replace(at, qsizetype(qstrlen(GetParam().from)), GetParam().to)),
        GetParam().message);
}

// Keys are sorted, so the first job comes before any preset, and its source grant holds the first bookmark.
INSTANTIATE_TEST_SUITE_P(
    Damages, StrictStateDecoding,
    testing::Values(
        Damage{"noVersion", "\"version\"", "\"versio\"", "AppState.version: missing required key"},
        Damage{"noJobs", "\"jobs\"", "\"job\"", "AppState.jobs: missing required key"},
        Damage{"noWatches", "\"watches\"", "\"watch\"", "AppState.watches: missing required key"},
        Damage{"versionFraction", "\"version\": 1", "\"version\": 1.5", "AppState.version: expected an integer"},
        Damage{"ffmpegAsNull", "\"ffmpeg\": \"/opt/ffmpeg/bin/ffmpeg\"", "\"ffmpeg\": null", "AppState.ffmpeg: expected a string"},
        Damage{"templatesNotAList", "\"templates\": [", "\"templates\": \"x\", \"t\": [", "AppState.templates: expected an array"},
        Damage{"jobStatus", "\"WAITING\"", "\"RUNNING\"", "MediaJob.status: unknown value \"RUNNING\""},
        Damage{"jobNoModified", "\"modified\"", "\"modifie\"", "MediaJob.modified: missing required key"},
        Damage{"jobSourceNotAUrl", "\"source\": \"file://", "\"source\": \"",
               "MediaJob.source: not an absolute file URL: /media/CARD%201/CLIP/A000C0%20clip%20%C3%A9.mov"},
        Damage{"jobIdNotAUuid", "\"id\": \"", "\"id\": \"x", "MediaJob.id: expected a UUID"},
        Damage{"jobBytesFraction", "\"bytes\": 734003200", "\"bytes\": 734003200.5", "MediaJob.bytes: expected an integer"},
        Damage{"jobCreatedText", "\"created\": ", "\"created\": \"now\", \"x\": ", "MediaJob.created: expected a date (seconds since 2001)"},
        Damage{"jobChecksum", "\"checksum\": \"", "\"checksum\": \"x", "MediaJob.checksum: unknown value \"xxxHash64\""},
        Damage{"jobBookmarkNotBase64", "\"bookmark\": \"", "\"bookmark\": \"*", "FileGrant.bookmark: not base64 data"},
        Damage{"presetCodec", "\"ProRes Proxy\"", "\"prores\"", "TranscodePreset.codec: unknown value \"prores\""},
        Damage{"presetAudio", "\"audio\": \"", "\"audio\": \"x", "TranscodePreset.audio: unknown value \"xPCM\""},
        Damage{"encodingNoKey", "\"maxHeight\"", "\"maxHeigh\"", "EncodingOptions.maxHeight: missing required key"},
        Damage{"finishingNoKey", "\"burnSize\"", "\"burnSiz\"", "FinishingOptions.burnSize: missing required key"},
        Damage{"templateFolderNumber", "\"02_FOOTAGE/ORIGINALS\"", "2", "ProjectTemplate.folders: expected an array of strings"},
        Damage{"projectClientNull", "\"Acme\"", "null", "ProjectContext.client: expected a string"},
        Damage{"projectGrantNumber", "\"projectGrant\": {", "\"projectGrant\": 3, \"x\": {", "FileGrant: expected an object"},
        Damage{"watchEnabledText", "\"enabled\": true", "\"enabled\": \"yes\"", "WatchFolder.enabled: expected a boolean"},
        Damage{"watchSeenNumber", "\"11:1731690000.0\"", "11", "WatchFolder.seen: expected text for /media/Incoming/B.mov"},
        Damage{"destinationNoPath", "\"path\": \"/renders\"", "\"pat\": \"/renders\"", "FileGrant.path: missing required key"}),
    [](const testing::TestParamInfo<Damage> &info) { return info.param.label; });

TEST_F(StateStoreTest, UnreadableOrTruncatedFilesNeverLoadNorAreWrittenOver)
{
    for (const char *data : {"{}", "", "null", "\xff\xfe{}"})
        EXPECT_NE(refusal(data), "(accepted)") << data;
    AppState state = fullState();
    state.jobs.resize(4); // every record kind, small enough to cut at every byte
    const QByteArray data = StateStore::encode(state);
    const qsizetype end = data.trimmed().size(); // only the trailing line feed may go
    for (qsizetype length = 0; length < end; ++length)
        EXPECT_THROW(StateStore::decode(data.left(length)), DecodingError) << "cut at " << length;
    for (qsizetype length = 0; length < end; length += 97)
        EXPECT_NE(refusal(data.left(length)), "(accepted)") << length;
}

// Files the queue must neither run from nor write over, each refused with its reason. Duplicate
// ids are looked for on both the whole-file path and the long history's part-wise one.
TEST_F(StateStoreTest, FilesTheQueueMustNotUseAreRefusedWithTheirReason)
{
    const QString path = dir.file("state.json");
    const auto twins = [](AppState state) {
        state.jobs.back().id = state.jobs.front().id;
        return state;
    };
    const AppState shortTwins = twins(fullState()), longTwins = twins(stateWithJobs(200));
    ASSERT_GT(StateStore::encode(longTwins).size(), 65536);
    QJsonObject newer = fullState().toJson();
    newer.insert("version", 2);
    newer.insert("cameraProfiles", QJsonArray());
    const QString elsewhere = dir.write("elsewhere.json", StateStore::encode(fullState()));
    const QString link = "The state file is a symbolic link, which Vantor neither follows nor replaces: " + path;
    const auto twinMessage = [](const AppState &state) {
        return "More than one job has the id " + state.jobs.front().id.toString(QUuid::WithoutBraces).toUpper() + '.';
    };
    const std::vector<std::tuple<const char *, std::function<void()>, QString>> cases{
        {"twins", [&] { dir.write("state.json", StateStore::encode(shortTwins)); }, twinMessage(shortTwins)},
        {"twins in a long history", [&] { dir.write("state.json", StateStore::encode(longTwins)); }, twinMessage(longTwins)},
        {"newer version", [&] { dir.write("state.json", JsonCodec::pretty(newer)); },
         "The state file was written by a newer version of Vantor (state version 2; this version reads up to 1). "
         "Use the newer version."},
        {"link", [&] { QFile::link(elsewhere, path); }, link},
        {"dangling link", [&] { QFile::link(dir.file("missing.json"), path); }, link},
        {"fifo", [&] { ::mkfifo(QFile::encodeName(path).constData(), 0600); }, "The state file is not a regular file: " + path},
    };
    for (const auto &[label, make, message] : cases) {
        QFile::remove(path);
        make();
        QString error;
        try {
            StateStore::load(dir.path());
        } catch (const std::exception &refusal) {
            error = errorText(refusal);
        }
        EXPECT_EQ(error, message) << label;
    }
}

TEST_F(StateStoreTest, AFailedSaveLeavesThePreviousFileWhole)
{
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
        StateStore::save(before, dir.path());
    }
}

// Runs in a child process only: saves one of two large states after the other until killed.
TEST(StateStoreCrashChild, SavesUntilKilled)
{
    const QString dir = qEnvironmentVariable("VANTOR_TEST_CRASH_DIR");
    ASSERT_FALSE(dir.isEmpty()) << "runs only as the child of the crash test";
    const AppState a = StateStore::decode(readFile(dir + "/a.json"));
    const AppState b = StateStore::decode(readFile(dir + "/b.json"));
    std::fputs("saving\n", stdout);
    std::fflush(stdout);
    for (long round = 0;; ++round)
        StateStore::save(round % 2 ? a : b, dir + "/support");
}

// Long: runs under `make soak`, which reads the figures line.
TEST(StateStoreSoak, KillingASaveAtRandomMomentsLeavesAWholeState)
{
    TempDir dir;
    const QByteArray a = StateStore::encode(stateWithJobs(300)), b = StateStore::encode(stateWithJobs(350));
    dir.write("a.json", a);
    dir.write("b.json", b);
    StateStore::save(StateStore::decode(a), dir.file("support"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("VANTOR_TEST_CRASH_DIR", dir.path());
    QRandomGenerator random(20261122);
    QByteArray last = a;
    const int kills = 200;
    int torn = 0;    // neither whole state: what a kill must never leave
    int changes = 0; // how often a kill found the other state: proof that saves completed
    for (int kill = 0; kill < kills; ++kill) {
        QProcess child;
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {"--gtest_filter=StateStoreCrashChild.SavesUntilKilled"});
        // Once the child says it is saving, kill it anywhere within its next few saves.
        while (!child.readAllStandardOutput().contains("saving"))
            ASSERT_TRUE(child.waitForReadyRead(10000));
        QThread::usleep(random.bounded(0u, 200000u));
        child.kill();
        ASSERT_TRUE(child.waitForFinished(10000));
        const QByteArray now = readFile(dir.file("support/state.json"));
        torn += now != a && now != b;
        changes += now != last;
        last = now;
    }
    std::fprintf(stderr, "[ figures  ] state save soak: %d kills, %d state unreadable, %d saves completed between kills\n",
                 kills, torn, changes);
    EXPECT_EQ(torn, 0);
    EXPECT_GT(changes, 20) << "the kills must land among completed saves, not only before the first";
}

} // namespace
