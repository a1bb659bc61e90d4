#pragma once

#include "widgets/PresetTab.h"

class QVBoxLayout;

namespace vantor::ui {

// The Summary tab: the place of the source inspection and preview, and the counts of sources
// and of sources with their own settings.
class SummaryTab : public PresetTab {
    Q_OBJECT
public:
    explicit SummaryTab(PresetEditing &editing, QWidget *parent = nullptr);
    // Where the source inspector (Summary rows and player) is placed.
    QVBoxLayout *inspectorArea() const { return m_inspectorArea; }

private:
    QVBoxLayout *m_inspectorArea;
};

// The output row: "Save To" with "Choose Output Folder", and the preset's "Suffix".
class OutputRow : public PresetTab {
    Q_OBJECT
public:
    explicit OutputRow(PresetEditing &editing, QWidget *parent = nullptr);
};

} // namespace vantor::ui
