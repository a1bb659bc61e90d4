#include "ChildProcess.h"
#include "TempDir.h"

#include <QDir>
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

QStringList filesBelow(const QString &root)
{
    QStringList files;
    for (const QString &entry : listTree(root))
        if (!entry.endsWith(QLatin1Char('/')))
            files << entry;
    return files;
}

// The line numbers of the mutating operations a command performs, by name.
QMap<QString, QList<int>> traceOf(const QStringList &arguments, const TempDir &dir)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString trace = dir.file(QStringLiteral("trace.txt"));
    environment.insert(QStringLiteral("VANTOR_FAULT_TRACE"), trace);
    EXPECT_EQ(runVantor(arguments, environment).exitCode, 0);
    QMap<QString, QList<int>> operations;
    for (const QByteArray &line : readFile(trace).split('\n'))
        if (!line.isEmpty())
            operations[QString::fromLatin1(line.split(' ').at(1))] << line.split(' ').at(0).toInt();
    QFile::remove(trace);
    return operations;
}

} // namespace

TEST(ScanCommand, TextAndJsonListings)
{
    TempDir dir;
    dir.write(QStringLiteral("A001/CLIP/A001C001.MXF"), "video");
    dir.write(QStringLiteral("A001/My Clip.mov"), "ab");
    dir.write(QStringLiteral("A001/.DS_Store"), "x");
    const QString card = dir.file(QStringLiteral("A001"));

    const ProcessResult text = runVantor({QStringLiteral("scan"), card});
    EXPECT_EQ(text.exitCode, 0) << text.errText().toStdString();
    EXPECT_EQ(text.outText(), QStringLiteral("5\tA001/CLIP/A001C001.MXF\n2\tA001/My Clip.mov\n"));

    const ProcessResult json = runVantor({QStringLiteral("scan"), QStringLiteral("--json"), card});
    const QJsonArray array = QJsonDocument::fromJson(json.out).array();
    ASSERT_EQ(array.size(), 2);
    const QJsonObject second = array.at(1).toObject();
    EXPECT_EQ(second.value(QStringLiteral("url")).toString(),
              QStringLiteral("file://") + card + QStringLiteral("/My%20Clip.mov"));
    EXPECT_EQ(second.value(QStringLiteral("relative")).toString(), QStringLiteral("A001/My Clip.mov"));
    EXPECT_EQ(second.value(QStringLiteral("size")).toInteger(), 2);
    const double modified = QFileInfo(card + QStringLiteral("/My Clip.mov")).lastModified().toMSecsSinceEpoch() / 1000.0 - 978307200.0;
    EXPECT_NEAR(second.value(QStringLiteral("modified")).toDouble(), modified, 0.001);
}

TEST(ScanCommand, RefusedSelections)
{
    TempDir dir;
    dir.write(QStringLiteral("A001/a.mov"), "x");
    ::symlink("a.mov", QFile::encodeName(dir.file(QStringLiteral("A001/b.mov"))).constData());
    const QString locked = dir.makeDir(QStringLiteral("locked"));
    ::chmod(QFile::encodeName(locked).constData(), 0);
    const struct {
        QString path;
        QString message;
    } cases[] = {
        {dir.file(QStringLiteral("A001")), QStringLiteral("A symbolic link was found in the source. Remove it from the selection: ")
                                               + dir.file(QStringLiteral("A001/b.mov"))},
        {dir.file(QStringLiteral("A001/b.mov")), QStringLiteral("Symbolic links are not ingested: ") + dir.file(QStringLiteral("A001/b.mov"))},
        {locked, QStringLiteral("Cannot read ") + locked + QStringLiteral(".")},
    };
    for (const auto &c : cases) {
        // setpriv takes root's override of file permissions away, so the locked folder is locked.
        const ProcessResult result = runProgram(QStringLiteral("setpriv"),
                                                {QStringLiteral("--bounding-set=-dac_override,-dac_read_search"),
                                                 vantorPath(), QStringLiteral("scan"), c.path});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.out.isEmpty());
        EXPECT_EQ(result.errText(), QStringLiteral("vantor: ") + c.message + QLatin1Char('\n'));
    }
}

TEST(CopyCommand, CopiesVerifiesAndKeepsTheTime)
{
    TempDir dir;
    const QByteArray content = randomBytes(5 << 20, 1);
    const QString source = dir.write(QStringLiteral("card/clip.mov"), content);
    const QString project = dir.makeDir(QStringLiteral("project"));
    const struct {
        QStringList options;
        QString target;
        QString digest; // empty when not verifying
    } cases[] = {
        {{}, dir.file(QStringLiteral("project/clip.mov")), QStringLiteral("xxhsum")},
        {{QStringLiteral("-a"), QStringLiteral("SHA-256"), QStringLiteral("--root"), project},
         dir.file(QStringLiteral("project/a/b/clip.mov")), QStringLiteral("sha256sum")},
        {{QStringLiteral("--no-verify")}, dir.file(QStringLiteral("project/plain.mov")), {}},
    };
    for (const auto &c : cases) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("copy")} + c.options + QStringList{source, c.target});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_TRUE(result.err.isEmpty()) << "no progress bar when stderr is not a terminal";
        EXPECT_EQ(readFile(c.target), content);
        EXPECT_EQ(QFileInfo(c.target).lastModified(), QFileInfo(source).lastModified());
        if (c.digest.isEmpty()) {
            EXPECT_TRUE(result.out.isEmpty());
            continue;
        }
        const QStringList reference = c.digest == QLatin1String("xxhsum") ? QStringList{QStringLiteral("-H1"), source}
                                                                          : QStringList{source};
        const QString expected = runProgram(c.digest, reference).outText().section(QLatin1Char(' '), 0, 0);
        EXPECT_EQ(result.outText(), expected + QStringLiteral("  ") + expected + QLatin1Char('\n'));
    }
    EXPECT_EQ(filesBelow(project), QStringList({QStringLiteral("a/b/clip.mov"), QStringLiteral("clip.mov"),
                                                QStringLiteral("plain.mov")}));
}

TEST(CopyCommand, BadInputIsRefusedAndLeavesNothing)
{
    TempDir dir;
    const QString source = dir.write(QStringLiteral("card/clip.mov"), "content");
    ::symlink("clip.mov", QFile::encodeName(dir.file(QStringLiteral("card/link.mov"))).constData());
    const QString project = dir.makeDir(QStringLiteral("project"));
    dir.write(QStringLiteral("project/taken.mov"), "keep");
    dir.makeDir(QStringLiteral("elsewhere"));
    ::symlink("../elsewhere", QFile::encodeName(dir.file(QStringLiteral("project/linked"))).constData());
    const struct {
        QStringList arguments;
        QString message;
    } cases[] = {
        {{source, dir.file(QStringLiteral("project/taken.mov"))},
         QStringLiteral("File already exists. Choose a different name or destination: taken.mov")},
        {{QStringLiteral("--root"), project, source, dir.file(QStringLiteral("outside.mov"))},
         QStringLiteral("Output would escape the selected destination.")},
        {{QStringLiteral("--root"), project, source, dir.file(QStringLiteral("project/linked/x/clip.mov"))},
         QStringLiteral("A destination component is a link or file: ") + dir.file(QStringLiteral("project/linked"))},
        {{dir.file(QStringLiteral("card/link.mov")), dir.file(QStringLiteral("project/link.mov"))},
         QStringLiteral("Symbolic links are not ingested: ") + dir.file(QStringLiteral("card/link.mov"))},
        {{source, dir.file(QStringLiteral("missing/clip.mov"))}, QStringLiteral("No such file or directory")},
    };
    for (const auto &c : cases) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("copy")} + c.arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.errText(), QStringLiteral("vantor: ") + c.message + QLatin1Char('\n'));
    }
    EXPECT_EQ(listTree(project), QStringList({QStringLiteral("linked"), QStringLiteral("taken.mov")}));
    EXPECT_EQ(listTree(dir.file(QStringLiteral("elsewhere"))), QStringList());
    EXPECT_EQ(readFile(dir.file(QStringLiteral("project/taken.mov"))), "keep");
    EXPECT_EQ(runVantor({QStringLiteral("copy"), QStringLiteral("--no-verify"), QStringLiteral("-a"), QStringLiteral("MD5"),
                         source, dir.file(QStringLiteral("project/x.mov"))}).exitCode, 2);
}

// The disk fills while the first block is written: the system's text, and no staging file.
TEST(CopyCommand, FullDiskWhileWriting)
{
    TempDir dir;
    const QString source = dir.write(QStringLiteral("clip.mov"), randomBytes(6 << 20, 2));
    const QString project = dir.makeDir(QStringLiteral("project"));
    const QStringList arguments{QStringLiteral("copy"), source, project + QStringLiteral("/clip.mov")};
    const auto operations = traceOf(arguments, dir);
    ASSERT_EQ(operations.value(QStringLiteral("write")).size(), 2);
    QFile::remove(project + QStringLiteral("/clip.mov"));

    for (const int write : operations.value(QStringLiteral("write"))) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("VANTOR_FAULT_FAIL_AT"), QString::number(write));
        environment.insert(QStringLiteral("VANTOR_FAULT_ERRNO"), QStringLiteral("short"));
        const ProcessResult result = runVantor(arguments, environment);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.errText(), QStringLiteral("vantor: No space left on device\n"));
        EXPECT_EQ(listTree(project), QStringList());
    }
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
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VANTOR_FAULT_TRACE"), trace);
    process.setProcessEnvironment(environment);
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
