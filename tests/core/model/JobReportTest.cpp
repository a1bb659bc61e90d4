#include "model/JobReport.h"
#include "model/JsonCodec.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

TEST(JobReport, CarriesTheJobAndLeavesAbsentOptionalsOut)
{
    MediaJob copy = sampleJob(JobOperation::copy, JobStatus::waiting);
    copy.checksum.reset();
    const QJsonObject json = JobReport(copy).toJson();
    EXPECT_EQ(json.keys(), QStringList({"destination", "elapsed", "filename", "id", "operation", "source", "status"}));
    EXPECT_EQ(json["destination"].toString(), *copy.copyDestination);
    EXPECT_EQ(json["id"].toString(), copy.id.toString(QUuid::WithoutBraces).toUpper());
    const MediaJob job = sampleJob(JobOperation::copyAndTranscode, JobStatus::failed, 4);
    const JobReport report(job);
    EXPECT_EQ(report.filename, "A000C4 clip é.mov"); // the source's name, not the output's
    EXPECT_EQ(report.destination, *job.outputDestination);
    EXPECT_EQ(std::tuple(report.operation, report.status, report.preset, report.checksum, report.error),
              std::tuple("Copy + transcode", "FAILED", job.preset->name, job.checksum->rawValue(), job.error));
    EXPECT_EQ(JobReport::fromJson(report.toJson()), report);
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
    EXPECT_EQ(listTree(dir.path()), QStringList{JobReport::suggestedFileName}) << "no temporary file left";
    EXPECT_THROW(JobReport::exportQueue(jobs, dir.file("missing/r.json")), std::system_error);
    EXPECT_EQ(listTree(dir.path()), QStringList{JobReport::suggestedFileName});
}

} // namespace
