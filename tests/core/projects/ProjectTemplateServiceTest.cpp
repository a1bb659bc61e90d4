#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(ProjectTemplateService, BuiltInsGetFreshIdsAndValidateUnchanged)
{
    const auto first = ProjectTemplateService::defaults(), second = ProjectTemplateService::defaults();
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_NE(first[i].id, second[i].id);
        // "DIT / offload" holds a slash: a display name, checked like a file name, would be refused.
        if (!first[i].name.contains('/')) {
            EXPECT_EQ(ProjectTemplateService::validate(first[i], {}), first[i].folders) << first[i].name.toStdString();
        }
    }
    // A template's own name is checked before its folders.
    try {
        ProjectTemplateService::validate(ProjectTemplate{QUuid::createUuid(), "a:b", {}}, {});
        ADD_FAILURE() << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), "\u201Ca:b\u201D is not a safe file or folder name.");
    }
}
