#pragma once

#include "widgets/PanelSurface.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QTabWidget;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class BackupDestinationsGroup;
class LineField;

// The Import page's plan: the operation, then the "Copy", "Proxy" and "Naming" tabs, each control
// bound to the workspace field it names.
class ImportPlanPanel : public PanelSurface {
    Q_OBJECT
public:
    explicit ImportPlanPanel(Workspace &workspace, QWidget *parent = nullptr);
    QWidget *firstControl() const;
    QWidget *lastControl() const;

protected:
    void changeEvent(QEvent *event) override;

private:
    QWidget *buildCopyTab();
    QWidget *buildProxyTab();
    QWidget *buildNamingTab();
    void refresh();
    void refreshPresets();
    void refreshPreview();

    Workspace &m_workspace;
    QComboBox *m_operation;
    QTabWidget *m_tabs;
    // Copy.
    LineField *m_copyFolder;
    QCheckBox *m_hierarchy;
    QCheckBox *m_verify;
    QComboBox *m_checksum;
    BackupDestinationsGroup *m_backups;
    // Proxy.
    QLabel *m_hint;
    QWidget *m_proxyControls;
    QComboBox *m_preset;
    LineField *m_outputFolder;
    // Naming.
    QCheckBox *m_rename;
    LineField *m_pattern;
    QList<LineField *> m_tokens; // camera, roll, scene, shot, take
    QLabel *m_preview;
};

} // namespace vantor::ui
