#pragma once

#include "MessageBanner.h"
#include "UiFixture.h"

namespace vantor::test {

// The workspace refused with exactly `message`, and the window's banner shows it.
inline void expectRefusal(UiTest &ui, const QString &message)
{
    EXPECT_EQ(ui.workspace->error(), message);
    const auto *banner = ui.window->findChild<ui::MessageBanner *>();
    ASSERT_NE(banner, nullptr);
    EXPECT_EQ(banner->message(), message);
}

} // namespace vantor::test
