#include "ingest/NamingService.h"
#include "model/VantorError.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

QString unsafe(const QString &quoted) { return "\u201C" + quoted + "\u201D is not a safe file or folder name."; }

QString unknown(const QString &quoted) { return "Unknown naming token in \u201C" + quoted + "\u201D."; }

template <typename Call> QString messageOf(Call call)
{
    try {
        return QStringLiteral("<accepted: %1>").arg(call());
    } catch (const VantorError &error) {
        return error.message();
    }
}

struct ComponentCase {
    const char *label;
    QString name;
    bool safe;
};

class ComponentRules : public testing::TestWithParam<ComponentCase> {};

TEST_P(ComponentRules, AcceptTrimmedOrRefuseWithTheNameAsGiven)
{
    const ComponentCase &c = GetParam();
    EXPECT_EQ(messageOf([&] { return NamingService::component(c.name); }),
              c.safe ? QStringLiteral("<accepted: %1>").arg(c.name.trimmed()) : unsafe(c.name));
}

INSTANTIATE_TEST_SUITE_P(
    Names, ComponentRules,
    testing::Values(ComponentCase{"plain", "A001C003", true}, ComponentCase{"trimmed", "  Interview \n", true},
                    ComponentCase{"empty", "", false}, ComponentCase{"blanks", "  \t ", false},
                    ComponentCase{"dot", ".", false}, ComponentCase{"dotdot", "..", false},
                    ComponentCase{"dotdotPadded", " .. ", false}, ComponentCase{"reserved", ".vantor-x", false},
                    ComponentCase{"reservedAfterTrim", " .vantor-project-1", false},
                    ComponentCase{"hiddenButNotReserved", ".vantorx", true}, ComponentCase{"colon", "a:b", false},
                    ComponentCase{"slash", "a/b", false}, ComponentCase{"ascii240", QString(240, 'x'), true},
                    ComponentCase{"ascii241", QString(241, 'x'), false},
                    ComponentCase{"threeByte80", QString(80, QChar(0x20AC)), true},
                    ComponentCase{"threeByte81", QString(81, QChar(0x20AC)), false},
                    ComponentCase{"zeroWidthSpace", "Take\u200B1", false},
                    ComponentCase{"softHyphen", "Take\u00AD1", false},
                    ComponentCase{"byteOrderMark", QChar(0xFEFF) + QStringLiteral("Take"), false},
                    ComponentCase{"rightToLeftMark", "Take\u200F", false},
                    ComponentCase{"nul", QStringLiteral("a") + QChar(0) + "b", false},
                    ComponentCase{"escape", "a\u001Bb", false}, ComponentCase{"delete", "a\u007Fb", false},
                    ComponentCase{"loneSurrogate", QStringLiteral("a") + QChar(0xD800), false},
                    ComponentCase{"emoji", "Scene \U0001F3AC", true},
                    ComponentCase{"taggedCharacter", "a\U000E0001", false}),
    [](const testing::TestParamInfo<ComponentCase> &info) { return info.param.label; });

struct NamingCase {
    bool path; // relativePath, else expand
    QString text;
    NamingValues values;
    QString expected; // the result, or the refusal's message
};

class Naming : public testing::TestWithParam<NamingCase> {};

TEST_P(Naming, ExpandsOrRefusesWithItsMessage)
{
    const NamingCase &c = GetParam();
    const bool refused = c.expected.endsWith('.');
    EXPECT_EQ(messageOf([&] {
                  return c.path ? NamingService::relativePath(c.text, c.values) : NamingService::expand(c.text, c.values);
              }),
              refused ? c.expected : QStringLiteral("<accepted: %1>").arg(c.expected));
}

const NamingValues doc{{"PROJECT", "Doc"}, {"CLIENT", "Acme"}, {"ORIGINAL", "A001C003"}, {"COUNTER", "0001"}};
const QString slashes = "Use relative folder paths, without a leading or trailing slash.";
INSTANTIATE_TEST_SUITE_P(
    Cases, Naming,
    testing::Values(
        NamingCase{false, "{PROJECT}_{ORIGINAL}_{COUNTER}", doc, "Doc_A001C003_0001"},
        NamingCase{false, "{PROJECT}-{PROJECT}", doc, "Doc-Doc"},
        NamingCase{false, "{CAMERA}{PROJECT}", doc, "Doc"}, // a token without a value is removed
        NamingCase{false, "  {PROJECT} ", doc, "Doc"},
        NamingCase{false, "{project}", doc, unknown("{project}")}, // tokens are upper-case only
        NamingCase{false, "{FOO}", {}, unknown("{FOO}")}, NamingCase{false, "a_{FOO", {}, unknown("a_{FOO")},
        NamingCase{false, "{SCENE}", {{"SCENE", ""}}, unsafe("{SCENE}")},
        NamingCase{false, "{PROJECT}", {{"PROJECT", "A/B"}}, unsafe("{PROJECT}")},
        // Tokens are substituted in a fixed order: a value's token text meets only the tokens after its own.
        NamingCase{false, "{CLIENT}", {{"PROJECT", "x"}, {"CLIENT", "{PROJECT}"}}, unknown("{CLIENT}")},
        NamingCase{false, "{DATE}", {{"DATE", "{ROLL}"}, {"ROLL", "R1"}}, "R1"},
        NamingCase{true, "02_FOOTAGE/ORIGINALS", doc, "02_FOOTAGE/ORIGINALS"},
        NamingCase{true, "{CLIENT}/BRIEF/ {PROJECT} ", doc, "Acme/BRIEF/Doc"},
        NamingCase{true, "/02_FOOTAGE", doc, slashes}, NamingCase{true, "02_FOOTAGE/", doc, slashes},
        NamingCase{true, "/", doc, slashes}, NamingCase{true, "02_FOOTAGE/{FOO}", doc, unknown("{FOO}")},
        NamingCase{true, "a//b", doc, unsafe("")}, NamingCase{true, "", doc, unsafe("")},
        NamingCase{true, "a/../b", doc, unsafe("..")}, NamingCase{true, "a/.vantor-x", doc, unsafe(".vantor-x")},
        // The slash of a value arrives after the split, so it cannot make a folder.
        NamingCase{true, "x/{PROJECT}", {{"PROJECT", "A/B"}}, unsafe("{PROJECT}")},
        NamingCase{true, "{CLIENT}/BRIEF", {{"CLIENT", ""}}, unsafe("{CLIENT}")}));

} // namespace
