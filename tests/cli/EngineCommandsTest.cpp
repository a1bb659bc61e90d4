#include "ChildProcess.h"
#include "ClipMaker.h"
#include "TempDir.h"
#include "model/JsonCodec.h"
#include "transcode/PresetService.h"

#include <QJsonArray>
#include <gtest/gtest.h>

namespace vantor {
namespace {

using test::TempDir;

TEST(ProbeCommand, PrintsOneObjectPerFileKeyedByFieldName)
{
    TempDir dir;
    test::ClipSpec spec;
    spec.timecode = QStringLiteral("01:00:00:00");
    const QString clip = test::makeClip(dir.file(QStringLiteral("A001.mov")), spec);

    const test::ProcessResult one = test::runVantor({ QStringLiteral("probe"), clip });
    ASSERT_EQ(one.exitCode, 0) << one.errText().toStdString();
    const QJsonObject info = JsonCodec::parse(one.out).toObject();
    EXPECT_EQ(info.keys(),
        (QStringList { "audioChannels", "audioLayouts", "audioSampleRates", "audioTracks", "chapterCount",
            "codec", "duration", "frameRate", "height", "sourceRotation", "subtitleTracks", "timecode",
            "width" }));
    EXPECT_EQ(info.value(QStringLiteral("width")).toInt(), 320);
    EXPECT_EQ(info.value(QStringLiteral("timecode")).toString(), QStringLiteral("01:00:00:00"));
    EXPECT_EQ(info.value(QStringLiteral("audioTracks")).toArray().first().toString(),
        QStringLiteral("Track 1 · aac · 2 ch"));

    const test::ProcessResult two = test::runVantor({ QStringLiteral("probe"), clip, clip });
    ASSERT_EQ(two.exitCode, 0);
    const QJsonArray both = JsonCodec::parse(two.out).toArray();
    ASSERT_EQ(both.size(), 2);
    EXPECT_EQ(both[1].toObject(), info);
}

TEST(ProbeCommand, RefusalsAndUsage)
{
    TempDir dir;
    const QString voice = dir.file(QStringLiteral("voice.m4a"));
    ASSERT_TRUE(test::runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
        QStringLiteral("sine=duration=0.2"), voice }));
    const test::ProcessResult refused = test::runVantor({ QStringLiteral("probe"), voice });
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.out.isEmpty());
    EXPECT_EQ(refused.errText(),
        QStringLiteral("vantor: No supported video stream in voice.m4a. Use Copy & organize for audio and "
                       "sidecars.\n"));
    EXPECT_EQ(test::runVantor({ QStringLiteral("probe") }).exitCode, 2);
}

TEST(ProbeCommand, EngineFromTheEnvironment)
{
    TempDir dir;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("VANTOR_ENGINE"), dir.file(QStringLiteral("bin/ffmpeg")));
    const QString probe
        = dir.write(QStringLiteral("bin/ffprobe"), "#!/bin/sh\necho 'probe crashed'\nexit 2\n");
    QFile::setPermissions(probe, QFile::ReadOwner | QFile::ExeOwner);
    dir.write(QStringLiteral("bin/ffmpeg"), "");
    QFile::setPermissions(dir.file(QStringLiteral("bin/ffmpeg")), QFile::ReadOwner | QFile::ExeOwner);
    const test::ProcessResult result
        = test::runVantor({ QStringLiteral("probe"), dir.file(QStringLiteral("x.mov")) }, environment);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.errText(), QStringLiteral("vantor: Media engine failed (2).\nprobe crashed\n\n"));
}

TEST(PresetsCommand, ListsBuiltInsAsAlignedColumns)
{
    const test::ProcessResult result = test::runVantor({ QStringLiteral("presets") });
    ASSERT_EQ(result.exitCode, 0);
    const QStringList lines = result.outText().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(
        lines[0], QStringLiteral("NAME               CODEC          CONTAINER  MAX WIDTH  AUDIO  SUFFIX"));
    EXPECT_EQ(
        lines[1], QStringLiteral("Editorial Proxy    ProRes Proxy   mov        1920       PCM    _PROXY"));
    EXPECT_EQ(
        lines[7], QStringLiteral("Archive Master     ProRes 4444    mov        none       PCM    _ARCHIVE"));
}

TEST(PresetsCommand, JsonRecordsDecodeAsPresets)
{
    const test::ProcessResult result
        = test::runVantor({ QStringLiteral("presets"), QStringLiteral("--json") });
    ASSERT_EQ(result.exitCode, 0);
    const QJsonArray records = JsonCodec::parse(result.out).toArray();
    const QList<TranscodePreset> builtIns = PresetService::defaults();
    ASSERT_EQ(records.size(), builtIns.size());
    for (qsizetype i = 0; i < records.size(); ++i) {
        TranscodePreset decoded = TranscodePreset::fromJson(records[i]);
        decoded.id = builtIns[i].id; // identities are fresh on every listing
        EXPECT_EQ(decoded, builtIns[i]);
    }
    EXPECT_EQ(test::runVantor({ QStringLiteral("presets"), QStringLiteral("extra") }).exitCode, 2);
}

} // namespace
} // namespace vantor
