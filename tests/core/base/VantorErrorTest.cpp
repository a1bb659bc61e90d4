#include "base/VantorError.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>

using namespace vantor;

namespace {

// What a user reads for each kind of failure: only refusals and the system's text pass as they are.
TEST(ErrorText, ShowsOnlyWordingMeantForAUser)
{
    struct Case {
        const char *kind;
        std::function<void()> raise;
        QString shown;
    };
    const Case cases[] = {
        {"refusal", [] { throw VantorError("Choose a folder."); }, "Choose a folder."},
        {"system", [] { throwSystemError(ENOSPC, "/media/card"); }, "/media/card: No space left on device"},
        {"document", [] { throw DecodingError("The state file is damaged."); }, "The state file is damaged."},
        {"cancel", [] { throw CancellationError(); }, "Cancelled"},
        {"memory", [] { throw std::bad_alloc(); }, "There is not enough memory to finish this."},
        {"library", [] { throw std::out_of_range("vector::_M_range_check"); },
         "An unexpected internal error stopped this (vector::_M_range_check)."},
    };
    for (const Case &entry : cases) {
        QString shown;
        try {
            entry.raise();
        } catch (const std::exception &error) {
            shown = errorText(error);
        }
        EXPECT_EQ(shown, entry.shown) << entry.kind;
    }
}

} // namespace
