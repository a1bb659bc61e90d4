#include "model/JsonCodec.h"
#include "model/MediaJob.h"
#include "model/VantorError.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

// A job as the reference platform writes it: dates as seconds since 2001, percent-encoded file
// URLs with a trailing slash on the folder, upper-case UUID, base64 bookmark.
QByteArray referenceJobJson()
{
    return R"({
  "bytes" : 1048576,
  "checksum" : "xxHash64",
  "copyCommitted" : true,
  "copyDestination" : "file:///Volumes/RAID/Doc/02_FOOTAGE/ORIGINALS/A001/My%20Clip.mov",
  "created" : 785000000.123456,
  "destinationGrant" : { "bookmark" : "Ym9va21hcms=", "path" : "/Volumes/RAID/Doc" },
  "destinationHash" : "44bc2cf5ad770999",
  "destinationRoot" : "file:///Volumes/RAID/Doc/",
  "elapsed" : 12.5,
  "id" : "0D4B1F6C-3E55-4C7A-9A1B-2F0E8C6D5A41",
  "modified" : 784999000.5,
  "operation" : "Copy + transcode",
  "phaseProgress" : 0.25,
  "progress" : 0.75,
  "source" : "file:///media/A001/My%20Clip.mov",
  "sourceGrant" : { "path" : "/media/A001" },
  "sourceHash" : "44bc2cf5ad770999",
  "status" : "TRANSCODING"
})";
}

QJsonObject referenceJob()
{
    return QJsonDocument::fromJson(referenceJobJson()).object();
}

MediaJob sampleJob(JobOperation operation, bool checksum)
{
    return MediaJob::make(QStringLiteral("/media/A001/clip 1.mov"), FileGrant(QStringLiteral("/media/A001")),
                          QStringLiteral("/projects/Doc"), FileGrant(QStringLiteral("/projects/Doc")),
                          operation.copies() ? std::optional(QStringLiteral("/projects/Doc/O/clip 1.mov")) : std::nullopt,
                          operation.transcodes() ? std::optional(QStringLiteral("/projects/Doc/P/clip 1.mov"))
                                                 : std::nullopt,
                          operation, std::nullopt,
                          checksum ? std::optional(ChecksumAlgorithm(ChecksumAlgorithm::sha256)) : std::nullopt,
                          42, Timestamp::fromUnixSeconds(1700000000.123456789));
}

} // namespace

TEST(MediaJobTest, DecodesTheReferencePlatformsForm)
{
    const MediaJob job = MediaJob::fromJson(referenceJob());
    EXPECT_EQ(job.id, QUuid(QStringLiteral("{0d4b1f6c-3e55-4c7a-9a1b-2f0e8c6d5a41}")));
    EXPECT_EQ(job.source, QStringLiteral("/media/A001/My Clip.mov"));
    EXPECT_EQ(job.destinationRoot, QStringLiteral("/Volumes/RAID/Doc"));
    EXPECT_EQ(job.destinationGrant.bookmark, QByteArray("bookmark"));
    EXPECT_FALSE(job.sourceGrant.bookmark.has_value());
    EXPECT_EQ(job.operation, JobOperation::copyAndTranscode);
    EXPECT_EQ(job.status, JobStatus::transcoding);
    EXPECT_EQ(job.checksum, ChecksumAlgorithm(ChecksumAlgorithm::xxHash));
    EXPECT_FALSE(job.outputDestination.has_value());
    EXPECT_FALSE(job.preset.has_value());
    EXPECT_FALSE(job.error.has_value());
    EXPECT_EQ(job.created.secondsSince2001, 785000000.123456);
    EXPECT_EQ(job.bytes, 1048576);
    EXPECT_TRUE(job.copyCommitted);
    EXPECT_EQ(job.destination(), *job.copyDestination);
}

TEST(MediaJobTest, EncodesBackToTheSameDocument)
{
    const QJsonObject reference = referenceJob();
    EXPECT_EQ(MediaJob::fromJson(reference).toJson(), reference);
}

TEST(MediaJobTest, RoundTripKeepsEveryFieldAndOmitsAbsentOptionals)
{
    MediaJob job = sampleJob(JobOperation::copy, false);
    const QJsonObject encoded = job.toJson();
    for (const char *absent : {"outputDestination", "preset", "checksum", "error", "sourceHash", "destinationHash"})
        EXPECT_FALSE(encoded.contains(QLatin1String(absent))) << absent;
    EXPECT_EQ(encoded.value(QStringLiteral("source")).toString(), QStringLiteral("file:///media/A001/clip%201.mov"));
    EXPECT_EQ(encoded.value(QStringLiteral("destinationRoot")).toString(), QStringLiteral("file:///projects/Doc/"));
    EXPECT_EQ(encoded.value(QStringLiteral("id")).toString(), job.id.toString(QUuid::WithoutBraces).toUpper());

    const MediaJob decoded = MediaJob::fromJson(JsonCodec::parse(JsonCodec::pretty(encoded)));
    EXPECT_EQ(decoded.toJson(), encoded);
    // The fingerprint of the source reads back exactly, nanoseconds and all.
    EXPECT_EQ(decoded.modified, job.modified);
    EXPECT_EQ(decoded.created, job.created);
}

class MediaJobStrictDecodingTest : public ::testing::TestWithParam<std::pair<const char *, QJsonValue>> {};

TEST_P(MediaJobStrictDecodingTest, RefusesTheWholeJob)
{
    QJsonObject document = referenceJob();
    const auto &[key, replacement] = GetParam();
    if (replacement.isUndefined())
        document.remove(QLatin1String(key));
    else
        document.insert(QLatin1String(key), replacement);
    EXPECT_THROW(MediaJob::fromJson(document), DecodingError) << key;
}

INSTANTIATE_TEST_SUITE_P(
    BadDocuments, MediaJobStrictDecodingTest,
    ::testing::Values(std::pair("id", QJsonValue()), std::pair("source", QJsonValue()),
                      std::pair("sourceGrant", QJsonValue()), std::pair("destinationGrant", QJsonValue()),
                      std::pair("destinationRoot", QJsonValue()), std::pair("operation", QJsonValue()),
                      std::pair("status", QJsonValue()), std::pair("progress", QJsonValue()),
                      std::pair("phaseProgress", QJsonValue()), std::pair("elapsed", QJsonValue()),
                      std::pair("copyCommitted", QJsonValue()), std::pair("created", QJsonValue()),
                      std::pair("bytes", QJsonValue()), std::pair("modified", QJsonValue()),
                      std::pair("status", QJsonValue(QStringLiteral("RUNNING"))),
                      std::pair("status", QJsonValue(QStringLiteral("waiting"))),
                      std::pair("operation", QJsonValue(QStringLiteral("Copy"))),
                      std::pair("checksum", QJsonValue(QStringLiteral("sha256"))),
                      std::pair("checksum", QJsonValue(QStringLiteral("xxhash64"))),
                      std::pair("bytes", QJsonValue(QStringLiteral("12"))),
                      std::pair("bytes", QJsonValue(1.5)),
                      std::pair("copyCommitted", QJsonValue(1)),
                      std::pair("created", QJsonValue(QStringLiteral("2024-01-01"))),
                      std::pair("source", QJsonValue(QStringLiteral("/media/A001/clip.mov"))),
                      std::pair("source", QJsonValue(QStringLiteral("https://example.com/clip.mov"))),
                      std::pair("id", QJsonValue(QStringLiteral("not-a-uuid"))),
                      std::pair("sourceGrant", QJsonValue(QJsonObject{{QStringLiteral("bookmark"), QStringLiteral("AA==")}})),
                      std::pair("preset", QJsonValue(QJsonObject{{QStringLiteral("name"), QStringLiteral("x")}}))));

TEST(MediaJobTest, NullOptionalsReadAsAbsent)
{
    QJsonObject document = referenceJob();
    document.insert(QStringLiteral("checksum"), QJsonValue::Null);
    document.insert(QStringLiteral("error"), QJsonValue::Null);
    const MediaJob job = MediaJob::fromJson(document);
    EXPECT_FALSE(job.checksum.has_value());
    EXPECT_FALSE(job.error.has_value());
}

struct PhaseCase {
    JobOperation operation;
    bool checksum;
    std::vector<JobStatus> phases;
};

class MediaJobPhaseTest : public ::testing::TestWithParam<PhaseCase> {};

TEST_P(MediaJobPhaseTest, PhaseListFollowsOperationAndChecksum)
{
    EXPECT_EQ(sampleJob(GetParam().operation, GetParam().checksum).phases(), GetParam().phases);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, MediaJobPhaseTest,
    ::testing::Values(PhaseCase{JobOperation::transcode, true, {JobStatus::transcoding}},
                      PhaseCase{JobOperation::copy, false, {JobStatus::copying}},
                      PhaseCase{JobOperation::copy, true, {JobStatus::copying, JobStatus::verifying}},
                      PhaseCase{JobOperation::copyAndTranscode, false, {JobStatus::copying, JobStatus::transcoding}},
                      PhaseCase{JobOperation::copyAndTranscode, true,
                                {JobStatus::copying, JobStatus::verifying, JobStatus::transcoding}}));

TEST(MediaJobTest, OverallProgressSpansThePhases)
{
    MediaJob verified = sampleJob(JobOperation::copy, true);
    verified.reportPhaseProgress(JobStatus::copying, 1.0);
    EXPECT_DOUBLE_EQ(verified.progress, 0.5);
    verified.reportPhaseProgress(JobStatus::verifying, 1.0);
    EXPECT_DOUBLE_EQ(verified.progress, 1.0);

    MediaJob unverified = sampleJob(JobOperation::copyAndTranscode, false);
    unverified.reportPhaseProgress(JobStatus::transcoding, 0.5);
    EXPECT_DOUBLE_EQ(unverified.progress, 0.75);
    EXPECT_DOUBLE_EQ(unverified.phaseProgress, 0.5);

    // A phase outside the list counts from the start.
    unverified.reportPhaseProgress(JobStatus::verifying, 0.5);
    EXPECT_DOUBLE_EQ(unverified.progress, 0.25);
}

TEST(MediaJobTest, DestinationPrefersOutputThenCopyThenSource)
{
    EXPECT_EQ(sampleJob(JobOperation::copyAndTranscode, true).destination(), QStringLiteral("/projects/Doc/P/clip 1.mov"));
    EXPECT_EQ(sampleJob(JobOperation::copy, true).destination(), QStringLiteral("/projects/Doc/O/clip 1.mov"));
    MediaJob bare = sampleJob(JobOperation::transcode, false);
    bare.outputDestination.reset();
    EXPECT_EQ(bare.destination(), bare.source);
}

TEST(MediaJobTest, NewJobsWaitWithFreshIdentity)
{
    const MediaJob first = sampleJob(JobOperation::copy, true);
    const MediaJob second = sampleJob(JobOperation::copy, true);
    EXPECT_NE(first.id, second.id);
    EXPECT_EQ(first.status, JobStatus::waiting);
    EXPECT_FALSE(first.copyCommitted);
    EXPECT_EQ(first.progress, 0);
}

TEST(EnumerationTest, RawValuesAreExactAndCaseSensitive)
{
    QStringList statuses;
    for (auto status : JobStatus::allCases)
        statuses << JobStatus(status).rawValue();
    EXPECT_EQ(statuses, QStringList({"WAITING", "COPYING", "VERIFYING", "TRANSCODING", "PAUSED", "COMPLETE",
                                     "FAILED", "CANCELLED"}));
    EXPECT_FALSE(JobStatus::fromRawValue(QStringLiteral("Waiting")));
    EXPECT_TRUE(JobStatus(JobStatus::verifying).active());
    EXPECT_FALSE(JobStatus(JobStatus::paused).active());
    EXPECT_EQ(ChecksumAlgorithm::fromRawValue(QStringLiteral("SHA-256")), ChecksumAlgorithm(ChecksumAlgorithm::sha256));
    EXPECT_FALSE(ChecksumAlgorithm::fromRawValue(QStringLiteral("SHA256")));
    EXPECT_FALSE(ChecksumAlgorithm::fromRawValue(QStringLiteral("md5")));
    EXPECT_EQ(JobOperation(JobOperation::copy).id(), QStringLiteral("Copy & organize"));
}

TEST(FileGrantTest, BookmarkIsKeptAsBase64AndOmittedWhenAbsent)
{
    FileGrant grant(QStringLiteral("/media/A001"));
    EXPECT_EQ(grant.toJson(), QJsonObject({{"path", "/media/A001"}}));
    EXPECT_EQ(grant.resolve(), QStringLiteral("/media/A001"));
    grant.bookmark = QByteArray("\x00\x01\xfe", 3);
    const QJsonObject encoded = grant.toJson();
    EXPECT_EQ(encoded.value(QStringLiteral("bookmark")).toString(), QStringLiteral("AAH+"));
    EXPECT_EQ(FileGrant::fromJson(encoded), grant);
    EXPECT_THROW(FileGrant::fromJson(QJsonObject({{"path", "/a"}, {"bookmark", "*not base64*"}})), DecodingError);
}
