#pragma once

#include <QString>
#include <array>
#include <optional>

namespace vantor {

// Where a job stands; persisted as its upper-case raw value.
struct JobStatus {
    enum Value { waiting, copying, verifying, transcoding, paused, complete, failed, cancelled };
    Value value = waiting;

    constexpr JobStatus(Value v = waiting) : value(v) {}
    QString rawValue() const;
    static std::optional<JobStatus> fromRawValue(const QString &raw);
    // A phase is running: copying, verifying or transcoding.
    bool active() const { return value == copying || value == verifying || value == transcoding; }
    bool final() const { return value == complete || value == failed || value == cancelled; }
    static constexpr std::array<Value, 8> allCases{waiting, copying, verifying, transcoding,
                                                   paused, complete, failed, cancelled};
    bool operator==(const JobStatus &) const = default;
};

// What a job does; the raw value is its display text and its identity.
struct JobOperation {
    enum Value { copy, copyAndTranscode, transcode };
    Value value = copy;

    constexpr JobOperation(Value v = copy) : value(v) {}
    QString rawValue() const;
    QString id() const { return rawValue(); }
    static std::optional<JobOperation> fromRawValue(const QString &raw);
    bool copies() const { return value != transcode; }
    bool transcodes() const { return value != copy; }
    static constexpr std::array<Value, 3> allCases{copy, copyAndTranscode, transcode};
    bool operator==(const JobOperation &) const = default;
};

} // namespace vantor
