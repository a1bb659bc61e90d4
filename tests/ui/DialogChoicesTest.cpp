#include "UiFixture.h"

#include "DialogChoices.h"

using namespace vantor;

namespace {

TEST(DialogChoicesTest, AnswersWithTheDesktopDialogs)
{
    ui::DialogChoices choices;
    for (const auto &[button, answer] : {std::pair("confirm-ok", true), std::pair("confirm-cancel", false)}) {
        test::UiTest::answerDialog(button);
        EXPECT_EQ(choices.confirm("Rename 3 files?", "The names shown are used."), answer) << button;
    }
}

} // namespace
