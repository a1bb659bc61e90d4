#pragma once

#include <QDialog>

class QLabel;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class LineField;

// "Save Preset": names the current preset and stores it as a new custom preset.
class SavePresetSheet : public QDialog {
    Q_OBJECT
public:
    explicit SavePresetSheet(Workspace &workspace, QWidget *parent = nullptr);

private:
    void save();

    Workspace &m_workspace;
    LineField *m_name;
    QLabel *m_error;
};

} // namespace vantor::ui
