#include "widgets/VideoTab.h"

#include <QComboBox>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

// What the quality number means for the preset's encoder.
QString qualityHelp(const TranscodePreset &preset)
{
    if (preset.codec.isProRes())
        return QStringLiteral("Quality is set by the selected ProRes profile.");
    if (preset.codec.isDnxHR())
        return QStringLiteral("Quality is set by the selected DNxHR profile.");
    if (preset.finish().hardware)
        return QStringLiteral("Higher values retain more detail and produce larger files.");
    return QStringLiteral("Lower values retain more detail and produce larger files.");
}

} // namespace

VideoTab::VideoTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *video = section(QStringLiteral("Video Encoding"), layout);

    Choices codecs;
    for (const Codec::Value codec : Codec::allCases)
        codecs.append({Codec(codec).rawValue(), Codec(codec).rawValue()});
    choice(video, QStringLiteral("codec"), QStringLiteral("Encoder"), codecs,
           [](const TranscodePreset &p) { return QVariant(p.codec.rawValue()); },
           [](TranscodePreset &p, const QVariant &v) {
               p.codec = Codec::fromRawValue(v.toString()).value_or(p.codec);
               // The container follows the encoder when the encoder cannot be written into it.
               if (!p.codec.containers().contains(p.container))
                   p.container = p.codec.containers().first();
           });
    finishCheck(video, QStringLiteral("hardware"), QStringLiteral("Hardware Encoding"), &FinishingOptions::hardware);
    help(video, QStringLiteral("Hardware is faster and uses less CPU. Software offers more compression control. "
                               "Hardware availability is checked during encoding."));

    Choices rates{{QStringLiteral("Source"), QStringLiteral("Source")}};
    for (const char *rate : {"23.976", "24", "25", "29.97", "30", "50", "59.94", "60"})
        rates.append({QLatin1String(rate) + QStringLiteral(" FPS"), QLatin1String(rate)});
    choice(video, QStringLiteral("frameRate"), QStringLiteral("Frame Rate"), rates,
           [](const TranscodePreset &p) { return QVariant(p.tuning().frameRate); },
           [](TranscodePreset &p, const QVariant &v) { tune(p, &EncodingOptions::frameRate, v.toString()); });
    QLabel *rateHelp = help(video, QString(), QStringLiteral("frameRateHelp"));

    Choices speeds;
    for (const char *speed : {"ultrafast", "fast", "medium", "slow", "veryslow"})
        speeds.append({QLatin1String(speed), QLatin1String(speed)});
    choice(video, QStringLiteral("speed"), QStringLiteral("Speed"), speeds,
           [](const TranscodePreset &p) { return QVariant(p.tuning().speed); },
           [](TranscodePreset &p, const QVariant &v) { tune(p, &EncodingOptions::speed, v.toString()); });
    help(video, QStringLiteral("Slower settings spend more time on compression."));

    choice(video, QStringLiteral("rateMode"), QStringLiteral("Mode"),
           {{QStringLiteral("Constant Quality"), false}, {QStringLiteral("Average Bitrate"), true}},
           [](const TranscodePreset &p) { return QVariant(p.bitrateMbps >= 1); },
           [](TranscodePreset &p, const QVariant &v) {
               if (!v.toBool())
                   p.bitrateMbps = 0;
               else if (p.bitrateMbps < 1)
                   p.bitrateMbps = 20; // a starting point the user then adjusts
           });
    // One control for both scales: the software encoders' 0–51 and the hardware's 1–100.
    QSpinBox *quality = number(
        video, QStringLiteral("quality"), QStringLiteral("Quality"), 0, 100,
        [](const TranscodePreset &p) { return p.finish().hardware ? p.finish().hardwareQuality : p.quality; },
        [](TranscodePreset &p, qint64 v) {
            if (p.finish().hardware)
                finish(p, &FinishingOptions::hardwareQuality, v);
            else
                p.quality = v;
        });
    QLabel *qualityText = help(video, QString(), QStringLiteral("qualityHelp"));
    QSpinBox *bitrate =
        number(video, QStringLiteral("bitrateMbps"), QStringLiteral("Bitrate / Mbps"), 0, 1000,
               [](const TranscodePreset &p) { return p.bitrateMbps; },
               [](TranscodePreset &p, qint64 v) { p.bitrateMbps = v; });
    layout->addStretch(1);

    onPresent([=](const TranscodePreset &preset, const MediaInfo *) {
        rateHelp->setText(preset.tuning().frameRate == QLatin1String("Source")
                              ? QStringLiteral("Original frame timing is preserved.")
                              : QStringLiteral("Converts to a constant frame rate by dropping or duplicating frames."));
        qualityText->setText(qualityHelp(preset));
        quality->setEnabled(!preset.codec.isProRes() && !preset.codec.isDnxHR() && preset.bitrateMbps < 1);
        bitrate->setEnabled(preset.bitrateMbps >= 1);
    });
}

} // namespace vantor::ui
