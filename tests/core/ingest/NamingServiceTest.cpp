#include "ingest/NamingService.h"
#include "model/VantorError.h"


#include <gtest/gtest.h>

using namespace vantor;

namespace {

QString unsafe(const QString &quoted)
{
    return QStringLiteral("\u201C") + quoted + QStringLiteral("\u201D is not a safe file or folder name.");
}

QString unknown(const QString &quoted)
{
    return QStringLiteral("Unknown naming token in \u201C") + quoted + QStringLiteral("\u201D.");
}

const QString slashMessage = QStringLiteral("Use relative folder paths, without a leading or trailing slash.");

template <typename Call> QString messageOf(Call call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return QStringLiteral("<no error>");
}

struct ComponentCase {
    const char *label;
    QString name;
    bool safe;
};

class ComponentRules : public testing::TestWithParam<ComponentCase> {};

TEST_P(ComponentRules, AcceptsOrRefusesWithTheNameAsGiven)
{
    const ComponentCase &c = GetParam();
    if (c.safe) {
        EXPECT_EQ(NamingService::component(c.name), c.name.trimmed());
    } else {
        EXPECT_EQ(messageOf([&] { NamingService::component(c.name); }), unsafe(c.name));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Names, ComponentRules,
    testing::Values(ComponentCase{"plain", QStringLiteral("A001C003"), true},
                    ComponentCase{"trimmed", QStringLiteral("  Interview \n"), true},
                    ComponentCase{"empty", QString(), false},
                    ComponentCase{"blanks", QStringLiteral("  \t "), false},
                    ComponentCase{"dot", QStringLiteral("."), false},
                    ComponentCase{"dotdot", QStringLiteral(".."), false},
                    ComponentCase{"dotdotPadded", QStringLiteral(" .. "), false},
                    ComponentCase{"reserved", QStringLiteral(".vantor-x"), false},
                    ComponentCase{"reservedAfterTrim", QStringLiteral(" .vantor-project-1"), false},
                    ComponentCase{"hiddenButNotReserved", QStringLiteral(".vantorx"), true},
                    ComponentCase{"colon", QStringLiteral("a:b"), false},
                    ComponentCase{"slash", QStringLiteral("a/b"), false},
                    ComponentCase{"ascii240", QString(240, QLatin1Char('x')), true},
                    ComponentCase{"ascii241", QString(241, QLatin1Char('x')), false},
                    ComponentCase{"threeByte80", QString(80, QChar(0x20AC)), true},
                    ComponentCase{"threeByte81", QString(81, QChar(0x20AC)), false},
                    ComponentCase{"zeroWidthSpace", QStringLiteral("Take\u200B1"), false},
                    ComponentCase{"softHyphen", QStringLiteral("Take\u00AD1"), false},
                    ComponentCase{"byteOrderMark", QStringLiteral("\uFEFFTake"), false},
                    ComponentCase{"rightToLeftMark", QStringLiteral("Take\u200F"), false},
                    ComponentCase{"nul", QStringLiteral("a") + QChar(0) + QStringLiteral("b"), false},
                    ComponentCase{"escape", QStringLiteral("a\u001Bb"), false},
                    ComponentCase{"delete", QStringLiteral("a\u007Fb"), false},
                    ComponentCase{"loneSurrogate", QStringLiteral("a") + QChar(0xD800), false},
                    ComponentCase{"emoji", QStringLiteral("Scene \U0001F3AC"), true},
                    ComponentCase{"taggedCharacter", QStringLiteral("a\U000E0001"), false}),
    [](const testing::TestParamInfo<ComponentCase> &info) { return info.param.label; });

TEST(NamingService, TokensAreTheTenInSubstitutionOrder)
{
    EXPECT_EQ(NamingService::tokens(),
              QStringList({"PROJECT", "CLIENT", "DATE", "CAMERA", "ROLL", "SCENE", "SHOT", "TAKE", "ORIGINAL", "COUNTER"}));
}

TEST(NamingService, ExpandsEveryOccurrenceLiterally)
{
    const NamingValues values{{"PROJECT", "Doc"}, {"ORIGINAL", "A001C003"}, {"COUNTER", "0001"}};
    EXPECT_EQ(NamingService::expand("{PROJECT}_{ORIGINAL}_{COUNTER}", values), "Doc_A001C003_0001");
    EXPECT_EQ(NamingService::expand("{PROJECT}-{PROJECT}", values), "Doc-Doc");
    // A token without a value is simply removed.
    EXPECT_EQ(NamingService::expand("{CAMERA}{PROJECT}", values), "Doc");
    // The lower-case spelling is not a token, so it is left as braces and refused.
    EXPECT_EQ(messageOf([&] { NamingService::expand("{project}", values); }), unknown("{project}"));
}

TEST(NamingService, ValuesHoldingTokenTextExpandOnlyLaterTokens)
{
    const NamingValues values{{"PROJECT", "x"}, {"CLIENT", "{PROJECT}"}, {"DATE", "{ROLL}"}, {"ROLL", "R1"}};
    EXPECT_EQ(messageOf([&] { NamingService::expand("{CLIENT}", values); }), unknown("{CLIENT}"));
    EXPECT_EQ(NamingService::expand("{DATE}", values), "R1");
}

TEST(NamingService, ExpandRefusesWhatCannotBeOneName)
{
    EXPECT_EQ(messageOf([] { NamingService::expand("{SCENE}", {{"SCENE", ""}}); }), unsafe("{SCENE}"));
    EXPECT_EQ(messageOf([] { NamingService::expand("{FOO}", {}); }), unknown("{FOO}"));
    EXPECT_EQ(messageOf([] { NamingService::expand("a_{FOO", {}); }), unknown("a_{FOO"));
    EXPECT_EQ(messageOf([] { NamingService::expand("{PROJECT}", {{"PROJECT", "A/B"}}); }), unsafe("{PROJECT}"));
    EXPECT_EQ(NamingService::expand("  {PROJECT} ", {{"PROJECT", "Doc"}}), "Doc");
}

TEST(NamingService, RelativePathChecksEachPiece)
{
    const NamingValues values{{"PROJECT", "Doc"}, {"CLIENT", "Acme"}};
    EXPECT_EQ(NamingService::relativePath("02_FOOTAGE/ORIGINALS", values), "02_FOOTAGE/ORIGINALS");
    EXPECT_EQ(NamingService::relativePath("{CLIENT}/BRIEF/ {PROJECT} ", values), "Acme/BRIEF/Doc");
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("/02_FOOTAGE", values); }), slashMessage);
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("02_FOOTAGE/", values); }), slashMessage);
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("/", values); }), slashMessage);
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("02_FOOTAGE/{FOO}", values); }), unknown("{FOO}"));
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("a//b", values); }), unsafe(""));
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("", values); }), unsafe(""));
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("a/../b", values); }), unsafe(".."));
    EXPECT_EQ(messageOf([&] { NamingService::relativePath("a/.vantor-x", values); }), unsafe(".vantor-x"));
    // The slash of a value arrives after the split, so it cannot make a folder.
    EXPECT_EQ(messageOf([] { NamingService::relativePath("x/{PROJECT}", {{"PROJECT", "A/B"}}); }),
              unsafe("{PROJECT}"));
    EXPECT_EQ(messageOf([] { NamingService::relativePath("{CLIENT}/BRIEF", {{"CLIENT", ""}}); }), unsafe("{CLIENT}"));
}

} // namespace
