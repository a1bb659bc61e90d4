#include "ChildProcess.h"
#include "TempDir.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStorageInfo>
#include <QThread>
#include <gtest/gtest.h>
#include <csignal>
#include <unistd.h>

using namespace vantor::test;

namespace {

QProcessEnvironment faultEnvironment(const char *name, const QString &value)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(name), value);
    return environment;
}

void expectFailure(const ProcessResult &result, const QString &message)
{
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(result.errText(), QStringLiteral("vantor: ") + message + QLatin1Char('\n'));
}

} // namespace

TEST(ScanCommand, TextAndJsonListingsAndRefusals)
{
    TempDir dir;
    dir.write(QStringLiteral("A001/CLIP/A001C001.MXF"), "video");
    dir.write(QStringLiteral("A001/My Clip.mov"), "ab");
    dir.write(QStringLiteral("A001/.DS_Store"), "x");
    const QString card = dir.file(QStringLiteral("A001"));
    const ProcessResult text = runVantor({QStringLiteral("scan"), card});
    EXPECT_EQ(text.exitCode, 0) << text.errText().toStdString();
    EXPECT_EQ(text.outText(), QStringLiteral("5\tA001/CLIP/A001C001.MXF\n2\tA001/My Clip.mov\n"));

    const QJsonArray array = QJsonDocument::fromJson(runVantor({QStringLiteral("scan"), QStringLiteral("--json"), card}).out).array();
    ASSERT_EQ(array.size(), 2);
    const QJsonObject second = array.at(1).toObject();
    EXPECT_EQ(second.value(QStringLiteral("url")).toString(), QStringLiteral("file://") + card + QStringLiteral("/My%20Clip.mov"));
    EXPECT_EQ(second.value(QStringLiteral("relative")).toString(), QStringLiteral("A001/My Clip.mov"));
    EXPECT_EQ(second.value(QStringLiteral("size")).toInteger(), 2);
    const double modified = QFileInfo(card + QStringLiteral("/My Clip.mov")).lastModified().toMSecsSinceEpoch() / 1000.0 - 978307200.0;
    EXPECT_NEAR(second.value(QStringLiteral("modified")).toDouble(), modified, 0.001);

    const QString link = card + QStringLiteral("/b.mov");
    ::symlink("My Clip.mov", QFile::encodeName(link).constData());
    const QString locked = dir.makeDir(QStringLiteral("locked"));
    ::chmod(QFile::encodeName(locked).constData(), 0);
    expectFailure(runVantor({QStringLiteral("scan"), card}),
                  QStringLiteral("A symbolic link was found in the source. Remove it from the selection: ") + link);
    // setpriv takes root's override of file permissions away, so the locked folder is locked.
    expectFailure(runProgram(QStringLiteral("setpriv"), {QStringLiteral("--bounding-set=-dac_override,-dac_read_search"),
                                                          vantorPath(), QStringLiteral("scan"), locked}),
                  QStringLiteral("Cannot read ") + locked + QStringLiteral("."));
}

TEST(CopyCommand, CopiesVerifiesAndKeepsTheTime)
{
    TempDir dir;
    const QByteArray content = randomBytes(5 << 20, 1);
    const QString source = dir.write(QStringLiteral("card/clip.mov"), content);
    const QString project = dir.makeDir(QStringLiteral("project"));
    const struct {
        QStringList options;
        QString target, tool; // no tool when not verifying
    } cases[] = {
        {{}, project + QStringLiteral("/clip.mov"), QStringLiteral("xxhsum")},
        {{QStringLiteral("-a"), QStringLiteral("SHA-256"), QStringLiteral("--root"), project},
         project + QStringLiteral("/a/b/clip.mov"), QStringLiteral("sha256sum")},
        {{QStringLiteral("--no-verify")}, project + QStringLiteral("/plain.mov"), {}},
    };
    for (const auto &c : cases) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("copy")} + c.options + QStringList{source, c.target});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_TRUE(result.err.isEmpty()) << "no progress bar when stderr is not a terminal";
        EXPECT_EQ(readFile(c.target), content);
        EXPECT_EQ(QFileInfo(c.target).lastModified(), QFileInfo(source).lastModified());
        const QStringList toolArguments = c.tool == QLatin1String("xxhsum") ? QStringList{QStringLiteral("-H1"), source} : QStringList{source};
        const QString expected = c.tool.isEmpty() ? QString() : runProgram(c.tool, toolArguments).outText().section(u' ', 0, 0);
        EXPECT_EQ(result.outText(), c.tool.isEmpty() ? QString() : expected + QStringLiteral("  ") + expected + u'\n');
    }
}

// A refusal of the core and a failure of the system, each on stderr.
TEST(CopyCommand, FailuresAreReportedAndLeaveNothing)
{
    TempDir dir;
    const QString source = dir.write(QStringLiteral("card/clip.mov"), "content");
    const QString project = dir.makeDir(QStringLiteral("project"));
    dir.write(QStringLiteral("project/taken.mov"), "keep");
    expectFailure(runVantor({QStringLiteral("copy"), source, project + QStringLiteral("/taken.mov")}),
                  QStringLiteral("File already exists. Choose a different name or destination: taken.mov"));
    expectFailure(runVantor({QStringLiteral("copy"), source, dir.file(QStringLiteral("missing/clip.mov"))}),
                  QStringLiteral("No such file or directory"));
    EXPECT_EQ(readFile(project + QStringLiteral("/taken.mov")), "keep");
    EXPECT_EQ(runVantor({QStringLiteral("copy"), QStringLiteral("--no-verify"), QStringLiteral("-a"), QStringLiteral("MD5"),
                         source, project + QStringLiteral("/x.mov")}).exitCode, 2);

}

// Ctrl-C in the middle of a long copy cancels through the job's control.
TEST(CopyCommand, InterruptCancelsAndPublishesNothing)
{
    TempDir dir;
    const QString source = dir.file(QStringLiteral("huge.mov"));
    {
        QFile sparse(source); // reads fast, but far too long to finish before the signal lands
        ASSERT_TRUE(sparse.open(QIODevice::WriteOnly));
        const qint64 room = QStorageInfo(dir.path()).bytesAvailable() / 2; // must pass the free-space check
        ASSERT_TRUE(sparse.resize(std::min(qint64(16) << 30, room)));
    }
    const QString project = dir.makeDir(QStringLiteral("project"));
    const QString trace = dir.file(QStringLiteral("trace.txt"));
    QProcess process;
    process.setProcessEnvironment(faultEnvironment("VANTOR_FAULT_TRACE", trace));
    process.start(vantorPath(), {QStringLiteral("copy"), source, project + QStringLiteral("/huge.mov")});
    ASSERT_TRUE(process.waitForStarted());
    while (!readFile(trace).contains(" write\n") && process.state() == QProcess::Running)
        QThread::msleep(5);
    ::kill(pid_t(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130);
    EXPECT_EQ(QString::fromUtf8(process.readAllStandardError()), QStringLiteral("vantor: Cancelled. Nothing was published.\n"));
    EXPECT_EQ(listTree(project), QStringList());
}
