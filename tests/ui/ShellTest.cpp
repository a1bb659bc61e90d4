#include "UiFixture.h"

#include <QAction>

using namespace vantor;

namespace {

class ShellTest : public test::UiTest {};

TEST_F(ShellTest, OpensOnTheWorkspacePage)
{
    ui::MainWindow &shown = open();
    EXPECT_EQ(shown.windowTitle(), QStringLiteral("Vantor"));
}

} // namespace
