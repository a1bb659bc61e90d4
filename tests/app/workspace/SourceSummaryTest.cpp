#include "workspace/SourceSummary.h"

#include <QMap>
#include <functional>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

MediaInfo clipInfo(const QString &frameRate)
{
    MediaInfo info;
    info.duration = 10;
    info.width = 1920;
    info.height = 1080;
    info.codec = QStringLiteral("prores");
    info.frameRate = frameRate;
    info.audioTracks = { QStringLiteral("pcm_s24le") };
    info.audioChannels = { 2 };
    return info;
}

QMap<QString, QString> rowsOf(const TranscodePreset &preset, const SourceSummary::SourceState &state)
{
    QMap<QString, QString> shown;
    QStringList order;
    for (const auto &[label, value] : SourceSummary::rows(preset, state)) {
        shown.insert(label, value);
        order << label;
    }
    EXPECT_EQ(order,
        (QStringList { QStringLiteral("Format"), QStringLiteral("Video"), QStringLiteral("Audio"),
            QStringLiteral("Source"), QStringLiteral("Frame Rate"), QStringLiteral("Timecode"),
            QStringLiteral("Output Name"), QStringLiteral("Estimated Output") }));
    return shown;
}

TEST(SourceSummaryTest, RowsDescribeTheSourceAndItsOutput)
{
    const QString source = QStringLiteral("/media/A001/A001C003.MOV");
    struct Case {
        const char *name;
        std::function<void(TranscodePreset &)> edit;
        SourceSummary::SourceState state;
        QMap<QString, QString> expected;
    };
    const QList<Case> cases {
        { "probed, same rate, PCM", [](TranscodePreset &) {},
            { source, false, std::nullopt, clipInfo(QStringLiteral("30000/1001")) },
            { { QStringLiteral("Format"), QStringLiteral("MOV") },
                { QStringLiteral("Video"), QStringLiteral("ProRes Proxy · 960 × 540") },
                { QStringLiteral("Audio"), QStringLiteral("PCM · 48 kHz · 24 Bit · Stereo") },
                { QStringLiteral("Source"), QStringLiteral("prores · 1920 × 1080") },
                { QStringLiteral("Frame Rate"), QStringLiteral("Same As 29.97 FPS") },
                { QStringLiteral("Timecode"), QStringLiteral("Not Present") },
                { QStringLiteral("Output Name"), QStringLiteral("A001C003_proxy.mov") },
                // 45 Mbit/s at 1080p30 for ProRes Proxy, a quarter of the area, 29.97/30, plus 2.304 Mbit/s
                // PCM.
                { QStringLiteral("Estimated Output"), QStringLiteral("About 16.9 MB") } } },
        { "a crop that leaves no picture",
            [](TranscodePreset &preset) {
                EncodingOptions tuning = preset.tuning();
                tuning.cropLeft = tuning.cropRight = 960;
                preset.setTuning(tuning);
            },
            { source, false, std::nullopt, clipInfo(QStringLiteral("25")) },
            { { QStringLiteral("Video"),
                  QStringLiteral("ProRes Proxy · Crop settings leave fewer than 16 pixels.") },
                { QStringLiteral("Frame Rate"), QStringLiteral("Same As 25 FPS") } } },
        { "chosen rate, AAC, hardware",
            [](TranscodePreset &preset) {
                EncodingOptions tuning = preset.tuning();
                tuning.frameRate = QStringLiteral("23.976");
                tuning.audioBitrate = 192;
                preset.setTuning(tuning);
                FinishingOptions finish = preset.finish();
                finish.hardware = true;
                preset.setFinish(finish);
                preset.audio = AudioMode::aac;
                preset.channels = 1;
            },
            { source, false, std::nullopt, clipInfo(QString()) },
            { { QStringLiteral("Video"), QStringLiteral("ProRes Proxy · Hardware · 960 × 540") },
                { QStringLiteral("Audio"), QStringLiteral("AAC · 192 kbps · Mono") },
                { QStringLiteral("Frame Rate"), QStringLiteral("23.976 FPS") } } },
        { "still inspecting", [](TranscodePreset &) {}, { source, true, std::nullopt, std::nullopt },
            { { QStringLiteral("Source"), QStringLiteral("Inspecting\u2026") },
                { QStringLiteral("Video"), QStringLiteral("ProRes Proxy") },
                { QStringLiteral("Frame Rate"), QStringLiteral("Same As Source") },
                { QStringLiteral("Estimated Output"), QStringLiteral("Unknown") } } },
        { "a failed probe", [](TranscodePreset &) {},
            { source, false, QStringLiteral("No video."), std::nullopt },
            { { QStringLiteral("Source"), QStringLiteral("No video.") },
                { QStringLiteral("Timecode"), QStringLiteral("Not Present") } } },
        { "nothing selected", [](TranscodePreset &) {}, {},
            { { QStringLiteral("Source"), QStringLiteral("No Source Selected") },
                { QStringLiteral("Output Name"), QStringLiteral("—") } } },
    };
    for (const Case &entry : cases) {
        SCOPED_TRACE(entry.name);
        TranscodePreset preset(QUuid::createUuid(), QStringLiteral("Proxy"), Codec::proresProxy,
            QStringLiteral("mov"), 960, 100, 20, 0, AudioMode::pcm, 48000, 24, 2, QStringLiteral("_proxy"));
        entry.edit(preset);
        const QMap<QString, QString> shown = rowsOf(preset, entry.state);
        for (auto it = entry.expected.begin(); it != entry.expected.end(); ++it)
            EXPECT_EQ(shown.value(it.key()), it.value()) << it.key().toStdString();
    }
}

TEST(SourceSummaryTest, FrameRatesDropTrailingZeros)
{
    const QList<std::pair<double, QString>> cases { { 25, QStringLiteral("25 FPS") },
        { 30000.0 / 1001, QStringLiteral("29.97 FPS") }, { 23.976, QStringLiteral("23.98 FPS") },
        { 12.5, QStringLiteral("12.5 FPS") } };
    for (const auto &[fps, text] : cases)
        EXPECT_EQ(SourceSummary::framesPerSecond(fps), text) << fps;
}

} // namespace
