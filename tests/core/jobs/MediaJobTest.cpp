#include "jobs/MediaJob.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

MediaJob newJob(JobOperation operation, bool checksum)
{
    return MediaJob::make("/media/A001/clip 1.mov", FileGrant("/media/A001"), "/projects/Doc", FileGrant("/projects/Doc"),
                          operation.copies() ? std::optional<QString>("/projects/Doc/O/clip 1.mov") : std::nullopt,
                          operation.transcodes() ? std::optional<QString>("/projects/Doc/P/clip 1.mov") : std::nullopt,
                          operation, std::nullopt,
                          checksum ? std::optional(ChecksumAlgorithm(ChecksumAlgorithm::sha256)) : std::nullopt, 42,
                          Timestamp::fromUnixSeconds(1700000000.123456789));
}

// The phases follow the operation and checksum; a phase's progress moves the whole job's across
// them (a phase outside the list counts from the start).
struct PhaseCase {
    JobOperation operation;
    bool checksum;
    std::vector<JobStatus> phases;
    JobStatus reported;
    double fraction, progress;
};

class MediaJobPhases : public testing::TestWithParam<PhaseCase> {};

TEST_P(MediaJobPhases, FollowOperationAndChecksum)
{
    const PhaseCase &c = GetParam();
    MediaJob job = newJob(c.operation, c.checksum);
    EXPECT_EQ(job.phases(), c.phases);
    job.reportPhaseProgress(c.reported, c.fraction);
    EXPECT_DOUBLE_EQ(job.progress, c.progress);
    EXPECT_DOUBLE_EQ(job.phaseProgress, c.fraction);
}

using S = JobStatus;
INSTANTIATE_TEST_SUITE_P(
    Operations, MediaJobPhases,
    testing::Values(PhaseCase{JobOperation::transcode, true, {S::transcoding}, S::transcoding, 0.5, 0.5},
                    PhaseCase{JobOperation::copy, false, {S::copying}, S::copying, 1.0, 1.0},
                    PhaseCase{JobOperation::copy, true, {S::copying, S::verifying}, S::copying, 1.0, 0.5},
                    PhaseCase{JobOperation::copyAndTranscode, false, {S::copying, S::transcoding}, S::transcoding, 0.5, 0.75},
                    PhaseCase{JobOperation::copyAndTranscode, false, {S::copying, S::transcoding}, S::verifying, 0.5, 0.25},
                    PhaseCase{JobOperation::copyAndTranscode, true, {S::copying, S::verifying, S::transcoding}, S::verifying, 0.5, 0.5}));

} // namespace
