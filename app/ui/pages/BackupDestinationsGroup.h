#pragma once

#include <QWidget>

class QCheckBox;
class QListView;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class BackupFolderModel;
class QuietButton;

// The Copy tab's "Backup destinations": the plan's backup folders, "Add…" and "Remove", and the
// cascade toggle, offered once there is a backup to cascade to.
class BackupDestinationsGroup : public QWidget {
    Q_OBJECT
public:
    explicit BackupDestinationsGroup(Workspace &workspace, QWidget *parent = nullptr);
    QList<QWidget *> controls() const; // in tab order

private:
    void refresh();

    Workspace &m_workspace;
    BackupFolderModel *m_model;
    QListView *m_list;
    QuietButton *m_add, *m_remove;
    QCheckBox *m_cascade;
};

} // namespace vantor::ui
