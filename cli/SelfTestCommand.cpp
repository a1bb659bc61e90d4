#include "CommandLine.h"

#include "base/VantorError.h"
#include "selftest/NativeSmoke.h"

#include <cstdio>

namespace vantor::cli {

// vantor --self-test: the stage lines as they pass, then exactly one verdict line.
int runSelfTest()
{
    NativeSmoke smoke([](const QString &line) {
        printLine(line);
        std::fflush(stdout); // shown as each stage passes, also when piped
    });
    try {
        smoke.run();
    } catch (const std::exception &failure) {
        // One verdict line: an engine's lines are folded into it.
        QStringList reason;
        for (const QString &line : errorText(failure).split(QLatin1Char('\n'))) {
            if (!line.trimmed().isEmpty())
                reason << line.trimmed();
        }
        printLine(QStringLiteral("FAIL Native queue integration: ") + reason.join(QLatin1Char(' ')));
        return exitFailure;
    }
    printLine(QStringLiteral("PASS Native queue integration"));
    return exitSuccess;
}

} // namespace vantor::cli
