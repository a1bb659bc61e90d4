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
