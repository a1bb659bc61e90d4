#pragma once

#include <QDialog>

class QListView;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class TranscodeSourceModel;

// "Batch Sources": per-file settings. Checked rows take a copy of the current preset ("Apply
// Current Settings"), go back to the current controls ("Use Global Settings") or leave the list.
class BatchSourcesSheet : public QDialog {
    Q_OBJECT
public:
    explicit BatchSourcesSheet(Workspace &workspace, QWidget *parent = nullptr);

private:
    Workspace &m_workspace;
    TranscodeSourceModel *m_sources;
    QListView *m_list;
};

} // namespace vantor::ui
