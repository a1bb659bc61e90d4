#include "ChecksumOption.h"

namespace vantor::cli {

void addAlgorithmOption(CommandParser &parser)
{
    parser.addValue({QStringLiteral("a"), QStringLiteral("algorithm")},
                    QStringLiteral("xxHash64 (default), MD5 or SHA-256."), QStringLiteral("ALGORITHM"));
}

ChecksumAlgorithm algorithmOption(const CommandParser &parser)
{
    if (!parser.isSet(QStringLiteral("algorithm")))
        return ChecksumAlgorithm::xxHash;
    const QString raw = parser.value(QStringLiteral("algorithm"));
    if (const auto algorithm = ChecksumAlgorithm::fromRawValue(raw))
        return *algorithm;
    throw UsageError(QStringLiteral("unknown algorithm \"%1\" (choose xxHash64, MD5 or SHA-256)").arg(raw));
}

} // namespace vantor::cli
