// A file at a job's final name is taken as the job's result only when the job itself published
// it: anything else there, however alike, fails the job as an existing file does.
#include "ClipMaker.h"
#include "ScopedEnvironment.h"
#include "TempDir.h"
#include "ingest/ChecksumService.h"
#include "ingest/MediaIngestService.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "transcode/TranscodePhase.h"

#include <QFile>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

const QString exists = QStringLiteral("File already exists. Choose a different name or destination: ");

class Adoption : public testing::Test {
protected:
    test::TempDir dir;
    const QString project = dir.makeDir(QStringLiteral("project"));
    const QString card = dir.makeDir(QStringLiteral("card"));
    const QString source = test::makeClip(card + QStringLiteral("/clip.mov"), {.seconds = 1.0});
    JobControl control;

    MediaJob job(JobOperation operation)
    {
        const SourceFile file = MediaIngestService::scan({source}).front();
        const TranscodePreset preset(QUuid::createUuid(), QStringLiteral("Test"), Codec::h264, QStringLiteral("mp4"),
                                     1920, 100, 20, 0, AudioMode::aac, 48000, 24, 0, QStringLiteral("_T"));
        const bool transcodes = operation.transcodes();
        return MediaJob::make(file.url, file.grant, project, FileGrant(project),
                              transcodes ? std::nullopt : std::optional(project + QStringLiteral("/clip.mov")),
                              transcodes ? std::optional(project + QStringLiteral("/clip_T.mp4")) : std::nullopt,
                              operation, transcodes ? std::optional(preset) : std::nullopt,
                              ChecksumAlgorithm::sha256, file.size, file.modified);
    }
    // The phases' message, or "(completed)".
    QString run(const MediaJob &job)
    {
        JobPhaseCallbacks callbacks;
        callbacks.progress = [](JobStatus, double) {};
        callbacks.copyCommitted = [](const JobPhaseResult &) {};
        try {
            runJobPhases(job, control, {}, callbacks);
        } catch (const VantorError &error) {
            return error.message();
        }
        return QStringLiteral("(completed)");
    }
};

enum class Occupant { smallClip, otherScale, ownOutput, ownOutputChanged };

TEST_F(Adoption, AnOutputIsAdoptedOnlyWhenItIsWhatTheJobRecordedBeforePublishing)
{
    const std::pair<Occupant, bool> cases[] = {
        {Occupant::smallClip, false}, {Occupant::otherScale, false}, {Occupant::ownOutput, true},
        {Occupant::ownOutputChanged, false}};
    for (const auto &[occupant, adopted] : cases) {
        SCOPED_TRACE(int(occupant));
        MediaJob waiting = job(JobOperation::transcode);
        const QString output = *waiting.outputDestination;
        QFile::remove(output);
        if (occupant == Occupant::smallClip)
            test::makeClip(output, {.width = 160, .height = 120, .seconds = 1.0});
        if (occupant == Occupant::otherScale) {
            ASSERT_TRUE(test::runFfmpeg({"-i", source, "-vf", "scale=160:90", "-f", "mp4", output}));
        }
        if (occupant == Occupant::ownOutput || occupant == Occupant::ownOutputChanged) {
            TranscodeService::transcode(waiting, {}, control, {}, [&](const PublishRecord &record) {
                waiting.outputPublish = record;
            });
            ASSERT_TRUE(waiting.outputPublish);
            if (occupant == Occupant::ownOutputChanged) {
                QFile file(output);
                ASSERT_TRUE(file.open(QIODevice::Append));
                file.write("x");
            }
        }
        const QByteArray before = test::readFile(output);
        // An engine that cannot run shows that an adopted output is not encoded again.
        const QString broken = dir.write(QStringLiteral("engine/ffmpeg"), "#!/bin/sh\nexit 3\n");
        QFile::setPermissions(broken, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile::link(QStringLiteral("/usr/bin/ffprobe"), dir.file(QStringLiteral("engine/ffprobe")));
        const test::ScopedEnvironment engine("VANTOR_ENGINE", broken.toUtf8());
        EXPECT_EQ(run(waiting), adopted ? QStringLiteral("(completed)") : exists + QStringLiteral("clip_T.mp4"));
        EXPECT_EQ(test::readFile(output), before) << "the file at the output's name was touched";
    }
}

TEST_F(Adoption, ACopyIsAdoptedOnlyWhenTheJobHadReachedItsPublish)
{
    enum Case { identicalUnrecorded, ownCopy, ownCopyChanged };
    for (const Case which : {identicalUnrecorded, ownCopy, ownCopyChanged}) {
        SCOPED_TRACE(int(which));
        MediaJob copying = job(JobOperation::copy);
        const QString copy = *copying.copyDestination;
        QFile::remove(copy);
        if (which == identicalUnrecorded) {
            QFile::copy(source, copy);
        } else {
            MediaIngestService::copy(copying, control, {}, [&](const PublishRecord &record) {
                copying.copyPublish = record;
            });
            if (which == ownCopyChanged) {
                QFile file(copy);
                ASSERT_TRUE(file.open(QIODevice::ReadWrite));
                file.write("X");
            }
        }
        EXPECT_EQ(run(copying), which == ownCopy ? QStringLiteral("(completed)") : exists + QStringLiteral("clip.mov"));
    }
}

// The record reaches the state file before the phases go on to publish.
TEST_F(Adoption, TheQueueSavesTheRecordBeforeThePublishGoesAhead)
{
    const QString support = dir.file(QStringLiteral("support"));
    const PublishRecord record{42, ChecksumAlgorithm::xxHash, QStringLiteral("00000000000000aa")};
    std::optional<PublishRecord> storedThen;
    {
        QueueService queue(support, [&](const MediaJob &, JobControl &, const QString &, const JobPhaseCallbacks &callbacks) {
            callbacks.beforePublish(record, true);
            storedThen = StateStore::load(support).jobs.front().outputPublish;
            return JobPhaseResult{};
        });
        queue.enqueue({job(JobOperation::transcode)});
        QSignalSpy idle(&queue, &QueueService::idle);
        queue.start();
        ASSERT_TRUE(idle.wait(20000));
    }
    EXPECT_EQ(storedThen, record);
    EXPECT_EQ(StateStore::load(support).jobs.front().outputPublish, record);
}

} // namespace
