#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class QuietButton;

// The Settings page: the import defaults, stored in the user's settings ("import.verify",
// "import.hierarchy", "import.checksum", "import.mhl") and copied into the workspace at once; where the data
// lives; the operation log; the folder-automation rules.
class SettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit SettingsPage(Workspace &workspace, QWidget *parent = nullptr);

private:
    void refresh();
    void open(const QString &path, const QString &failure);

    Workspace &m_workspace;
    QCheckBox *m_verify;
    QComboBox *m_checksum;
    QCheckBox *m_hierarchy;
    QCheckBox *m_mhl;
    QLabel *m_storagePath;
    QuietButton *m_showStorage;
    QuietButton *m_openLog;
    QuietButton *m_automation;
};

} // namespace vantor::ui
