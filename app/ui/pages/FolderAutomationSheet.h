#pragma once

#include <QDialog>

class QLabel;
class QListView;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class QuietButton;
class WatchRuleModel;

// The folder-automation rules: one checkable row per rule (checked = enabled), "Remove" for the
// selected rule, "Add Folder…" for a new one. A refusal shows here as well as in the window,
// since the sheet covers the window's banner.
class FolderAutomationSheet : public QDialog {
    Q_OBJECT
public:
    explicit FolderAutomationSheet(Workspace &workspace, QWidget *parent = nullptr);

private:
    void refresh();

    Workspace &m_workspace;
    WatchRuleModel *m_rules;
    QListView *m_list;
    QLabel *m_empty;
    QLabel *m_error;
    QuietButton *m_add;
    QuietButton *m_remove;
    QuietButton *m_done;
};

} // namespace vantor::ui
