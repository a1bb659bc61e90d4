#include "ChildProcess.h"

#include <gtest/gtest.h>

using vantor::test::runVantor;

// The overview goes to stdout and names every command, each of which has help naming itself.
TEST(CommandFrameTest, HelpForTheToolAndEveryCommand)
{
    const auto overview = runVantor({QStringLiteral("--help")});
    EXPECT_EQ(overview.exitCode, 0);
    EXPECT_TRUE(overview.outText().startsWith(QStringLiteral("Usage: vantor")));
    EXPECT_TRUE(overview.err.isEmpty());
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

TEST(CommandFrameTest, VersionAndUsageErrors)
{
    const auto version = runVantor({QStringLiteral("--version")});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.outText().startsWith(QStringLiteral("vantor ")));
    EXPECT_EQ(version.outText().count(u'\n'), 1);
    // Unknown commands and options, and a command's own bad options or missing operands.
    const std::pair<QStringList, const char *> cases[] = {
        {{QStringLiteral("frobnicate")}, "vantor: unknown "},
        {{QStringLiteral("--frobnicate")}, "vantor: unknown "},
        {{QStringLiteral("hash"), QStringLiteral("-a"), QStringLiteral("sha256"), QStringLiteral("x")}, "vantor: "},
        {{QStringLiteral("hash"), QStringLiteral("-a"), QStringLiteral("xxhash64"), QStringLiteral("x")}, "vantor: "},
        {{QStringLiteral("hash")}, "vantor: "},
    };
    for (const auto &[arguments, prefix] : cases) {
        const auto result = runVantor(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(result.errText().startsWith(QLatin1String(prefix))) << result.errText().toStdString();
        EXPECT_TRUE(result.out.isEmpty());
    }
}
