#pragma once

#include "widgets/PresetTab.h"

class QPushButton;

namespace vantor::ui {

// "Burn-In Content" and "Appearance" of the current preset, and the way to the processed preview.
class BurnInsTab : public PresetTab {
    Q_OBJECT
public:
    explicit BurnInsTab(PresetEditing &editing, QWidget *parent = nullptr);

Q_SIGNALS:
    void previewRequested(); // "Preview Burn-Ins…"
};

} // namespace vantor::ui
