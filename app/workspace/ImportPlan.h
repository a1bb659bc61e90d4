#pragma once

#include "base/ChecksumAlgorithm.h"
#include "base/JobControl.h"
#include "jobs/MediaJob.h"

#include <vector>

namespace vantor {

// The Import page's batch as it will be queued, after what is already offloaded is set aside.
struct ImportPlan {
    std::vector<MediaJob> jobs;      // what the queue receives
    std::vector<MediaJob> offloaded; // jobs whose copy already sits at its destination, equal to its source

    // Whether settling the jobs must read files: some copy destination already holds a file of
    // its source's size.
    static bool needsComparison(const std::vector<MediaJob> &jobs);

    // Sets aside each job that owes no backup copy and whose copy destination already holds its
    // source's bytes (same size, same digest): such a job is offloaded, and when it also
    // transcodes and its output is not there yet, a transcode-only job takes its place. Every other job stays as built, so a
    // different file under the same name is still the queue's collision. Blocking.
    static ImportPlan settle(const std::vector<MediaJob> &jobs, ChecksumAlgorithm algorithm, JobControl &control);
};

} // namespace vantor
