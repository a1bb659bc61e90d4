// vantor --self-test, run as the real binary against disposable folders.
#include "ChildProcess.h"
#include "TempDir.h"

#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <gtest/gtest.h>
#include <functional>

namespace vantor {
namespace {

using test::TempDir;

const QString verdict = QStringLiteral("FAIL Native queue integration: ");

QString script(const TempDir &dir, const QString &name, const QByteArray &body)
{
    const QString path = dir.write(name, "#!/bin/bash\n" + body);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

class SelfTest : public ::testing::Test {
public:
    TempDir dir;
    QString home = dir.makeDir(QStringLiteral("home"));
    QString temporary = dir.makeDir(QStringLiteral("tmp"));
    QString support = dir.file(QStringLiteral("support"));
    QProcessEnvironment environment = [this] {
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"VANTOR_ENGINE", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            variables.remove(QString::fromLatin1(name));
        variables.insert(QStringLiteral("HOME"), home);
        variables.insert(QStringLiteral("TMPDIR"), temporary);
        variables.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), support);
        return variables;
    }();

    // `wrapper`, when given, runs vantor (e.g. in a mount namespace of its own).
    test::ProcessResult selfTest(const QString &wrapper = {})
    {
        if (wrapper.isEmpty())
            return test::runProgram(test::vantorPath(), {QStringLiteral("--self-test")}, environment);
        return test::runProgram(QStringLiteral("unshare"),
                                {QStringLiteral("--mount"), wrapper, test::vantorPath(), QStringLiteral("--self-test")},
                                environment);
    }
    QStringList leftovers() const
    {
        return test::listTree(support).filter(QRegularExpression(QStringLiteral("(^|/)\\.vantor-")));
    }
};

// ---- Refused before anything is written

class WithoutSupportFolder : public SelfTest, public ::testing::WithParamInterface<bool> {};

TEST_P(WithoutSupportFolder, FailsAtOnceAndWritesNothing)
{
    if (GetParam())
        environment.insert(QStringLiteral("VANTOR_SUPPORT_DIR"), QString());
    else
        environment.remove(QStringLiteral("VANTOR_SUPPORT_DIR"));
    const test::ProcessResult result = selfTest();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), verdict + QStringLiteral("Set VANTOR_SUPPORT_DIR to a disposable test directory.\n"));
    // Neither the user's data and settings folders under HOME nor the temporary folder got anything.
    EXPECT_EQ(test::listTree(home), QStringList());
    EXPECT_EQ(test::listTree(temporary), QStringList());
}

INSTANTIATE_TEST_SUITE_P(Environment, WithoutSupportFolder, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Empty" : "Unset"; });

// ---- A broken engine ends the run with the stage's message and leaves nothing half made

struct BrokenEngine {
    const char *name;
    std::function<QString(SelfTest &)> arrange; // returns a wrapper for vantor, or nothing
    QString message;
    bool fixtureMade;
};

void PrintTo(const BrokenEngine &engine, std::ostream *out)
{
    *out << engine.name;
}

class BrokenEngines : public SelfTest, public ::testing::WithParamInterface<BrokenEngine> {};

TEST_P(BrokenEngines, EndWithOneFailLine)
{
    const QString wrapper = GetParam().arrange(*this);
    const test::ProcessResult result = selfTest(wrapper);
    if (result.errText().contains(QStringLiteral("skip: ")))
        GTEST_SKIP() << result.errText().toStdString();
    EXPECT_EQ(result.exitCode, 1) << result.errText().toStdString();
    // No stage line passed before the verdict.
    EXPECT_TRUE(result.outText().startsWith(verdict + GetParam().message + QLatin1Char('\n')))
        << result.outText().toStdString();
    EXPECT_EQ(QFile::exists(support + QStringLiteral("/fixtures/A001_C001.mov")), GetParam().fixtureMade);
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_FALSE(QFile::exists(support + QStringLiteral("/projects/QueueSmoke/02_FOOTAGE/PROXIES/A001_C001_PROXY.mov")));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BrokenEngines,
    ::testing::Values(
        BrokenEngine{"MissingEngine",
                     [](SelfTest &test) {
                         // The system's own ffmpeg is hidden in a mount namespace of this run alone.
                         return script(
                             test.dir, QStringLiteral("hide.sh"),
                             "mount --bind /dev/null /usr/bin/ffmpeg 2>/dev/null || { echo 'skip: no mount namespace' >&2; exit 1; }\n"
                             "[ -x /usr/local/bin/ffmpeg ] && { echo 'skip: /usr/local/bin/ffmpeg' >&2; exit 1; }\n"
                             "exec \"$@\"\n");
                     },
                     QStringLiteral("The processing engine is missing. Reinstall Vantor or contact support."), false},
        BrokenEngine{"EngineThatFails",
                     [](SelfTest &test) {
                         // Writes half a clip first, as a crashing encoder would.
                         const QString ffmpeg = script(test.dir, QStringLiteral("engine/ffmpeg"),
                                                       "printf partial > \"${@: -1}\"\nexit 1\n");
                         QFile::link(QStringLiteral("/usr/bin/ffprobe"), test.dir.file(QStringLiteral("engine/ffprobe")));
                         test.environment.insert(QStringLiteral("VANTOR_ENGINE"), ffmpeg);
                         return QString();
                     },
                     QStringLiteral("Media engine failed (1)."), false},
        BrokenEngine{"EngineThatCannotTranscode",
                     [](SelfTest &test) {
                         // Makes generated clips but refuses to read any file: the queue's job fails.
                         const QString ffmpeg = script(
                             test.dir, QStringLiteral("engine/ffmpeg"),
                             "[[ \" $* \" == *' lavfi '* ]] && exec /usr/bin/ffmpeg \"$@\"\n"
                             "echo 'Invalid data found when processing input'\nexit 1\n");
                         QFile::link(QStringLiteral("/usr/bin/ffprobe"), test.dir.file(QStringLiteral("engine/ffprobe")));
                         test.environment.insert(QStringLiteral("VANTOR_ENGINE"), ffmpeg);
                         return QString();
                     },
                     QStringLiteral("Job did not complete."), true}),
    [](const auto &info) { return std::string(info.param.name); });

// ---- The whole run on this machine's engine

TEST_F(SelfTest, PassesEndToEndAndReportsTheHeartbeat)
{
    const test::ProcessResult result = selfTest();
    ASSERT_EQ(result.exitCode, 0) << result.outText().toStdString() << result.errText().toStdString();
    QStringList lines = result.outText().split(QLatin1Char('\n'));
    ASSERT_EQ(lines.takeLast(), QString());
    // With NVENC the hardware stage runs; without it one SKIP line says why and the stage line
    // claims only what ran.
    if (lines.first().startsWith(QStringLiteral("SKIP Hardware H.264 / HEVC: ")))
        EXPECT_EQ(lines.value(1), QStringLiteral("PASS Queue reorder, batch retry and sleep/wake policy"));
    else
        EXPECT_EQ(lines.first(),
                  QStringLiteral("PASS Hardware H.264 / HEVC, queue reorder, batch retry and sleep/wake policy"));
    EXPECT_TRUE(lines.value(lines.size() - 2)
                    .contains(QRegularExpression(
                        QStringLiteral("^PASS 5,000-job save: main actor heartbeat worst gap \\d+ ms, save \\d+ ms$"))))
        << result.outText().toStdString();
    EXPECT_EQ(lines.last(), QStringLiteral("PASS Native queue integration"));
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_TRUE(QFile::exists(support + QStringLiteral("/fixtures/A001_C001.mov")));
}

} // namespace
} // namespace vantor
