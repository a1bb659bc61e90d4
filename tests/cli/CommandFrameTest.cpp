#include "ChildProcess.h"

#include <gtest/gtest.h>

using vantor::test::runVantor;

TEST(CommandFrameTest, HelpListsTheCommandsOnStdout)
{
    const auto result = runVantor({QStringLiteral("--help")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.outText().startsWith(QStringLiteral("Usage: vantor")));
    EXPECT_TRUE(result.err.isEmpty());
}

TEST(CommandFrameTest, VersionPrintsOneLine)
{
    const auto result = runVantor({QStringLiteral("--version")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.outText().startsWith(QStringLiteral("vantor ")));
    EXPECT_EQ(result.outText().count(u'\n'), 1);
}

TEST(CommandFrameTest, UnknownCommandsAndOptionsAreUsageErrors)
{
    for (const char *word : {"frobnicate", "--frobnicate"}) {
        const auto result = runVantor({QLatin1String(word)});
        EXPECT_EQ(result.exitCode, 2) << word;
        EXPECT_TRUE(result.errText().startsWith(QStringLiteral("vantor: unknown "))) << word;
        EXPECT_TRUE(result.out.isEmpty());
    }
}

TEST(CommandFrameTest, EveryCommandHasHelpNamingItself)
{
    const auto overview = runVantor({QStringLiteral("--help")});
    const QStringList lines = overview.outText().split(u'\n');
    const qsizetype first = lines.indexOf(QStringLiteral("Commands:")) + 1;
    ASSERT_GT(first, 0);
    for (qsizetype i = first; i < lines.size() && !lines[i].isEmpty(); ++i) {
        const QString command = lines[i].trimmed().section(u' ', 0, 0);
        const auto help = runVantor({command, QStringLiteral("--help")});
        EXPECT_EQ(help.exitCode, 0) << command.toStdString();
        EXPECT_TRUE(help.outText().startsWith(QStringLiteral("Usage: vantor ") + command + u' ')) << help.outText().toStdString();
    }
}
