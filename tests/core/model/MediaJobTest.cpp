#include "model/JsonCodec.h"
#include "model/MediaJob.h"
#include "model/VantorError.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

// A job as the reference platform writes it: seconds since 2001, percent-encoded file URLs with a
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

TEST(MediaJobTest, DecodesTheReferencePlatformsFormAndEncodesItBackUnchanged)
{
    const MediaJob job = MediaJob::fromJson(referenceJob());
    EXPECT_EQ(job.id, QUuid(QStringLiteral("{0d4b1f6c-3e55-4c7a-9a1b-2f0e8c6d5a41}")));
    EXPECT_EQ(job.source, "/media/A001/My Clip.mov");
    EXPECT_EQ(job.destinationRoot, "/Volumes/RAID/Doc");
    EXPECT_EQ(job.destinationGrant.bookmark, QByteArray("bookmark"));
    EXPECT_FALSE(job.sourceGrant.bookmark.has_value());
    EXPECT_EQ(job.operation, JobOperation::copyAndTranscode);
    EXPECT_EQ(job.status, JobStatus::transcoding);
    EXPECT_EQ(job.checksum, ChecksumAlgorithm(ChecksumAlgorithm::xxHash));
    EXPECT_FALSE(job.outputDestination || job.preset || job.error);
    EXPECT_EQ(job.created.secondsSince2001, 785000000.123456);
    EXPECT_EQ(job.bytes, 1048576);
    EXPECT_TRUE(job.copyCommitted);
    EXPECT_EQ(job.toJson(), referenceJob());
}

TEST(MediaJobTest, RoundTripKeepsEveryFieldAndOmitsAbsentOptionals)
{
    const MediaJob job = newJob(JobOperation::copy, false);
    EXPECT_EQ(job.status, JobStatus::waiting);
    const QJsonObject encoded = job.toJson();
    for (const char *absent : {"outputDestination", "preset", "checksum", "error", "sourceHash", "destinationHash"})
        EXPECT_FALSE(encoded.contains(QLatin1String(absent))) << absent;
    EXPECT_EQ(encoded["source"].toString(), "file:///media/A001/clip%201.mov");
    EXPECT_EQ(encoded["destinationRoot"].toString(), "file:///projects/Doc/");
    const MediaJob decoded = MediaJob::fromJson(JsonCodec::parse(JsonCodec::pretty(encoded)));
    EXPECT_EQ(decoded.toJson(), encoded);
    EXPECT_EQ(decoded.modified, job.modified); // the source's fingerprint, to the nanosecond
    QJsonObject nulls = referenceJob();
    nulls.insert("checksum", QJsonValue::Null);
    nulls.insert("error", QJsonValue::Null);
    const MediaJob withNulls = MediaJob::fromJson(nulls);
    EXPECT_FALSE(withNulls.checksum || withNulls.error);
}

using Flaw = std::pair<const char *, QJsonValue>; // undefined: the key is removed

class MediaJobStrictDecoding : public testing::TestWithParam<Flaw> {};

TEST_P(MediaJobStrictDecoding, RefusesTheWholeJob)
{
    QJsonObject document = referenceJob();
    const auto &[key, value] = GetParam();
    if (value.isUndefined())
        document.remove(QLatin1String(key));
    else
        document.insert(QLatin1String(key), value);
    EXPECT_THROW(MediaJob::fromJson(document), DecodingError) << key;
}

const QJsonValue gone(QJsonValue::Undefined);
INSTANTIATE_TEST_SUITE_P(
    Flaws, MediaJobStrictDecoding,
    testing::Values(Flaw{"id", gone}, Flaw{"source", gone}, Flaw{"sourceGrant", gone}, Flaw{"destinationGrant", gone},
                    Flaw{"destinationRoot", gone}, Flaw{"operation", gone}, Flaw{"status", gone},
                    Flaw{"progress", gone}, Flaw{"phaseProgress", gone}, Flaw{"elapsed", gone},
                    Flaw{"copyCommitted", gone}, Flaw{"created", gone}, Flaw{"bytes", gone}, Flaw{"modified", gone},
                    Flaw{"status", "RUNNING"}, Flaw{"status", "waiting"}, Flaw{"operation", "Copy"},
                    Flaw{"checksum", "sha256"}, Flaw{"checksum", "xxhash64"}, Flaw{"bytes", "12"}, Flaw{"bytes", 1.5},
                    Flaw{"copyCommitted", 1}, Flaw{"created", "2024-01-01"}, Flaw{"source", "/media/A001/clip.mov"},
                    Flaw{"source", "https://example.com/clip.mov"}, Flaw{"id", "not-a-uuid"},
                    Flaw{"sourceGrant", QJsonObject{{"bookmark", "AA=="}}},
                    Flaw{"destinationGrant", QJsonObject{{"path", "/a"}, {"bookmark", "*not base64*"}}},
                    Flaw{"preset", QJsonObject{{"name", "x"}}}));

struct PhaseCase {
    JobOperation operation;
    bool checksum;
    std::vector<JobStatus> phases;
};

class MediaJobPhases : public testing::TestWithParam<PhaseCase> {};

TEST_P(MediaJobPhases, FollowOperationAndChecksum)
{
    EXPECT_EQ(newJob(GetParam().operation, GetParam().checksum).phases(), GetParam().phases);
}

using S = JobStatus;
INSTANTIATE_TEST_SUITE_P(
    Operations, MediaJobPhases,
    testing::Values(PhaseCase{JobOperation::transcode, true, {S::transcoding}},
                    PhaseCase{JobOperation::copy, false, {S::copying}},
                    PhaseCase{JobOperation::copy, true, {S::copying, S::verifying}},
                    PhaseCase{JobOperation::copyAndTranscode, false, {S::copying, S::transcoding}},
                    PhaseCase{JobOperation::copyAndTranscode, true, {S::copying, S::verifying, S::transcoding}}));

TEST(MediaJobTest, OverallProgressSpansThePhases)
{
    MediaJob verified = newJob(JobOperation::copy, true);
    verified.reportPhaseProgress(JobStatus::copying, 1.0);
    EXPECT_DOUBLE_EQ(verified.progress, 0.5);
    verified.reportPhaseProgress(JobStatus::verifying, 1.0);
    EXPECT_DOUBLE_EQ(verified.progress, 1.0);
    MediaJob unverified = newJob(JobOperation::copyAndTranscode, false);
    unverified.reportPhaseProgress(JobStatus::transcoding, 0.5);
    EXPECT_DOUBLE_EQ(unverified.progress, 0.75);
    EXPECT_DOUBLE_EQ(unverified.phaseProgress, 0.5);
    unverified.reportPhaseProgress(JobStatus::verifying, 0.5); // outside the list: counts from the start
    EXPECT_DOUBLE_EQ(unverified.progress, 0.25);
}

} // namespace
