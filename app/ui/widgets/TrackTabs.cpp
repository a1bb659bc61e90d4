#include "widgets/TrackTabs.h"

#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

namespace vantor::ui {

SubtitlesTab::SubtitlesTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *subtitles = section(QStringLiteral("Subtitles"), layout);
    tuningCheck(subtitles, QStringLiteral("subtitles"), QStringLiteral("Include Embedded Text Subtitles"),
                &EncodingOptions::subtitles);
    help(subtitles, QStringLiteral("Copies embedded text tracks into MOV or MP4 as selectable subtitles. Bitmap "
                                   "subtitles require a separate conversion."));
    auto *tracks = new QListWidget(this);
    tracks->setObjectName(QStringLiteral("subtitleTracks"));
    tracks->setAccessibleName(QStringLiteral("Subtitle Tracks"));
    tracks->setFocusPolicy(Qt::NoFocus);
    subtitles->addWidget(tracks);
    QLabel *none = help(subtitles, QStringLiteral("No Embedded Subtitle Tracks Detected"), QStringLiteral("noSubtitles"));
    layout->addStretch(1);
    onPresent([tracks, none](const TranscodePreset &, const MediaInfo *info) {
        const QStringList found = info ? info->subtitleTracks : QStringList();
        QStringList rows;
        for (qsizetype index = 0; index < found.size(); ++index)
            rows << QStringLiteral("Track %1").arg(index + 1) + QStringLiteral(" \u00B7 ") + found[index];
        if (rows != [&] {
                QStringList shown;
                for (int row = 0; row < tracks->count(); ++row)
                    shown << tracks->item(row)->text();
                return shown;
            }()) {
            tracks->clear();
            tracks->addItems(rows);
        }
        tracks->setVisible(!rows.isEmpty());
        none->setVisible(rows.isEmpty());
    });
}

ChaptersTab::ChaptersTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *chapters = section(QStringLiteral("Chapters"), layout);
    tuningCheck(chapters, QStringLiteral("chapters"), QStringLiteral("Preserve Source Chapter Markers"),
                &EncodingOptions::chapters);
    QLabel *count = help(chapters, QString(), QStringLiteral("chapterCount"));
    help(chapters, QStringLiteral("Chapter markers are retained where supported by the selected container."));
    layout->addStretch(1);
    onPresent([count](const TranscodePreset &, const MediaInfo *info) {
        count->setText(QStringLiteral("%1 Chapters In Selected Source").arg(info ? info->chapterCount : 0));
    });
}

MetadataSection::MetadataSection(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    QVBoxLayout *metadata = section(QStringLiteral("Metadata"), layout);
    check(metadata, QStringLiteral("preserveMetadata"), QStringLiteral("Preserve Timecode & Metadata"),
          [](const TranscodePreset &p) { return p.preserveMetadata; },
          [](TranscodePreset &p, bool on) { p.preserveMetadata = on; });
    QLabel *timecode = reading(metadata, QStringLiteral("sourceTimecode"), QStringLiteral("Source Timecode"));
    QLabel *reel = reading(metadata, QStringLiteral("reel"), QStringLiteral("Reel / Tape"));
    help(metadata, QStringLiteral("Timecode is carried into MOV and MXF. Reel and other tags are retained where "
                                  "supported."));
    onPresent([timecode, reel](const TranscodePreset &, const MediaInfo *info) {
        const QString absent = QStringLiteral("Not Present");
        timecode->setText(info && info->timecode ? *info->timecode : absent);
        reel->setText(info && info->reel ? *info->reel : absent);
    });
}

} // namespace vantor::ui
