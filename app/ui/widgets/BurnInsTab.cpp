#include "widgets/BurnInsTab.h"

#include "widgets/QuietButton.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace vantor::ui {

BurnInsTab::BurnInsTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *content = section(QStringLiteral("Burn-In Content"), layout);
    finishCheck(content, QStringLiteral("burnFilename"), QStringLiteral("Source Filename"),
                &FinishingOptions::burnFilename);
    finishCheck(content, QStringLiteral("burnTimecode"), QStringLiteral("Source Timecode"),
                &FinishingOptions::burnTimecode);
    help(content, QStringLiteral("Timecode requires a source timecode track or tag."));
    text(content, QStringLiteral("burnText"), QStringLiteral("Project / Roll / Custom Text"),
         [](const TranscodePreset &p) { return p.finish().burnText; },
         [](TranscodePreset &p, const QString &v) { finish(p, &FinishingOptions::burnText, v); });

    QVBoxLayout *appearance = section(QStringLiteral("Appearance"), layout);
    Choices positions;
    for (const char *position :
         {"Top Left", "Top Center", "Top Right", "Center", "Bottom Left", "Bottom Center", "Bottom Right"})
        positions.append({QLatin1String(position), QLatin1String(position)});
    choice(appearance, QStringLiteral("burnPosition"), QStringLiteral("Position"), positions,
           [](const TranscodePreset &p) { return QVariant(p.finish().burnPosition); },
           [](TranscodePreset &p, const QVariant &v) { finish(p, &FinishingOptions::burnPosition, v.toString()); });
    number(appearance, QStringLiteral("burnSize"), QStringLiteral("Text Size / px"), 1, 400,
           [](const TranscodePreset &p) { return p.finish().burnSize; },
           [](TranscodePreset &p, qint64 v) { finish(p, &FinishingOptions::burnSize, v); });
    help(appearance, QStringLiteral("White text on a translucent black backing. Use Preview to check placement before "
                                    "encoding."));
    auto *preview = new QuietButton(QStringLiteral("Preview Burn-Ins\u2026"), this);
    preview->setObjectName(QStringLiteral("previewBurnIns"));
    auto *row = new QHBoxLayout;
    row->addWidget(preview);
    row->addStretch(1);
    appearance->addLayout(row);
    connect(preview, &QPushButton::clicked, this, &BurnInsTab::previewRequested);
    layout->addStretch(1);
}

} // namespace vantor::ui
