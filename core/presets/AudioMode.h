#pragma once

#include <QString>
#include <array>
#include <optional>

namespace vantor {

// How audio is handled in an output.
struct AudioMode {
    enum Value { pcm, aac, passthrough, none };
    Value value = pcm;

    constexpr AudioMode(Value v = pcm) : value(v) {}
    QString rawValue() const;
    static std::optional<AudioMode> fromRawValue(const QString &raw);
    static constexpr std::array<Value, 4> allCases{pcm, aac, passthrough, none};
    bool operator==(const AudioMode &) const = default;
};

} // namespace vantor
