#include "model/JobReport.h"
#include "model/JsonCodec.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

TEST(JobReport, CarriesTheJobLeavesAbsentOptionalsOutAndExportsTheQueue)
{
    MediaJob copy = sampleJob(JobOperation::copy, JobStatus::waiting);
    copy.checksum.reset();
    const QJsonObject json = JobReport(copy).toJson();
    EXPECT_EQ(json.keys(), QStringList({"destination", "elapsed", "filename", "id", "operation", "source", "status"}));
    EXPECT_EQ(json["id"].toString(), copy.id.toString(QUuid::WithoutBraces).toUpper());
    const MediaJob job = sampleJob(JobOperation::copyAndTranscode, JobStatus::failed, 4);
    const JobReport report(job);
    // The source's name, but the output's path.
    EXPECT_EQ(std::tuple(report.filename, report.destination, report.operation, report.status, report.preset, report.checksum),
              std::tuple(QStringLiteral("A000C4 clip é.mov"), *job.outputDestination, "Copy + transcode", "FAILED",
                         job.preset->name, job.checksum->rawValue()));
    EXPECT_EQ(JobReport::fromJson(report.toJson()), report);

    // The queue is exported as one pretty array in queue order.
    TempDir dir;
    const QString path = dir.file(JobReport::suggestedFileName);
    JobReport::exportQueue({}, path);
    EXPECT_EQ(readFile(path), "[]");
    std::vector<MediaJob> jobs;
    QJsonArray expected;
    for (const auto status : JobStatus::allCases) {
        jobs.push_back(sampleJob(JobOperation::copy, status, int(jobs.size())));
        expected.append(JobReport(jobs.back()).toJson());
    }
    JobReport::exportQueue(jobs, path); // replaces the earlier export
    EXPECT_TRUE(readFile(path).contains("\n    {\n        \"checksum\"")) << "pretty, keys sorted";
    EXPECT_EQ(JsonCodec::parse(readFile(path)), QJsonValue(expected));
    EXPECT_THROW(JobReport::exportQueue(jobs, dir.file("missing/r.json")), std::system_error);
    EXPECT_EQ(listTree(dir.path()), QStringList{JobReport::suggestedFileName}) << "no temporary file left";
}

} // namespace
