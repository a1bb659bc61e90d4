#pragma once

#include <QWidget>

class QComboBox;
class QDateEdit;
class QLabel;
class QListView;
class QPlainTextEdit;
class QStackedWidget;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class LineField;
class QuietButton;
class TemplateListModel;

// The Project page: create a project from a template or open an existing folder; while the
// workspace is editing templates, the template editor instead.
class ProjectPage : public QWidget {
    Q_OBJECT
public:
    explicit ProjectPage(Workspace &workspace, QWidget *parent = nullptr);

private:
    QWidget *buildProjectView();
    QWidget *buildTemplateView();
    void refreshView();
    void refreshProject();
    void refreshTemplate();

    Workspace &m_workspace;
    TemplateListModel *m_templates;
    QStackedWidget *m_views;
    // Project creation.
    QLabel *m_current;
    QComboBox *m_templatePicker;
    LineField *m_name;
    LineField *m_client;
    QDateEdit *m_date;
    QLabel *m_location;
    QuietButton *m_chooseLocation;
    QuietButton *m_create;
    QuietButton *m_open;
    QuietButton *m_editTemplates;
    // Template editor.
    QListView *m_templateList;
    QuietButton *m_newTemplate;
    QuietButton *m_duplicateTemplate;
    LineField *m_templateName;
    QPlainTextEdit *m_templateText;
    QuietButton *m_saveTemplate;
    QuietButton *m_doneEditing;
};

} // namespace vantor::ui
