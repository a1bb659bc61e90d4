#include "base/ChecksumAlgorithm.h"

namespace vantor {

QString ChecksumAlgorithm::rawValue() const
{
    switch (value) {
    case xxHash:
        return QStringLiteral("xxHash64");
    case md5:
        return QStringLiteral("MD5");
    case sha256:
        return QStringLiteral("SHA-256");
    }
    return {};
}

int ChecksumAlgorithm::digestLength() const
{
    return value == xxHash ? 16 : value == md5 ? 32 : 64;
}

std::optional<ChecksumAlgorithm> ChecksumAlgorithm::fromRawValue(const QString &raw)
{
    for (const Value candidate : allCases) {
        if (ChecksumAlgorithm(candidate).rawValue() == raw)
            return ChecksumAlgorithm(candidate);
    }
    return std::nullopt;
}

} // namespace vantor
