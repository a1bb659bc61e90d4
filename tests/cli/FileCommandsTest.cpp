// vantor hash, vantor scan and vantor copy.
#include "CliTest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace vantor::test;

namespace {

class FileCommands : public CliTest {};

void expectFailure(const ProcessResult &result, const QString &message)
{
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(result.errText(), "vantor: " + message + '\n');
}

TEST_F(FileCommands, HashPrintsOneLinePerFileAndEachUnreadableFileOnStderr)
{
    const QString abc = dir.write("abc", "abc"), empty = dir.write("my clip.mov", {});
    const std::tuple<QStringList, QString, QString> cases[] = {
        {{}, "44bc2cf5ad770999", "ef46db3751d8e999"},
        {{"-a", "MD5"}, "900150983cd24fb0d6963f7d28e17f72", "d41d8cd98f00b204e9800998ecf8427e"},
        {{"--algorithm=SHA-256"}, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    };
    for (const auto &[options, abcDigest, emptyDigest] : cases) {
        const ProcessResult result = vantor(QStringList{"hash"} + options + QStringList{abc, empty});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_EQ(result.outText(), QString("%1  %2\n%3  %4\n").arg(abcDigest, abc, emptyDigest, empty));
    }
    const QString missing = dir.file("missing"), folder = dir.makeDir("folder");
    const ProcessResult result = vantor({"hash", missing, folder, abc});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), "44bc2cf5ad770999  " + abc + '\n');
    EXPECT_EQ(result.errText(), QString("vantor: %1: No such file or directory\nvantor: %2: Is a directory\n").arg(missing, folder));
}

// A scan's refusals are ScanTest's; how a refusal reaches stderr is CommandFrame's.
TEST_F(FileCommands, ScanListsAsTextOrJson)
{
    dir.write("A001/CLIP/A001C001.MXF", "video");
    dir.write("A001/My Clip.mov", "ab");
    dir.write("A001/.DS_Store", "x");
    const QString card = dir.file("A001");
    const ProcessResult text = vantor({"scan", card});
    EXPECT_EQ(text.exitCode, 0) << text.errText().toStdString();
    EXPECT_EQ(text.outText(), "5\tA001/CLIP/A001C001.MXF\n2\tA001/My Clip.mov\n");

    const QJsonArray array = QJsonDocument::fromJson(vantor({"scan", "--json", card}).out).array();
    ASSERT_EQ(array.size(), 2);
    QJsonObject second = array.at(1).toObject();
    const double modified = QFileInfo(card + "/My Clip.mov").lastModified().toMSecsSinceEpoch() / 1000.0 - 978307200.0;
    EXPECT_NEAR(second.take(u"modified").toDouble(), modified, 0.001);
    EXPECT_EQ(second, (QJsonObject{{"url", "file://" + card + "/My%20Clip.mov"}, {"relative", "A001/My Clip.mov"}, {"size", 2}}));
}

TEST_F(FileCommands, CopyVerifiesKeepsTheTimeAndRefusesWithoutHarm)
{
    const QByteArray content = randomBytes(5 << 20, 1);
    const QString source = dir.write("card/clip.mov", content), project = dir.makeDir("project");
    const std::tuple<QStringList, QString, QStringList> cases[] = { // options, target, reference digest tool
        {{}, "/clip.mov", {"xxhsum", "-H1"}},
        {{"-a", "SHA-256", "--root", project}, "/a/b/clip.mov", {"sha256sum"}},
        {{"--no-verify"}, "/plain.mov", {}},
    };
    for (const auto &[options, target, tool] : cases) {
        const ProcessResult result = vantor(QStringList{"copy"} + options + QStringList{source, project + target});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_TRUE(result.err.isEmpty()) << "no progress bar when stderr is not a terminal";
        EXPECT_EQ(readFile(project + target), content);
        EXPECT_EQ(QFileInfo(project + target).lastModified(), QFileInfo(source).lastModified());
        const QString digest = tool.isEmpty() ? QString() : runProgram(tool[0], tool.mid(1) << source).outText().section(u' ', 0, 0);
        EXPECT_EQ(result.outText(), tool.isEmpty() ? QString() : digest + "  " + digest + '\n');
    }
    dir.write("project/taken.mov", "keep");
    expectFailure(vantor({"copy", source, project + "/taken.mov"}), "File already exists. Choose a different name or destination: taken.mov");
    EXPECT_EQ(readFile(project + "/taken.mov"), "keep");
}

// The source's time moves while it is copied: the copy is refused in its own words.
TEST_F(FileCommands, CopyOfASourceThatChangesIsRefused)
{
    const QString source = hugeFile("clip.mov", qint64(512) << 20), project = dir.makeDir("project");
    const QString trace = dir.file("trace.txt");
    environment.insert("VANTOR_FAULT_TRACE", trace);
    const auto process = launch({"copy", "--no-verify", source, project + "/clip.mov"}, [&] { return readFile(trace).contains(" write\n"); });
    QFile touched(source);
    ASSERT_TRUE(touched.open(QIODevice::ReadWrite) && touched.setFileTime(QDateTime::currentDateTime().addDays(-1), QFileDevice::FileModificationTime));
    ASSERT_TRUE(process->waitForFinished(60000));
    EXPECT_EQ(process->exitCode(), 1);
    EXPECT_EQ(QString(process->readAllStandardError()), "vantor: The source changed during the copy. Nothing was published: " + source + '\n');
    EXPECT_EQ(listTree(project), QStringList());
}

TEST_F(FileCommands, CopyInterruptedCancelsAndPublishesNothing)
{
    const QString source = hugeFile("huge.mov", qint64(16) << 30);
    const QString project = dir.makeDir("project"), trace = dir.file("trace.txt");
    environment.insert("VANTOR_FAULT_TRACE", trace);
    const ProcessResult result = interrupted({"copy", source, project + "/huge.mov"}, [&] { return readFile(trace).contains(" write\n"); });
    EXPECT_EQ(result.exitCode, 130);
    EXPECT_EQ(result.errText(), "vantor: Cancelled. Nothing was published.\n");
    EXPECT_EQ(listTree(project), QStringList());
}

} // namespace
