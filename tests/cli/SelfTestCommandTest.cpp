// vantor --self-test against disposable folders.
#include "CliTest.h"

#include <QRegularExpression>

namespace vantor {
namespace {

const QString verdict = "FAIL Native queue integration: ";

class SelfTest : public test::CliTest {
public:
    // `wrapper`, when given, runs vantor (e.g. in a mount namespace of its own).
    test::ProcessResult selfTest(const QString &wrapper = {})
    {
        const QStringList command{test::vantorPath(), "--self-test"};
        return wrapper.isEmpty() ? test::runProgram(command[0], command.mid(1), environment)
                                 : test::runProgram("unshare", QStringList{"--mount", wrapper} + command, environment);
    }
    QStringList leftovers() const { return test::listTree(support).filter(QRegularExpression("(^|/)\\.vantor-")); }
};

TEST_F(SelfTest, WithoutASupportFolderFailsAtOnceAndWritesNothing)
{
    environment.remove("VANTOR_SUPPORT_DIR");
    const test::ProcessResult result = selfTest();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), verdict + "Set VANTOR_SUPPORT_DIR to a disposable test directory.\n");
    // Neither the user's data and settings folders under HOME nor the temporary folder got anything.
    EXPECT_EQ(test::listTree(home) + test::listTree(temporary), QStringList());
}

// A broken engine ends the run with the stage's message and leaves nothing half made.
struct BrokenEngine {
    const char *name;
    QByteArray engine; // the ffmpeg script; none hides the system's ffmpeg in a mount namespace of this run alone
    QString message;
    bool fixtureMade;
};

void PrintTo(const BrokenEngine &engine, std::ostream *out) { *out << engine.name; }

class BrokenEngines : public SelfTest, public testing::WithParamInterface<BrokenEngine> {};

TEST_P(BrokenEngines, EndWithOneFailLine)
{
    QString wrapper;
    if (GetParam().engine.isEmpty())
        wrapper = script("hide.sh", "mount --bind /dev/null /usr/bin/ffmpeg 2>/dev/null || { echo 'skip: no mount namespace' >&2; exit 1; }\n"
                                    "[ -x /usr/local/bin/ffmpeg ] && { echo 'skip: /usr/local/bin/ffmpeg' >&2; exit 1; }\nexec \"$@\"\n");
    else
        useEngine(GetParam().engine);
    const test::ProcessResult result = selfTest(wrapper);
    if (result.errText().contains("skip: "))
        GTEST_SKIP() << result.errText().toStdString();
    EXPECT_EQ(result.exitCode, 1) << result.errText().toStdString();
    // No stage line passed before the verdict, and nothing follows it.
    EXPECT_EQ(result.outText(), verdict + GetParam().message + '\n');
    EXPECT_EQ(QFile::exists(support + "/fixtures/A001_C001.mov"), GetParam().fixtureMade);
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_FALSE(QFile::exists(support + "/projects/QueueSmoke/02_FOOTAGE/PROXIES/A001_C001_PROXY.mov"));
}

INSTANTIATE_TEST_SUITE_P(Cases, BrokenEngines, testing::Values(
    BrokenEngine{"MissingEngine", {}, "The processing engine is missing. Reinstall Vantor or contact support.", false},
    // Writes half a clip first, as a crashing encoder would.
    BrokenEngine{"EngineThatFails", "printf partial > \"${@: -1}\"\necho 'Unknown encoder'\necho\necho '  Conversion failed!'\nexit 1\n",
                 "Media engine failed (1). Unknown encoder Conversion failed!", false},
    // Makes generated clips but refuses to read any file: the queue's job fails.
    BrokenEngine{"EngineThatCannotTranscode", "[[ \" $* \" == *' lavfi '* ]] && exec /usr/bin/ffmpeg \"$@\"\n"
                 "echo 'Invalid data found when processing input'\nexit 1\n", "Job did not complete.", true}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(SelfTest, PassesEndToEndAndReportsTheHeartbeat)
{
    const test::ProcessResult result = selfTest();
    ASSERT_EQ(result.exitCode, 0) << result.outText().toStdString() << result.errText().toStdString();
    QStringList lines = result.outText().split('\n');
    ASSERT_EQ(lines.takeLast(), QString());
    // With NVENC the hardware stage runs; without it one SKIP line says why and the stage line
    // claims only what ran.
    if (lines.first().startsWith("SKIP Hardware H.264 / HEVC: "))
        EXPECT_EQ(lines.value(1), "PASS Queue reorder, batch retry and sleep/wake policy");
    else
        EXPECT_EQ(lines.first(), "PASS Hardware H.264 / HEVC, queue reorder, batch retry and sleep/wake policy");
    EXPECT_TRUE(lines.value(lines.size() - 2).contains(
        QRegularExpression("^PASS 5,000-job save: main-thread heartbeat worst gap \\d+ ms, save \\d+ ms$")))
        << result.outText().toStdString();
    EXPECT_EQ(lines.last(), "PASS Native queue integration");
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_TRUE(QFile::exists(support + "/fixtures/A001_C001.mov"));
}

} // namespace
} // namespace vantor
