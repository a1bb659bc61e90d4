#pragma once

#include "widgets/PresetTab.h"

namespace vantor::ui {

// "Video Encoding": encoder, hardware encoding, frame rate, speed, rate control and quality.
class VideoTab : public PresetTab {
    Q_OBJECT
public:
    explicit VideoTab(PresetEditing &editing, QWidget *parent = nullptr);
};

} // namespace vantor::ui
