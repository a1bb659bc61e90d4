#pragma once

#include <QWidget>

class QLabel;
class QListView;
class QMessageBox;
class QProgressBar;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class DropZone;
class ImportPlanPanel;
class QuietButton;
class SourceListModel;
class VolumeBar;

// The Import page: cards, folders and files gathered into the workspace's source list, the plan
// they are queued with, and "Queue & start". With renaming on, the previewed names are confirmed
// before anything is queued.
class ImportPage : public QWidget {
    Q_OBJECT
public:
    explicit ImportPage(Workspace &workspace, QWidget *parent = nullptr);

private:
    QWidget *buildSources();
    void refreshSources();
    void refreshScanning();
    void refreshProject();
    void queueAndStart();
    void showConfirmation();
    void orderVolumeControls();

    Workspace &m_workspace;
    SourceListModel *m_model;
    QuietButton *m_automation;
    QuietButton *m_add;
    VolumeBar *m_volumes;
    DropZone *m_dropZone;
    QLabel *m_count;
    QWidget *m_scanning;
    QListView *m_list;
    QLabel *m_summary;
    QuietButton *m_removeAll;
    ImportPlanPanel *m_plan;
    QLabel *m_project;
    QuietButton *m_queue;
    QMessageBox *m_confirmation = nullptr;
};

} // namespace vantor::ui
