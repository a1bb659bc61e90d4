#pragma once

#include "base/VantorError.h"

#include <QString>
#include <exception>
#include <functional>

namespace vantor::test {

// What the body threw, as a user would read it: "(cancelled)" for a cancel, "(no error)" when
// it returned; so a table can hold the exact message each case must give.
inline QString failureText(const std::function<void()> &body)
{
    try {
        body();
    } catch (const CancellationError &) {
        return QStringLiteral("(cancelled)");
    } catch (const std::exception &error) {
        return errorText(error);
    }
    return QStringLiteral("(no error)");
}

} // namespace vantor::test
