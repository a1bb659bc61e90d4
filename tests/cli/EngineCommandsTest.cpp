// vantor probe and vantor presets, run as the real binary.
#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"
#include "model/JsonCodec.h"
#include "transcode/PresetService.h"

#include <QJsonArray>
#include <gtest/gtest.h>

namespace vantor {
namespace {

TEST(ProbeCommand, PrintsOneObjectPerFileKeyedByFieldName)
{
    test::TempDir dir;
    const QString clip = test::makeClip(dir.file("A001.mov"), { .timecode = "01:00:00:00" });
    const test::ProcessResult one = test::runVantor({ "probe", clip });
    ASSERT_EQ(one.exitCode, 0) << one.errText().toStdString();
    const QJsonObject info = JsonCodec::parse(one.out).toObject();
    EXPECT_EQ(info.keys(), (QStringList { "audioChannels", "audioLayouts", "audioSampleRates", "audioTracks", "chapterCount",
                               "codec", "duration", "frameRate", "height", "sourceRotation", "subtitleTracks", "timecode", "width" }));
    EXPECT_EQ(info.value("width").toInt(), 320);
    EXPECT_EQ(info.value("timecode").toString(), "01:00:00:00");
    EXPECT_EQ(info.value("audioTracks").toArray(), QJsonArray { "Track 1 · aac · 2 ch" });
    const test::ProcessResult two = test::runVantor({ "probe", clip, clip });
    ASSERT_EQ(two.exitCode, 0);
    EXPECT_EQ(JsonCodec::parse(two.out).toArray(), (QJsonArray { info, info }));
}

TEST(PresetsCommand, ListsBuiltInsAsAlignedColumnsOrJsonRecords)
{
    const test::ProcessResult result = test::runVantor({ "presets" });
    ASSERT_EQ(result.exitCode, 0);
    const QStringList lines = result.outText().split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(lines[0], "NAME               CODEC          CONTAINER  MAX WIDTH  AUDIO  SUFFIX");
    EXPECT_EQ(lines[1], "Editorial Proxy    ProRes Proxy   mov        1920       PCM    _PROXY");
    EXPECT_EQ(lines[7], "Archive Master     ProRes 4444    mov        none       PCM    _ARCHIVE");

    const QJsonArray records = JsonCodec::parse(test::runVantor({ "presets", "--json" }).out).toArray();
    const QList<TranscodePreset> builtIns = PresetService::defaults();
    ASSERT_EQ(records.size(), builtIns.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        TranscodePreset decoded = TranscodePreset::fromJson(records[i]);
        decoded.id = builtIns[i].id; // identities are fresh on every listing
        EXPECT_EQ(decoded, builtIns[i]);
    }
}

} // namespace
} // namespace vantor
