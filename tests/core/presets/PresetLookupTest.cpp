#include "presets/PresetService.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

QList<TranscodePreset> named(const QStringList &names)
{
    QList<TranscodePreset> presets;
    for (const QString &name : names) {
        TranscodePreset preset = PresetService::defaults().first();
        preset.name = name;
        preset.suffix = QStringLiteral("_") + QString::number(presets.size());
        presets << preset;
    }
    return presets;
}

// Every command and page names presets by one rule: the exact spelling wins, a difference in
// case alone is forgiven only when it points at one preset.
TEST(PresetLookup, ExactNameFirstThenTheOneCaseFoldedMatch)
{
    struct Case {
        QStringList presets;
        QString wanted;
        std::optional<int> found; // index into presets
    };
    const std::vector<Case> cases{
        {{"Proxy", "Review"}, "Review", 1},
        {{"Proxy", "Review"}, "review", 1},
        {{"proxy", "Proxy"}, "Proxy", 1},
        {{"proxy", "PROXY"}, "Proxy", std::nullopt},
        {{"Proxy"}, "Proxy ", std::nullopt},
        {{}, "Proxy", std::nullopt},
    };
    for (const Case &each : cases) {
        const QList<TranscodePreset> presets = named(each.presets);
        const std::optional<TranscodePreset> found = PresetService::find(presets, each.wanted);
        ASSERT_EQ(found.has_value(), each.found.has_value()) << each.wanted.toStdString();
        if (found) {
            EXPECT_EQ(found->suffix, presets[*each.found].suffix) << each.wanted.toStdString();
        }
    }
}

} // namespace
