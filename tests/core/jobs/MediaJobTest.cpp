#include "jobs/MediaJob.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

// A job as state files from elsewhere write it: seconds since 2001, percent-encoded file URLs with a
// trailing slash on the folder, upper-case UUID, base64 bookmark.
QJsonObject referenceJob()
{
    return QJsonDocument::fromJson(R"({"bytes": 1048576, "checksum": "xxHash64", "copyCommitted": true,
  "copyDestination": "file:///Volumes/RAID/Doc/02_FOOTAGE/ORIGINALS/A001/My%20Clip.mov",
  "created": 785000000.123456, "destinationGrant": {"bookmark": "Ym9va21hcms=", "path": "/Volumes/RAID/Doc"},
  "destinationHash": "44bc2cf5ad770999", "destinationRoot": "file:///Volumes/RAID/Doc/", "elapsed": 12.5,
  "id": "0D4B1F6C-3E55-4C7A-9A1B-2F0E8C6D5A41", "modified": 784999000.5, "operation": "Copy + transcode",
  "phaseProgress": 0.25, "progress": 0.75, "source": "file:///media/A001/My%20Clip.mov",
  "sourceGrant": {"path": "/media/A001"}, "sourceHash": "44bc2cf5ad770999", "status": "TRANSCODING"})")
        .object();
}

MediaJob newJob(JobOperation operation, bool checksum)
{
    return MediaJob::make("/media/A001/clip 1.mov", FileGrant("/media/A001"), "/projects/Doc", FileGrant("/projects/Doc"),
                          operation.copies() ? std::optional<QString>("/projects/Doc/O/clip 1.mov") : std::nullopt,
                          operation.transcodes() ? std::optional<QString>("/projects/Doc/P/clip 1.mov") : std::nullopt,
                          operation, std::nullopt,
                          checksum ? std::optional(ChecksumAlgorithm(ChecksumAlgorithm::sha256)) : std::nullopt, 42,
                          Timestamp::fromUnixSeconds(1700000000.123456789));
}

TEST(MediaJob, DecodesTheReferencePlatformsFormAndEncodesItBackUnchanged)
{
    const MediaJob job = MediaJob::fromJson(referenceJob());
    EXPECT_EQ(std::tuple(job.id, job.source, job.destinationRoot, job.destinationGrant.bookmark, job.sourceGrant.bookmark),
              std::tuple(QUuid(QStringLiteral("{0d4b1f6c-3e55-4c7a-9a1b-2f0e8c6d5a41}")), QStringLiteral("/media/A001/My Clip.mov"),
                         QStringLiteral("/Volumes/RAID/Doc"), std::optional(QByteArray("bookmark")), std::optional<QByteArray>()));
    EXPECT_EQ(std::tuple(job.operation, job.status, job.created.secondsSince2001, job.bytes),
              std::tuple(JobOperation(JobOperation::copyAndTranscode), JobStatus(JobStatus::transcoding), 785000000.123456, 1048576));
    EXPECT_EQ(job.toJson(), referenceJob());
    QJsonObject nulls = referenceJob(); // absent optionals may also come as null
    nulls.insert("checksum", QJsonValue::Null);
    nulls.insert("error", QJsonValue::Null);
    const MediaJob withNulls = MediaJob::fromJson(nulls);
    EXPECT_FALSE(withNulls.checksum || withNulls.error);
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
