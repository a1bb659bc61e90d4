#include "base/FieldReader.h"
#include "base/FieldWriter.h"
#include "state/StateStore.h"

#include "SampleRecords.h"

#include <concepts>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

// A state file with every member of every record, as written before: percent-encoded file URLs
// (a folder's with a trailing slash), upper-case UUIDs, dates in seconds since 2001, base64
// bookmarks. The second job and the job's preset lack the members older files did not have.
const QByteArray written = R"json(
{"version": 1, "ffmpeg": "/opt/ffmpeg/bin/ffmpeg",
 "templates": [{"id": "1C2D3E4F-5061-4728-93A4-B5C6D7E8F901", "name": "Doc", "folders": ["01_{PROJECT}", "02_FOOTAGE/ORIGINALS"]}],
 "presets": [{"id": "6A1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8", "name": "Review File", "codec": "H.264", "container": "mp4",
   "maxWidth": 1920, "scalePercent": 50, "quality": 23, "bitrateMbps": 8, "audio": "AAC", "sampleRate": 44100, "bitDepth": 16,
   "channels": 2, "suffix": "_review", "preserveMetadata": false,
   "finishing": {"hardware": true, "hardwareQuality": 40, "burnFilename": true, "burnTimecode": false, "burnText": "DAY \"1\"",
     "burnPosition": "Top Right", "burnSize": 32, "channelMap": "2,1"},
   "encoding": {"cropTop": 8, "cropBottom": 4, "cropLeft": 2, "cropRight": 6, "rotation": 90, "flipHorizontal": true,
     "flipVertical": false, "maxHeight": 1080, "frameRate": "25", "speed": "slow", "deinterlace": true, "denoise": "Light",
     "sharpen": true, "grayscale": false, "audioBitrate": 192, "audioGain": -3, "audioTrack": -1, "subtitles": true, "chapters": false}}],
 "jobs": [
  {"id": "0D4B1F6C-3E55-4C7A-9A1B-2F0E8C6D5A41", "source": "file:///media/A001/My%20Clip%C3%A9.mov",
   "sourceGrant": {"path": "/media/A001"}, "destinationGrant": {"bookmark": "Ym9va21hcms=", "path": "/srv/Doc"},
   "destinationRoot": "file:///srv/Doc/", "copyDestination": "file:///srv/Doc/02_FOOTAGE/ORIGINALS/A001/My%20Clip%C3%A9.mov",
   "outputDestination": "file:///srv/Doc/PROXIES/My%20Clip%C3%A9_review.mp4", "operation": "Copy + transcode",
   "preset": {"id": "7B1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8", "name": "Old Proxy", "codec": "ProRes Proxy", "container": "mov",
     "maxWidth": 0, "scalePercent": 100, "quality": 20, "bitrateMbps": 0, "audio": "PCM", "sampleRate": 48000, "bitDepth": 24,
     "channels": 0, "suffix": "_PROXY", "preserveMetadata": true},
   "checksum": "xxHash64", "status": "FAILED", "progress": 0.75, "phaseProgress": 0.25, "elapsed": 12.5,
   "error": "The disk is full: /srv/Doc", "sourceHash": "44bc2cf5ad770999", "destinationHash": "44bc2cf5ad770999",
   "copyCommitted": true, "created": 785000000.123456, "bytes": 8589934592, "modified": 784999000.5,
   "copyPublish": {"bytes": 8589934592, "algorithm": "xxHash64", "digest": "44bc2cf5ad770999"},
   "outputPublish": {"bytes": 1234, "algorithm": "SHA-256", "digest": "ab"},
   "started": 785000100, "finished": 785000112.5},
  {"id": "2E4B1F6C-3E55-4C7A-9A1B-2F0E8C6D5A42", "source": "file:///media/A001/B.mov",
   "sourceGrant": {"path": "/media/A001"}, "destinationGrant": {"path": "/srv/Doc"}, "destinationRoot": "file:///srv/Doc/",
   "copyDestination": "file:///srv/Doc/B.mov", "operation": "Copy & organize", "status": "WAITING", "progress": 0, "phaseProgress": 0,
   "elapsed": 0, "copyCommitted": false, "created": 785000000, "bytes": 0, "modified": -1.5}],
 "project": {"name": "Doc", "client": "Acme", "date": "2026-11-23", "root": "file:///srv/Doc/"},
 "projectGrant": {"path": "/srv/Doc", "bookmark": "AAEC"},
 "watches": [{"id": "3F4B1F6C-3E55-4C7A-9A1B-2F0E8C6D5A43", "source": {"path": "/media/drop"}, "destination": {"path": "/renders"},
   "preset": {"id": "8C1E2B3C-4D5E-4F60-8172-93A4B5C6D7E8", "name": "Drop", "codec": "H.264", "container": "mp4",
     "maxWidth": 1280, "scalePercent": 100, "quality": 28, "bitrateMbps": 0, "audio": "AAC", "sampleRate": 48000, "bitDepth": 24,
     "channels": 2, "suffix": "_drop", "preserveMetadata": true,
     "encoding": {"cropTop": 0, "cropBottom": 0, "cropLeft": 0, "cropRight": 0, "rotation": 0, "flipHorizontal": false,
     "flipVertical": false, "maxHeight": 0, "frameRate": "Source", "speed": "medium", "deinterlace": false, "denoise": "Off",
     "sharpen": false, "grayscale": false, "audioBitrate": 256, "audioGain": 0, "audioTrack": 1, "subtitles": false, "chapters": true}},
   "enabled": true, "seen": {"/media/drop/a.mov": "11:1731690000.0", "/media/drop/b b.mov": "12:1731690001.25"}}],
 "transcodeDestination": {"path": "/renders"}}
)json";

TEST(StateFileFormat, AWrittenStateLoadsWithItsMeaningAndIsWrittenBackWithTheSameKeysAndValues)
{
    const AppState state = StateStore::decode(written);
    EXPECT_EQ(JsonCodec::parse(StateStore::encode(state)), JsonCodec::parse(written));
    const MediaJob &job = state.jobs.at(0);
    EXPECT_EQ(std::tuple(job.id, job.source, job.destinationRoot, job.destinationGrant.bookmark, job.sourceGrant.bookmark),
        std::tuple(QUuid(QStringLiteral("{0d4b1f6c-3e55-4c7a-9a1b-2f0e8c6d5a41}")),
            QStringLiteral("/media/A001/My Clip\u00e9.mov"), QStringLiteral("/srv/Doc"),
            std::optional(QByteArray("bookmark")), std::optional<QByteArray>()));
    EXPECT_EQ(std::tuple(job.operation, job.status, job.created.secondsSince2001, job.bytes, job.finished),
        std::tuple(JobOperation(JobOperation::copyAndTranscode), JobStatus(JobStatus::failed), 785000000.123456,
            8589934592, std::optional(Timestamp{785000112.5})));
    EXPECT_FALSE(job.preset->finishing || job.preset->encoding) << "groups absent stay absent";
    const MediaJob &older = state.jobs.at(1);
    EXPECT_FALSE(older.copyPublish || older.outputPublish || older.started || older.finished || older.checksum);
    EXPECT_EQ(std::tuple(state.project->root, state.projectGrant->bookmark, state.watches.at(0).seen.size()),
        std::tuple(QStringLiteral("/srv/Doc"), std::optional(QByteArray("\x00\x01\x02", 3)), 2));
    EXPECT_EQ(state.presets.at(0).tuning().audioGain, -3);
}

// Writes the record, reads it back strictly and writes it again: the texts match, and a record
// that can be compared comes back equal.
template <typename R> testing::AssertionResult roundTrips(const R &record)
{
    QByteArray text, again;
    appendFields(text, record, 0);
    const R back = readFields<R>(JsonCodec::parse(text));
    appendFields(again, back, 0);
    if constexpr (std::equality_comparable<R>) {
        if (!(back == record))
            return testing::AssertionFailure() << "read back differently from " << text.constData();
    }
    if (again != text)
        return testing::AssertionFailure() << text.constData() << "\nwritten again as\n" << again.constData();
    return testing::AssertionSuccess();
}

TEST(RecordFields, EveryRecordSurvivesTheWriterAndTheStrictReader)
{
    const AppState full = fullState();
    FileGrant bookmarked(QStringLiteral("/media/CARD 1"));
    bookmarked.bookmark = QByteArray("\x00\xff", 2);
    // Every member away from its default and from the others, so a member read into another shows.
    const EncodingOptions encoding { 1, 2, 3, 4, 180, true, false, 720, "24", "slow", true, "Strong", false, true,
        128, -6, 2, true, false };
    const FinishingOptions finishing { true, 50, false, true, "DAY 2", "Top Left", 40, "3,4" };
    TranscodePreset preset = samplePreset("Everything");
    preset.finishing = finishing;
    preset.encoding = encoding;
    const std::vector<std::pair<const char *, std::function<testing::AssertionResult()>>> cases {
        { "grant", [&] { return roundTrips(FileGrant(QStringLiteral("/srv/a \"b\""))); } },
        { "bookmarked grant", [&] { return roundTrips(bookmarked); } },
        { "publish record", [] { return roundTrips(PublishRecord { 1LL << 40, ChecksumAlgorithm::md5, "ff" }); } },
        { "encoding", [&] { return roundTrips(encoding); } },
        { "finishing", [&] { return roundTrips(finishing); } },
        { "preset with both groups", [&] { return roundTrips(preset); } },
        { "preset without groups", [] { return roundTrips(samplePreset("Bare", false, false)); } },
        { "template", [&] { return roundTrips(full.templates.at(0)); } },
        { "project", [&] { return roundTrips(*full.project); } },
        { "watch rule", [&] { return roundTrips(full.watches.at(0)); } },
        { "state", [&] { return roundTrips(full); } },
    };
    for (const auto &[label, check] : cases)
        EXPECT_TRUE(check()) << label;
    for (const MediaJob &job : full.jobs) // every operation and status
        EXPECT_TRUE(roundTrips(job)) << job.operation.rawValue().toStdString() << job.status.rawValue().toStdString();
}

} // namespace
