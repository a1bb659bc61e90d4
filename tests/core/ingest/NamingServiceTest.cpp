#include "ingest/NamingService.h"
#include "base/VantorError.h"

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

QString resultOf(const std::function<QString()> &call)
{
    try {
        return call();
    } catch (const VantorError &error) {
        return error.message();
    }
}

// Each name is kept (trimmed) when `safe`, else refused with the name as given.
const std::pair<QString, bool> componentCases[] = {
    {QStringLiteral("  Interview \n"), true}, {QString(), false}, {QStringLiteral("  \t "), false}, {QStringLiteral("."), false},
    {QStringLiteral(" .. "), false}, {QStringLiteral(" .vantor-project-1"), false}, {QStringLiteral(".vantorx"), true},
    {QStringLiteral("a:b"), false}, {QStringLiteral("a/b"), false}, {QString(240, QLatin1Char('x')), true},
    {QString(241, QLatin1Char('x')), false}, {QString(80, QChar(0x20AC)), true}, {QString(81, QChar(0x20AC)), false},
    {QStringLiteral("Take\u200B1"), false}, {QStringLiteral("Take\u200F"), false}, {QStringLiteral("a") + QChar(0) + QStringLiteral("b"), false},
    {QStringLiteral("a\u007Fb"), false}, {QStringLiteral("a") + QChar(0xD800), false}, {QStringLiteral("Scene \U0001F3AC"), true},
    {QStringLiteral("a\U000E0001"), false},
};

class ComponentRules : public testing::TestWithParam<std::pair<QString, bool>> {};

TEST_P(ComponentRules, AcceptsOrRefusesWithTheNameAsGiven)
{
    const auto &[name, safe] = GetParam();
    EXPECT_EQ(resultOf([&] { return NamingService::component(name); }), safe ? name.trimmed() : unsafe(name));
}

INSTANTIATE_TEST_SUITE_P(Names, ComponentRules, testing::ValuesIn(componentCases));

TEST(NamingService, ExpandAndRelativePath)
{
    const QString slash = QStringLiteral("Use relative folder paths, without a leading or trailing slash.");
    const NamingValues values{{"PROJECT", "Doc"}, {"CLIENT", "Acme"}, {"ORIGINAL", "A001C003"}, {"COUNTER", "0001"},
                              {"DATE", "{ROLL}"}, {"ROLL", "R1"}, {"SHOT", "{PROJECT}"}, {"SCENE", ""}, {"TAKE", "A/B"}};
    const struct {
        bool path;
        QString pattern, expected;
    } cases[] = {
        {false, "{PROJECT}_{ORIGINAL}_{COUNTER}", "Doc_A001C003_0001"},
        {false, "{CAMERA}{PROJECT}", "Doc"}, // a token without a value is removed
        {false, "{project}", unknown("{project}")},
        {false, "a_{FOO", unknown("a_{FOO")},
        {false, "{DATE}", "R1"}, // a value's token text expands only for later tokens
        {false, "{SHOT}", unknown("{SHOT}")},
        {false, "{SCENE}", unsafe("{SCENE}")},
        {false, "{TAKE}", unsafe("{TAKE}")},
        {true, "{CLIENT}/BRIEF/ {PROJECT} ", "Acme/BRIEF/Doc"},
        {true, "/02_FOOTAGE", slash},
        {true, "02_FOOTAGE/", slash},
        {true, "02_FOOTAGE/{FOO}", unknown("{FOO}")},
        {true, "a//b", unsafe("")},
        {true, "a/../b", unsafe("..")},
        {true, "a/.vantor-x", unsafe(".vantor-x")},
        {true, "x/{TAKE}", unsafe("{TAKE}")}, // a value's slash arrives after the split
    };
    for (const auto &c : cases)
        EXPECT_EQ(resultOf([&] { return c.path ? NamingService::relativePath(c.pattern, values)
                                               : NamingService::expand(c.pattern, values); }), c.expected)
            << c.pattern.toStdString();
}

} // namespace
