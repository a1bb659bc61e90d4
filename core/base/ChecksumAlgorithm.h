#pragma once

#include <QString>
#include <array>
#include <optional>

namespace vantor {

// The verification algorithm of a copy. Its raw value is also its label and its JSON form.
struct ChecksumAlgorithm {
    enum Value { xxHash, md5, sha256 };
    Value value = xxHash;

    constexpr ChecksumAlgorithm(Value v = xxHash) : value(v) {}
    QString rawValue() const;
    int digestLength() const; // hexadecimal digits of its digest text
    static std::optional<ChecksumAlgorithm> fromRawValue(const QString &raw); // exact spelling only
    static constexpr std::array<Value, 3> allCases{xxHash, md5, sha256};
    bool operator==(const ChecksumAlgorithm &) const = default;
};

} // namespace vantor
