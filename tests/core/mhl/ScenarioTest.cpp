// The standard's example histories: each reads and verifies, and replaying each `create` of its
// log.txt with Vantor's writer gives the log's file, folder and root hashes.
#include "MhlTesting.h"
#include "TempDir.h"
#include "mhl/ChainXml.h"
#include "mhl/MhlGeneration.h"
#include "mhl/MhlHistory.h"
#include "mhl/MhlVerify.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <gtest/gtest.h>

namespace vantor {
namespace {

using test::ascmhlData;

// One `ascmhl.py create` of a log and what it printed.
struct Create {
    QString scope; // inside the scenario folder
    HashFormat format = HashFormat::xxh64;
    QString manifest; // "ascmhl/0002_A002R2EC_2020-01-17_143000Z.mhl" of the scope's own history
    std::map<QString, std::pair<QString, HashAction>> files; // path -> digest, action
    std::map<QString, std::pair<QString, QString>> folders;  // path ("" = root) -> content, structure
};

std::vector<Create> parseLog(const QString &scenario)
{
    static const QRegularExpression command(R"(^\$ ascmhl\.py create .*?(/\S+).*$)");
    static const QRegularExpression format(R"(-h (\w+))");
    static const QRegularExpression file(R"((original|verif\.\)) hash for\s+(\S+)\s+(\w+): ([0-9a-f]+)$)");
    static const QRegularExpression mismatch(R"(mismatch for\s+(\S+)\s+\w+ \(old\): \w+, (\w+) \(new\): ([0-9a-f]+))");
    static const QRegularExpression folder(R"(calculated (?:directory hash for (\S+)|root hash)\s+(\w+): (\w+) \(content\), (\w+) \(structure\))");
    static const QRegularExpression created(R"(^Created new generation (\S+)$)");
    std::vector<Create> creates;
    QFile log(scenario + "/log.txt");
    EXPECT_TRUE(log.open(QIODevice::ReadOnly));
    for (const QString &line : QString::fromUtf8(log.readAll()).split('\n')) {
        QRegularExpressionMatch m;
        if ((m = command.match(line)).hasMatch()) {
            creates.push_back({scenario + m.captured(1), *HashFormats::fromName(format.match(line).captured(1)), {}, {}, {}});
        } else if ((m = file.match(line)).hasMatch()) {
            creates.back().files[m.captured(2)] = {m.captured(4), m.captured(1) == "original" ? HashAction::original : HashAction::verified};
        } else if ((m = mismatch.match(line)).hasMatch()) {
            creates.back().files[m.captured(1)] = {m.captured(3), HashAction::failed};
        } else if ((m = folder.match(line)).hasMatch()) {
            creates.back().folders[m.captured(1)] = {m.captured(3), m.captured(4)};
        } else if ((m = created.match(line)).hasMatch() && m.captured(1).startsWith("ascmhl/")) {
            creates.back().manifest = m.captured(1);
        }
    }
    return creates;
}

class MhlScenario : public testing::TestWithParam<QString> {};

TEST_P(MhlScenario, ReplayedCreatesGiveTheLoggedHashes)
{
    const std::vector<Create> creates = parseLog(ascmhlData("scenarios/" + GetParam()));
    ASSERT_FALSE(creates.empty());
    for (const Create &create : creates) {
        SCOPED_TRACE(create.scope.toStdString());
        // The scope as it was before this create: without the generation it made and later ones.
        test::TempDir dir;
        const QString scope = dir.file(QFileInfo(create.scope).fileName());
        test::copyTree(create.scope, scope);
        const int made = QFileInfo(create.manifest).fileName().left(4).toInt();
        for (const QString &path : test::historyFiles(scope)) {
            const QString name = QFileInfo(path).fileName();
            const bool ownHistory = QFileInfo(path).path() == scope + "/ascmhl";
            if (!ownHistory || name.left(4).toInt() >= made || name == "ascmhl_chain.xml")
                QFile::remove(path);
        }
        const QString chain = MhlHistory::chainPath(create.scope);
        if (made > 1) { // the chain of the generations before
            auto entries = ChainXml::read(test::readFile(chain), chain);
            entries.resize(std::size_t(made - 1));
            QFile out(MhlHistory::chainPath(scope));
            ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(ChainXml::write(entries));
        } else {
            QDir(scope + "/ascmhl").removeRecursively();
        }

        const QDateTime date = QDateTime::fromString(create.manifest.section('_', -2).chopped(5), "yyyy-MM-dd_HHmmss");
        JobControl control;
        MhlGeneration::Request request;
        request.scope = scope;
        request.format = create.format;
        request.date = QDateTime(date.date(), date.time(), Qt::UTC);
        const MhlGeneration::Result result = MhlGeneration::write(request, control);
        EXPECT_EQ(result.manifestPath, scope + "/" + create.manifest);
        EXPECT_EQ(result.rootContent, create.folders.at("").first);
        EXPECT_EQ(result.rootStructure, create.folders.at("").second);

        const MhlHistory::History history = MhlHistory::read(scope);
        ASSERT_EQ(history.generations.size(), std::size_t(made));
        const MhlManifest &manifest = history.generations.back().manifest;
        for (const MhlEntry &entry : manifest.entries) {
            SCOPED_TRACE(entry.path.toStdString());
            const auto value = [&](const std::vector<MhlHashValue> &values) {
                for (const MhlHashValue &v : values)
                    if (v.format == create.format)
                        return std::make_pair(v.value, v.action);
                return std::make_pair(QString(), std::optional<HashAction>());
            };
            if (entry.isDirectory) {
                ASSERT_TRUE(create.folders.count(entry.path));
                EXPECT_EQ(value(entry.content).first, create.folders.at(entry.path).first);
                EXPECT_EQ(value(entry.structure).first, create.folders.at(entry.path).second);
            } else if (create.files.count(entry.path)) {
                EXPECT_EQ(value(entry.hashes).first, create.files.at(entry.path).first);
                EXPECT_EQ(value(entry.hashes).second, create.files.at(entry.path).second);
            }
        }
        EXPECT_EQ(result.failed.size(), std::size_t(std::count_if(create.files.begin(), create.files.end(),
            [](const auto &f) { return f.second.second == HashAction::failed; })));
        EXPECT_EQ(test::schemaErrors(result.manifestPath), "");
        EXPECT_EQ(test::schemaErrors(MhlHistory::chainPath(scope)), "");
    }
}

TEST_P(MhlScenario, EveryHistoryReadsAndVerifies)
{
    const QString scenario = ascmhlData("scenarios/" + GetParam());
    QStringList scopes;
    for (const QString &chain : test::historyFiles(scenario))
        if (chain.endsWith("/ascmhl/ascmhl_chain.xml"))
            scopes.append(QFileInfo(QFileInfo(chain).path()).path());
    ASSERT_FALSE(scopes.isEmpty());
    for (const QString &scope : scopes) {
        SCOPED_TRACE(scope.toStdString());
        const MhlHistory::History history = MhlHistory::read(scope);
        const MhlManifest &last = history.generations.back().manifest;
        ASSERT_FALSE(last.rootContent.empty());
        JobControl control;
        const MhlVerify::Result result = MhlVerify::verify(scope, control);
        // Scenario 04 damaged Sidecar.txt on the file server; its history says so.
        if (scope.endsWith("scenario_04/file_server/A002R2EC")) {
            ASSERT_EQ(result.problems.size(), 1u);
            EXPECT_EQ(result.problems[0].message(), "A file does not match its ASC MHL history (xxh64 recorded "
                      "3ab5a4166b9bde44, found 70d2cf31aaa3eac4): " + scope + "/Sidecar.txt");
        } else {
            EXPECT_TRUE(result.ok()) << (result.problems.empty() ? QString() : result.problems[0].message()).toStdString();
            EXPECT_GE(result.matched, 3);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Standard, MhlScenario,
                         testing::Values("scenario_01", "scenario_02", "scenario_03", "scenario_04", "scenario_05"));

} // namespace
} // namespace vantor
