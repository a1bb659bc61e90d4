#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

ProjectTemplate makeTemplate(const QString &name, const QStringList &folders)
{
    return ProjectTemplate{QUuid::createUuid(), name, folders};
}

TEST(ProjectTemplateService, BuiltInsGetFreshIdsAndValidateUnchanged)
{
    const auto first = ProjectTemplateService::defaults();
    const auto second = ProjectTemplateService::defaults();
    ASSERT_EQ(first.size(), 7u);
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].folders, second[i].folders);
        EXPECT_NE(first[i].id, second[i].id);
        // "DIT / offload" holds a slash: a display name, checked like a file name, would be refused.
        if (!first[i].name.contains('/')) {
            EXPECT_EQ(ProjectTemplateService::validate(first[i], {}), first[i].folders) << first[i].name.toStdString();
        }
    }
}

TEST(ProjectTemplateService, ValidateExpandsInOrder)
{
    const auto entry = makeTemplate("Shoot", {"{DATE}", "{CLIENT}/BRIEF", "02_FOOTAGE", "02_FOOTAGE/ORIGINALS"});
    EXPECT_EQ(ProjectTemplateService::validate(entry, {{"CLIENT", "Acme"}, {"DATE", "2026-03-01"}}),
              QStringList({"2026-03-01", "Acme/BRIEF", "02_FOOTAGE", "02_FOOTAGE/ORIGINALS"}));
}

struct TemplateRefusal {
    QString name;
    QStringList folders;
    QString message;
};

class TemplateRefusals : public testing::TestWithParam<TemplateRefusal> {};

TEST_P(TemplateRefusals, SayWhy)
{
    try {
        ProjectTemplateService::validate(makeTemplate(GetParam().name, GetParam().folders), {{"PROJECT", "Doc"}});
        ADD_FAILURE() << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), GetParam().message);
    }
}

const QString noFolders = "Add at least one folder to the template.";
const QString duplicates = "The template contains duplicate folder paths.";
const QString slashes = "Use relative folder paths, without a leading or trailing slash.";
// The name is checked before the folder list, and an empty list before any path.
INSTANTIATE_TEST_SUITE_P(
    Cases, TemplateRefusals,
    testing::Values(TemplateRefusal{"a:b", {}, "\u201Ca:b\u201D is not a safe file or folder name."},
                    TemplateRefusal{"T", {}, noFolders}, TemplateRefusal{"T", {"03_AUDIO", "04", "03_audio"}, duplicates},
                    TemplateRefusal{"T", {"A", " a "}, duplicates}, TemplateRefusal{"T", {"{PROJECT}", "Doc"}, duplicates},
                    TemplateRefusal{"T", {"ok", "/abs"}, slashes}, TemplateRefusal{"T", {"A/"}, slashes},
                    TemplateRefusal{"T", {"A", "B/{TAKE}{X}"}, "Unknown naming token in \u201C{TAKE}{X}\u201D."},
                    TemplateRefusal{"T", {"A/../../B"}, "\u201C..\u201D is not a safe file or folder name."}));

} // namespace
