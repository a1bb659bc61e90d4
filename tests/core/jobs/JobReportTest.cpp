#include "jobs/JobReport.h"
#include "base/JsonCodec.h"

#include "SampleRecords.h"
#include "TempDir.h"

#include <QJsonArray>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

// Each path and digest is named for the file it is about: the copy's digest is never presented as
// the output's, while the keys the report always had stay as they were.
TEST(JobReport, NamesTheCopyAndTheOutputApart)
{
    const struct {
        JobOperation operation;
        JobStatus status;
        QStringList keys;
    } cases[] = {
        {JobOperation::copyAndTranscode, JobStatus::complete,
         {"bytes", "checksum", "copyHash", "copyPath", "destination", "destinationHash", "elapsed", "filename", "finished", "id",
          "operation", "outputPath", "preset", "source", "sourceHash", "started", "status"}},
        {JobOperation::copy, JobStatus::complete,
         {"bytes", "checksum", "copyHash", "copyPath", "destination", "destinationHash", "elapsed", "filename", "finished", "id",
          "operation", "source", "sourceHash", "started", "status"}},
        {JobOperation::transcode, JobStatus::failed,
         {"bytes", "destination", "elapsed", "error", "filename", "finished", "id", "operation", "outputPath", "preset", "source",
          "started", "status"}},
        {JobOperation::copyAndTranscode, JobStatus::waiting,
         {"bytes", "checksum", "copyPath", "destination", "elapsed", "filename", "id", "operation", "outputPath", "preset", "source",
          "status"}},
    };
    for (const auto &c : cases) {
        const MediaJob job = sampleJob(c.operation, c.status, 3);
        const QJsonObject json = JobReport(job).toJson();
        const std::string label = (c.operation.rawValue() + ' ' + c.status.rawValue()).toStdString();
        EXPECT_EQ(json.keys(), c.keys) << label;
        EXPECT_EQ(json["destination"].toString(), job.destination()) << label;
        EXPECT_EQ(json["copyPath"].toString(), job.copyDestination.value_or("")) << label;
        EXPECT_EQ(json["outputPath"].toString(), job.outputDestination.value_or("")) << label;
        EXPECT_EQ(json["copyHash"].toString(), job.copyDestination ? job.destinationHash.value_or("") : "") << label;
        EXPECT_EQ(json["bytes"].toInteger(), job.bytes) << label;
        if (job.started) {
            EXPECT_EQ(json["started"].toString(), "2024-11-15T17:01:43Z") << label;
            EXPECT_EQ(json["finished"].toString(), "2024-11-15T17:02:43Z") << label;
        }
        EXPECT_EQ(JobReport::fromJson(json), JobReport(job)) << label;
    }
}

TEST(JobReport, CarriesTheJobLeavesAbsentOptionalsOutAndExportsTheQueue)
{
    MediaJob copy = sampleJob(JobOperation::copy, JobStatus::waiting);
    copy.checksum.reset();
    const QJsonObject json = JobReport(copy).toJson();
    EXPECT_EQ(json.keys(), QStringList({"bytes", "copyPath", "destination", "elapsed", "filename", "id", "operation", "source", "status"}));
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
    EXPECT_TRUE(readFile(path).contains("\n    {\n        \"bytes\"")) << "pretty, keys sorted";
    EXPECT_EQ(JsonCodec::parse(readFile(path)), QJsonValue(expected));
    EXPECT_THROW(JobReport::exportQueue(jobs, dir.file("missing/r.json")), std::system_error);
    EXPECT_EQ(listTree(dir.path()), QStringList{JobReport::suggestedFileName}) << "no temporary file left";
}

} // namespace
