#include "widgets/FiltersTab.h"

#include <QVBoxLayout>

namespace vantor::ui {

FiltersTab::FiltersTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *picture = section(QStringLiteral("Picture Processing"), layout);
    const auto flag = [&](const QString &name, const QString &label, bool EncodingOptions::*field) {
        tuningCheck(picture, name, label, field);
    };
    flag(QStringLiteral("deinterlace"), QStringLiteral("Deinterlace"), &EncodingOptions::deinterlace);
    help(picture, QStringLiteral("Motion-adaptive deinterlacing at the source frame rate."));
    Choices levels;
    for (const char *level : {"Off", "Light", "Medium", "Strong"})
        levels.append({QLatin1String(level), QLatin1String(level)});
    choice(picture, QStringLiteral("denoise"), QStringLiteral("Denoise"), levels,
           [](const TranscodePreset &p) { return QVariant(p.tuning().denoise); },
           [](TranscodePreset &p, const QVariant &v) { tune(p, &EncodingOptions::denoise, v.toString()); });
    flag(QStringLiteral("sharpen"), QStringLiteral("Sharpen"), &EncodingOptions::sharpen);
    flag(QStringLiteral("grayscale"), QStringLiteral("Grayscale"), &EncodingOptions::grayscale);
    layout->addStretch(1);
}

} // namespace vantor::ui
