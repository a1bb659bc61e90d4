#include "widgets/DimensionsTab.h"

#include "base/VantorError.h"
#include "transcode/TranscodeService.h"

#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

QString dimensions(qint64 width, qint64 height) { return QStringLiteral("%1 \u00D7 %2").arg(width).arg(height); }

} // namespace

bool cropExceedsSource(const TranscodePreset &preset, const MediaInfo &info)
{
    if (info.width < 1 || info.height < 1)
        return false; // nothing known to exceed
    try {
        TranscodeService::outputDimensions(preset, info);
        return false;
    } catch (const VantorError &) {
        return true;
    }
}

DimensionsTab::DimensionsTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *scaling = section(QStringLiteral("Resolution & Scaling"), layout);
    number(scaling, QStringLiteral("maxWidth"), QStringLiteral("Width Limit"), 0, 16384,
           [](const TranscodePreset &p) { return p.maxWidth; }, [](TranscodePreset &p, qint64 v) { p.maxWidth = v; });
    number(scaling, QStringLiteral("maxHeight"), QStringLiteral("Height Limit"), 0, 16384,
           [](const TranscodePreset &p) { return p.tuning().maxHeight; },
           [](TranscodePreset &p, qint64 v) { tune(p, &EncodingOptions::maxHeight, v); });
    number(scaling, QStringLiteral("scalePercent"), QStringLiteral("Scale"), 1, 100,
           [](const TranscodePreset &p) { return p.scalePercent; },
           [](TranscodePreset &p, qint64 v) { p.scalePercent = v; })
        ->setSuffix(QStringLiteral(" %"));
    QLabel *source = reading(scaling, QStringLiteral("sourceDimensions"), QStringLiteral("Source Dimensions"));
    QLabel *output = reading(scaling, QStringLiteral("outputDimensions"), QStringLiteral("Output Dimensions"));
    help(scaling, QStringLiteral("Fits within both limits, preserves aspect ratio and never upscales. A height limit "
                                 "of 0 uses source height."));

    QVBoxLayout *orientation = section(QStringLiteral("Orientation & Cropping"), layout);
    choice(orientation, QStringLiteral("rotation"), QStringLiteral("Rotation"),
           {{QStringLiteral("0\u00B0"), 0}, {QStringLiteral("90\u00B0"), 90}, {QStringLiteral("180\u00B0"), 180},
            {QStringLiteral("270\u00B0"), 270}},
           [](const TranscodePreset &p) { return QVariant(p.tuning().rotation); },
           [](TranscodePreset &p, const QVariant &v) { tune(p, &EncodingOptions::rotation, v.toLongLong()); });
    tuningCheck(orientation, QStringLiteral("flipHorizontal"), QStringLiteral("Flip Horizontally"),
                &EncodingOptions::flipHorizontal);
    tuningCheck(orientation, QStringLiteral("flipVertical"), QStringLiteral("Flip Vertically"),
                &EncodingOptions::flipVertical);
    const auto crop = [&](const QString &name, const QString &label, qint64 EncodingOptions::*field) {
        number(orientation, name, label, 0, 16384, [field](const TranscodePreset &p) { return p.tuning().*field; },
               [field](TranscodePreset &p, qint64 v) { tune(p, field, v); })
            ->setSingleStep(2);
    };
    crop(QStringLiteral("cropTop"), QStringLiteral("Crop Top"), &EncodingOptions::cropTop);
    crop(QStringLiteral("cropBottom"), QStringLiteral("Crop Bottom"), &EncodingOptions::cropBottom);
    crop(QStringLiteral("cropLeft"), QStringLiteral("Crop Left"), &EncodingOptions::cropLeft);
    crop(QStringLiteral("cropRight"), QStringLiteral("Crop Right"), &EncodingOptions::cropRight);
    help(orientation, QStringLiteral("Crop values use source pixels and must be even."));
    QLabel *exceeds =
        help(orientation, QStringLiteral("Crop Exceeds Source Dimensions"), QStringLiteral("cropExceeds"), true);
    layout->addStretch(1);

    onPresent([this, source, output, exceeds](const TranscodePreset &preset, const MediaInfo *info) {
        const bool known = info && info->width > 0 && info->height > 0;
        const bool exceeded = known && cropExceedsSource(preset, *info);
        const QString missing = this->editing().missing();
        source->setText(known ? dimensions(info->width, info->height) : missing);
        if (!known || exceeded) {
            output->setText(known ? QStringLiteral("\u2014") : missing);
        } else {
            const auto [width, height] = TranscodeService::outputDimensions(preset, *info);
            output->setText(dimensions(width, height));
        }
        exceeds->setVisible(exceeded);
    });
}

} // namespace vantor::ui
