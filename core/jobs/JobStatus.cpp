#include "jobs/JobStatus.h"

namespace vantor {

QString JobStatus::rawValue() const
{
    static const char *const names[] = {"WAITING", "COPYING",  "VERIFYING", "TRANSCODING",
                                        "PAUSED",  "COMPLETE", "FAILED",    "CANCELLED"};
    return QLatin1String(names[value]);
}

std::optional<JobStatus> JobStatus::fromRawValue(const QString &raw)
{
    for (const Value candidate : allCases) {
        if (JobStatus(candidate).rawValue() == raw)
            return JobStatus(candidate);
    }
    return std::nullopt;
}

QString JobOperation::rawValue() const
{
    switch (value) {
    case copy:
        return QStringLiteral("Copy & organize");
    case copyAndTranscode:
        return QStringLiteral("Copy + transcode");
    case transcode:
        return QStringLiteral("Transcode in place");
    }
    return {};
}

std::optional<JobOperation> JobOperation::fromRawValue(const QString &raw)
{
    for (const Value candidate : allCases) {
        if (JobOperation(candidate).rawValue() == raw)
            return JobOperation(candidate);
    }
    return std::nullopt;
}

} // namespace vantor
