#include "base/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(ProjectTemplateService, BuiltInsGetFreshIdsAndValidateUnchanged)
{
    const auto first = ProjectTemplateService::defaults(), second = ProjectTemplateService::defaults();
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_NE(first[i].id, second[i].id);
        EXPECT_EQ(ProjectTemplateService::validate(first[i], {}), first[i].folders) << first[i].name.toStdString();
    }
}

// A template's name is a label: slashes and colons pass, blanks and control characters do not,
// and the name is checked before the folder list.
TEST(ProjectTemplateService, NamesAreCheckedAsLabels)
{
    const QString blank = "Give the template a name.";
    const QString control = "A template name cannot hold control characters such as tabs or line breaks.";
    const QString noFolders = "Add at least one folder to the template.";
    const std::vector<std::pair<QString, QString>> cases{
        {"a:b", noFolders}, {"DIT / offload", noFolders}, {"..", noFolders}, {"", blank}, {" \t", blank},
        {"Day\n2", control}, {"Day\t2", control}};
    for (const auto &[name, expected] : cases) {
        try {
            ProjectTemplateService::validate(ProjectTemplate{QUuid::createUuid(), name, {}}, {});
            ADD_FAILURE() << "accepted " << name.toStdString();
        } catch (const VantorError &error) {
            EXPECT_EQ(error.message(), expected) << name.toStdString();
        }
    }
}
