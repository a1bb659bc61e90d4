// vantor mhl: exit statuses and messages of verify, info and create, and a generation killed at
// every step of its writing.
#include "CliTest.h"
#include "MhlTesting.h"
#include "base/VantorError.h"
#include "mhl/MhlHasher.h"
#include "mhl/MhlHistory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace vantor;
using namespace vantor::test;

namespace {

class MhlCommand : public CliTest {
public:
    QString card = dir.file("A001");
    void makeCard() const
    {
        dir.write("A001/Clips/A001C001.mov", randomBytes(50000, 3));
        dir.write("A001/Sidecar.txt", "notes");
    }
    void expectRun(const QStringList &arguments, int exitCode, const QString &err) const
    {
        const ProcessResult result = vantor(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << arguments.join(' ').toStdString();
        EXPECT_EQ(result.errText(), err) << arguments.join(' ').toStdString();
    }
    QString manifest(int sequence) const
    {
        const QStringList names = QDir(card + "/ascmhl").entryList({QString("%1_*.mhl").arg(sequence, 4, 10, QChar('0'))});
        return names.isEmpty() ? QString() : card + "/ascmhl/" + names.first();
    }
};

TEST_F(MhlCommand, VerifyNamesEachFailureAndExitsByIt)
{
    const struct {
        const char *name;
        std::function<void(const MhlCommand &)> damage;
        int exitCode;
        std::function<QString(const MhlCommand &)> err;
    } cases[] = {
        {"untouched", [](const MhlCommand &) {}, 0, [](const MhlCommand &) { return QString(); }},
        {"new file", [](const MhlCommand &t) { t.dir.write("A001/Clips/late.wav", "x"); }, 1,
         [](const MhlCommand &t) {
             return "vantor: A file is not in the ASC MHL history: " + t.card + "/Clips/late.wav\n"
                    "vantor: 1 of 3 files in the folder do not match its ASC MHL history: " + t.card + "\n";
         }},
        {"missing file", [](const MhlCommand &t) { QFile::remove(t.card + "/Sidecar.txt"); }, 1,
         [](const MhlCommand &t) {
             return "vantor: A file in the ASC MHL history is missing: " + t.card + "/Sidecar.txt\n"
                    "vantor: 1 of 2 files in the folder do not match its ASC MHL history: " + t.card + "\n";
         }},
        {"missing chain", [](const MhlCommand &t) { QFile::remove(MhlHistory::chainPath(t.card)); }, 1,
         [](const MhlCommand &t) { return "vantor: The ASC MHL history has no chain file: " + MhlHistory::chainPath(t.card) + "\n"; }},
        {"missing manifest", [](const MhlCommand &t) { QFile::remove(t.manifest(1)); }, 1,
         [](const MhlCommand &t) { return "vantor: A manifest listed in the ASC MHL chain is missing: " + t.manifest(1) + "\n"; }},
        {"manifest byte", [](const MhlCommand &t) {
             QByteArray bytes = readFile(t.manifest(1));
             bytes.replace("<hostname>", "<hostname>x");
             t.dir.write(t.manifest(1).mid(t.dir.path().size() + 1), bytes);
         }, 1,
         [](const MhlCommand &t) { return "vantor: A manifest does not match the C4 its ASC MHL chain records: " + t.manifest(1) + "\n"; }},
        {"media byte", [](const MhlCommand &t) { t.dir.write("A001/Sidecar.txt", "notez"); }, 1,
         [](const MhlCommand &t) {
             const auto xxh = [](const QByteArray &data) { return HashFormats::text(HashFormat::xxh64, MhlHasher::digest(HashFormat::xxh64, data)); };
             return "vantor: A file does not match its ASC MHL history (xxh64 recorded " + xxh("notes") + ", found " + xxh("notez")
                    + "): " + t.card + "/Sidecar.txt\n"
                    "vantor: 1 of 2 files in the folder do not match its ASC MHL history: " + t.card + "\n";
         }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QDir(card).removeRecursively();
        makeCard();
        ASSERT_EQ(vantor({"mhl", "create", card}).exitCode, 0);
        const QString expected = c.err(*this);
        c.damage(*this);
        expectRun({"mhl", "verify", card}, c.exitCode, expected);
    }
}

TEST_F(MhlCommand, CommandLineMistakesAndOtherFolders)
{
    makeCard();
    const QString file = card + "/Sidecar.txt";
    expectRun({"mhl", "verify"}, 2, "vantor: mhl verify takes one DIR\nTry 'vantor mhl --help' for more information.\n");
    expectRun({"mhl", "create", "--format", "sha256", card}, 2,
              "vantor: unknown format \"sha256\" (xxh64, md5, sha1 or c4)\nTry 'vantor mhl --help' for more information.\n");
    expectRun({"mhl", "info", file}, 1, "vantor: This is not a folder: " + file + "\n");
    expectRun({"mhl", "verify", card}, 1, "vantor: The folder has no ASC MHL history: " + card + "\n");
    EXPECT_EQ(listTree(card), QStringList({"Clips/", "Clips/A001C001.mov", "Sidecar.txt"})) << "a refusal wrote something";
}

TEST_F(MhlCommand, CreateAppendsVerifiedGenerationsThatInfoLists)
{
    makeCard();
    ASSERT_EQ(vantor({"mhl", "create", card}).exitCode, 0);
    const ProcessResult second = vantor({"mhl", "create", "--format", "md5", card});
    ASSERT_EQ(second.exitCode, 0) << second.errText().toStdString();
    EXPECT_TRUE(second.outText().startsWith(manifest(2) + "\nroot md5 ")) << second.outText().toStdString();
    for (const QString &path : historyFiles(card))
        EXPECT_EQ(schemaErrors(path), "") << path.toStdString();

    const ProcessResult info = vantor({"mhl", "info", "--json", card});
    ASSERT_EQ(info.exitCode, 0);
    const QJsonArray generations = QJsonDocument::fromJson(info.out)["generations"].toArray();
    ASSERT_EQ(generations.size(), 2);
    EXPECT_EQ(generations[0]["rootHashes"][0]["format"], "xxh64");
    EXPECT_EQ(generations[1]["rootHashes"][0]["format"], "md5");
    EXPECT_EQ(generations[1]["tool"], "Vantor");
    EXPECT_EQ(generations[1]["files"], 2);
    // The second generation verified the first one's xxh64 and added md5 beside it.
    const MhlManifest latest = MhlHistory::read(card).generations.back().manifest;
    for (const MhlEntry &entry : latest.entries)
        for (const MhlHashValue &value : entry.hashes)
            EXPECT_EQ(value.action, HashAction::verified) << entry.path.toStdString();

    dir.write("A001/Sidecar.txt", "changed");
    expectRun({"mhl", "create", card}, 1,
              "vantor: A file does not match its ASC MHL history and is recorded as failed: " + card + "/Sidecar.txt\n"
              "vantor: 1 file failed verification against the ASC MHL history: " + card + "\n");
    EXPECT_FALSE(manifest(3).isEmpty()) << "the failed generation was not written";
}

// "import.mhl" and `vantor ingest --no-mhl` reach every job of the plan; absent means on.
TEST_F(MhlCommand, TheSettingAndNoMhlTravelWithTheJobs)
{
    makeCard();
    const QString project = dir.makeDir("Doc");
    const auto flags = [&](const QStringList &extra) {
        const ProcessResult result = vantor(QStringList{"ingest", "--dry-run", "--json", "--project", project, "--operation", "copy"}
                                            + extra + QStringList{card});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        QStringList seen;
        for (const QJsonValue &job : QJsonDocument::fromJson(result.out)["jobs"].toArray())
            seen << (!job.toObject().contains("mhl") ? "absent" : job["mhl"].toBool() ? "on" : "off");
        return seen;
    };
    EXPECT_EQ(flags({}), QStringList({"absent", "absent"}));
    EXPECT_EQ(flags({"--no-mhl"}), QStringList({"off", "off"}));
    dir.write("home/.config/Vantor/Vantor.conf", "[General]\nimport.mhl=false\n");
    EXPECT_EQ(flags({}), QStringList({"off", "off"}));
}

// Killed before or after each mutating step of a generation, a history is the old one, the new
// one, or one whose reader names the manifest the chain does not list yet; the next create
// repairs it.
TEST_F(MhlCommand, AKillAtEveryStepOfAGenerationLeavesAHistoryTheReaderExplains)
{
    for (const bool existing : {false, true}) {
        QSet<QString> seen;
        for (int step = 1;; ++step) {
            SCOPED_TRACE(QString("%1 history, step %2").arg(existing ? "existing" : "new").arg(step).toStdString());
            ASSERT_LT(step, 60) << "the generation never completed";
            bool completed = true;
            for (const char *when : {"VANTOR_FAULT_KILL_BEFORE", "VANTOR_FAULT_KILL_AFTER"}) {
                QDir(card).removeRecursively();
                makeCard();
                if (existing) {
                    ASSERT_EQ(vantor({"mhl", "create", card}).exitCode, 0);
                }
                environment.insert(when, QString::number(step));
                const ProcessResult killed = vantor({"mhl", "create", card});
                environment.remove(when);
                completed = completed && killed.exitCode == 0;

                QString state;
                try {
                    state = QString::number(MhlHistory::read(card).generations.size());
                } catch (const VantorError &error) {
                    state = error.message();
                }
                const QStringList allowed = existing
                    ? QStringList{"1", "2", "A manifest is not listed in the ASC MHL chain: " + manifest(2)}
                    : QStringList{"1", "The folder has no ASC MHL history: " + card,
                                  "The ASC MHL history has no chain file: " + MhlHistory::chainPath(card)};
                EXPECT_TRUE(allowed.contains(state)) << when << ": " << state.toStdString();
                seen.insert(state.left(20));

                const ProcessResult repair = vantor({"mhl", "create", card});
                ASSERT_EQ(repair.exitCode, 0) << when << ": " << repair.errText().toStdString();
                const MhlHistory::History repaired = MhlHistory::read(card);
                EXPECT_GE(repaired.generations.size(), existing ? 2u : 1u);
                EXPECT_EQ(vantor({"mhl", "verify", card}).exitCode, 0);
                EXPECT_EQ(QDir(card + "/ascmhl").entryList(QDir::Files | QDir::Hidden).filter(".vantor-"), QStringList());
            }
            if (completed)
                break;
        }
        EXPECT_EQ(seen.size(), 3) << "some outcome was never reached; the kills missed the steps";
    }
}

} // namespace
