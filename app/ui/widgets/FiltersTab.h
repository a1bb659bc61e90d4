#pragma once

#include "widgets/PresetTab.h"

namespace vantor::ui {

// "Picture Processing": deinterlace, denoise, sharpen and grayscale.
class FiltersTab : public PresetTab {
    Q_OBJECT
public:
    explicit FiltersTab(PresetEditing &editing, QWidget *parent = nullptr);
};

} // namespace vantor::ui
