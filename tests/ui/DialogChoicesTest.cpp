#include "UiFixture.h"

#include "DialogChoices.h"


using namespace vantor;

namespace {

TEST(DialogChoicesTest, AnswersWithTheDesktopDialogs)
{
    ui::DialogChoices choices;

    test::UiTest::answerDialog(QStringLiteral("confirm-ok"));
    EXPECT_TRUE(choices.confirm(QStringLiteral("Rename 3 files?"), QStringLiteral("The names shown are used.")));
    test::UiTest::answerDialog(QStringLiteral("confirm-cancel"));
    EXPECT_FALSE(choices.confirm(QStringLiteral("Rename 3 files?"), QStringLiteral("The names shown are used.")));

}

} // namespace
