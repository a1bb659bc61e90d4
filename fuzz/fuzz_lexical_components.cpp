// Lexical clean-up never yields an empty, "." or ".." component or one holding a slash, is
// idempotent, and never makes a path a descendant of itself.
#include "files/SafeFiles.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace vantor;
    const QString path = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QStringList components = SafeFiles::lexicalComponents(path);
    for (const QString &component : components) {
        if (component.isEmpty() || component == QLatin1String(".") || component == QLatin1String("..")
            || component.contains(QLatin1Char('/')))
            std::abort();
    }
    const QString clean = QLatin1Char('/') + components.join(QLatin1Char('/'));
    if (SafeFiles::lexicalComponents(clean) != components)
        std::abort();
    if (SafeFiles::descendant(path, path) || SafeFiles::descendant(clean, path))
        std::abort();
    if (!components.isEmpty() && !SafeFiles::descendant(clean + QStringLiteral("/x"), path))
        std::abort();
    return 0;
}
