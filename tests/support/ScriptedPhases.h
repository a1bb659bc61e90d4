#pragma once

#include "base/VantorError.h"
#include "queue/JobPhases.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace vantor::test {

// Job phases that touch no file, scripted by the source's name: "fail…" fails at once,
// "wait…" reports half its copy until `release` is set, anything else completes with digest "aaaa".
inline JobPhases scriptedPhases(const std::atomic<bool> &release, std::chrono::milliseconds tick)
{
    return [&release, tick](const MediaJob &job, JobControl &control, const QString &, const JobPhaseCallbacks &callbacks) {
        const QString name = job.source.section(u'/', -1);
        if (name.startsWith(QStringLiteral("fail")))
            throw VantorError(QStringLiteral("The source changed after it was queued."));
        while (name.startsWith(QStringLiteral("wait")) && !release) {
            control.checkpoint();
            callbacks.progress(JobStatus::copying, 0.5);
            std::this_thread::sleep_for(tick);
        }
        callbacks.progress(JobStatus::copying, 1.0);
        callbacks.copyCommitted({QStringLiteral("aaaa"), QStringLiteral("aaaa")});
        return JobPhaseResult{QStringLiteral("aaaa"), QStringLiteral("aaaa")};
    };
}

} // namespace vantor::test
