#pragma once

#include "widgets/PresetTab.h"

namespace vantor::ui {

// "Audio Encoding" and "Track Selection" of the current preset.
class AudioTab : public PresetTab {
    Q_OBJECT
public:
    explicit AudioTab(PresetEditing &editing, QWidget *parent = nullptr);
};

} // namespace vantor::ui
