#pragma once

#include "widgets/PresetTab.h"

namespace vantor::ui {

// "Resolution & Scaling" and "Orientation & Cropping" of the current preset.
class DimensionsTab : public PresetTab {
    Q_OBJECT
public:
    explicit DimensionsTab(PresetEditing &editing, QWidget *parent = nullptr);
};

// The crop leaves no usable picture of the source `info` describes.
bool cropExceedsSource(const TranscodePreset &preset, const MediaInfo &info);

} // namespace vantor::ui
