// Naming must either refuse with a VantorError or return names that pass its own checks again:
// no slash inside a name, no empty, dot or reserved piece, nothing over 240 bytes.
#include "ingest/NamingService.h"
#include "base/VantorError.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition)
{
    if (!condition)
        std::abort();
}

void checkName(const QString &name)
{
    check(!name.isEmpty() && name != QLatin1String(".") && name != QLatin1String(".."));
    check(!name.contains(QLatin1Char('/')) && !name.contains(QLatin1Char(':')));
    check(!name.startsWith(QLatin1String(".vantor-")));
    check(name.toUtf8().size() <= 240);
    check(name == name.trimmed());
    check(vantor::NamingService::component(name) == name);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace vantor;
    if (size == 0)
        return 0;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    // Values that carry braces, slashes and other tokens' texts, as a user could type them.
    const NamingValues values { { QStringLiteral("PROJECT"), QStringLiteral("Doc") },
        { QStringLiteral("CLIENT"), QStringLiteral("{DATE}") },
        { QStringLiteral("DATE"), QStringLiteral("2026-03-01") },
        { QStringLiteral("CAMERA"), QStringLiteral("A/B") },
        { QStringLiteral("ROLL"), QStringLiteral("{PROJECT}") },
        { QStringLiteral("ORIGINAL"), QStringLiteral(" A001C003 ") },
        { QStringLiteral("COUNTER"), QStringLiteral("0001") } };
    try {
        switch (data[0] % 3) {
        case 0:
            checkName(NamingService::component(text));
            break;
        case 1:
            checkName(NamingService::expand(text, values));
            break;
        default: {
            const QString path = NamingService::relativePath(text, values);
            for (const QString &piece : path.split(QLatin1Char('/')))
                checkName(piece);
            check(NamingService::relativePath(path, {}) == path);
        }
        }
    } catch (const VantorError &) {
    }
    return 0;
}
