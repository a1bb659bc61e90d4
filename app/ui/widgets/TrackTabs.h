#pragma once

#include "widgets/PresetTab.h"

namespace vantor::ui {

// "Include Embedded Text Subtitles" with the selected source's subtitle tracks.
class SubtitlesTab : public PresetTab {
    Q_OBJECT
public:
    explicit SubtitlesTab(PresetEditing &editing, QWidget *parent = nullptr);
};

// "Preserve Source Chapter Markers" with the selected source's chapter count.
class ChaptersTab : public PresetTab {
    Q_OBJECT
public:
    explicit ChaptersTab(PresetEditing &editing, QWidget *parent = nullptr);
};

// "Preserve Timecode & Metadata" with the selected source's timecode and reel.
class MetadataSection : public PresetTab {
    Q_OBJECT
public:
    explicit MetadataSection(PresetEditing &editing, QWidget *parent = nullptr);
};

} // namespace vantor::ui
