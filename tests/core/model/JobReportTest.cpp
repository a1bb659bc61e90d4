#include "model/JobReport.h"

#include "SampleRecords.h"
#include "TempDir.h"
#include "model/JsonCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

TEST(JobReport, CopyJobWithoutChecksumLeavesItsOptionalKeysOut)
{
    MediaJob job = sampleJob(JobOperation::copy, JobStatus::waiting);
    job.checksum.reset();
    const QJsonObject json = JobReport(job).toJson();
    EXPECT_EQ(json.keys(),
        QStringList({ "destination", "elapsed", "filename", "id", "operation", "source", "status" }));
    EXPECT_EQ(json["destination"].toString(), *job.copyDestination);
    EXPECT_EQ(json["operation"].toString(), "Copy & organize");
    EXPECT_EQ(json["status"].toString(), "WAITING");
    EXPECT_EQ(json["id"].toString(), job.id.toString(QUuid::WithoutBraces).toUpper());
}

TEST(JobReport, CarriesEveryFieldOfAFinishedJob)
{
    const MediaJob job = sampleJob(JobOperation::copyAndTranscode, JobStatus::complete, 4);
    const JobReport report(job);
    EXPECT_EQ(report.filename, "A000C4 clip é.mov");
    EXPECT_EQ(report.source, job.source);
    EXPECT_EQ(report.destination, *job.outputDestination);
    EXPECT_EQ(report.operation, "Copy + transcode");
    EXPECT_EQ(report.preset, job.preset->name);
    EXPECT_EQ(report.checksum, job.checksum->rawValue());
    EXPECT_EQ(report.sourceHash, job.sourceHash);
    EXPECT_EQ(report.destinationHash, job.destinationHash);
    EXPECT_EQ(report.elapsed, 12.75);
    EXPECT_FALSE(report.error);
    EXPECT_EQ(JobReport::fromJson(report.toJson()), report);

    const JobReport failed(sampleJob(JobOperation::transcode, JobStatus::failed, 1));
    EXPECT_EQ(failed.filename, "A000C1 clip é.mov"); // the source's name, not the output's
    EXPECT_EQ(failed.status, "FAILED");
    EXPECT_TRUE(failed.error);
    EXPECT_EQ(JobReport::fromJson(failed.toJson()), failed);
}

TEST(JobReport, ExportsTheQueueAsOnePrettyArrayInQueueOrder)
{
    TempDir dir;
    const QString path = dir.file(JobReport::suggestedFileName);
    JobReport::exportQueue({}, path);
    EXPECT_EQ(readFile(path), "[]");

    std::vector<MediaJob> jobs;
    for (const auto status : JobStatus::allCases)
        jobs.push_back(sampleJob(JobOperation::copy, status, int(jobs.size())));
    JobReport::exportQueue(jobs, path); // replaces the earlier export
    const QByteArray data = readFile(path);
    EXPECT_TRUE(data.contains("\n    {\n        \"checksum\"")) << "pretty, keys sorted";
    const QJsonArray array = JsonCodec::parse(data).toArray();
    ASSERT_EQ(array.size(), qsizetype(jobs.size()));
    for (qsizetype i = 0; i < array.size(); ++i)
        EXPECT_EQ(JobReport::fromJson(array[i]), JobReport(jobs[std::size_t(i)]));
    EXPECT_EQ(listTree(dir.path()), QStringList { JobReport::suggestedFileName }) << "no temporary file left";
}

TEST(JobReport, AFailedExportLeavesNothing)
{
    TempDir dir;
    EXPECT_THROW(JobReport::exportQueue(
                     { sampleJob(JobOperation::copy, JobStatus::waiting) }, dir.file("missing/r.json")),
        std::system_error);
    EXPECT_EQ(listTree(dir.path()), QStringList());
}

} // namespace
