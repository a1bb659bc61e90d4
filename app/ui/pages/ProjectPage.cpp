#include "pages/ProjectPage.h"

#include "widgets/Binding.h"
#include "Theme.h"
#include "models/TemplateListModel.h"
#include "queue/QueueService.h"
#include "widgets/InputRow.h"
#include "widgets/LineField.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/Workspace.h"

#include <QComboBox>
#include <QDateEdit>
#include <QDir>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListView>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace vantor::ui {


ProjectPage::ProjectPage(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_templates(new TemplateListModel(workspace, this)),
      m_views(new QStackedWidget(this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_views->addWidget(buildProjectView());
    m_views->addWidget(buildTemplateView());
    layout->addWidget(m_views);

    // The list model connected first, so the rows are current when the page refreshes.
    connect(&workspace, &Workspace::projectFieldsChanged, this, [this] {
        refreshView();
        refreshProject();
    });
    connect(&workspace, &Workspace::templateChanged, this, &ProjectPage::refreshTemplate);
    connect(&workspace, &Workspace::scanningChanged, this, &ProjectPage::refreshProject);
    refreshView();
    refreshProject();
    refreshTemplate();
}

QWidget *ProjectPage::buildProjectView()
{
    auto *view = new QWidget(this);
    auto *layout = new QVBoxLayout(view);
    layout->setSpacing(Theme::space(4));
    layout->addWidget(new WorkspaceHeader(QStringLiteral("03 / Structure"), QStringLiteral("Project"),
                                          QStringLiteral("Create a project folder from a template, or open one "
                                                         "to import into."),
                                          view));
    m_current = named(new QLabel(view), "currentProject");
    m_current->setWordWrap(true);
    m_current->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_current);

    auto *panel = new PanelSurface(view);
    auto *form = new QVBoxLayout(panel);
    form->setSpacing(Theme::space(2));
    form->addWidget(new SectionLabel(QStringLiteral("NEW PROJECT"), panel));
    m_templatePicker = named(new QComboBox(panel), "projectTemplate");
    m_templatePicker->setModel(m_templates);
    form->addWidget(new InputRow(QStringLiteral("Template"), m_templatePicker, panel));
    m_name = named(new LineField(QStringLiteral("Project name"), panel), "projectName");
    form->addWidget(new InputRow(QStringLiteral("Name"), m_name, panel));
    m_client = named(new LineField(QStringLiteral("Client"), panel), "projectClient");
    form->addWidget(new InputRow(QStringLiteral("Client"), m_client, panel));
    m_date = named(new QDateEdit(panel), "projectDate");
    m_date->setCalendarPopup(true);
    m_date->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    form->addWidget(new InputRow(QStringLiteral("Date"), m_date, panel));

    auto *locationRow = new QWidget(panel);
    auto *locationLayout = new QHBoxLayout(locationRow);
    locationLayout->setContentsMargins(0, 0, 0, 0);
    m_location = named(new QLabel(locationRow), "projectLocation");
    m_location->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_chooseLocation = named(new QuietButton(QStringLiteral("Choose\u2026"), locationRow), "chooseLocation");
    locationLayout->addWidget(m_location, 1);
    locationLayout->addWidget(m_chooseLocation);
    auto *location = new InputRow(QStringLiteral("Location"), locationRow, panel);
    m_chooseLocation->setAccessibleName(m_chooseLocation->text());
    form->addWidget(location);

    auto *actions = new QHBoxLayout;
    m_create = named(new QuietButton(QStringLiteral("Create Project"), panel, true), "createProject");
    m_open = named(new QuietButton(QStringLiteral("Open Project\u2026"), panel), "openProject");
    m_editTemplates = named(new QuietButton(QStringLiteral("Edit Templates\u2026"), panel), "editTemplates");
    actions->addWidget(m_create);
    actions->addWidget(m_open);
    actions->addStretch(1);
    actions->addWidget(m_editTemplates);
    form->addLayout(actions);
    layout->addWidget(panel);
    layout->addStretch(1);

    QWidget::setTabOrder(m_templatePicker, m_name);
    QWidget::setTabOrder(m_name, m_client);
    QWidget::setTabOrder(m_client, m_date);
    QWidget::setTabOrder(m_date, m_chooseLocation);
    QWidget::setTabOrder(m_chooseLocation, m_create);
    QWidget::setTabOrder(m_create, m_open);
    QWidget::setTabOrder(m_open, m_editTemplates);

    // Only a choice by the user selects a template; rows moving under the picker do not.
    connect(m_templatePicker, &QComboBox::activated, this, [this](int row) {
        if (const std::optional<ProjectTemplate> chosen = m_templates->at(row))
            m_workspace.setTemplateID(chosen->id);
    });
    connect(m_name, &QLineEdit::textEdited, &m_workspace, &Workspace::setName);
    connect(m_client, &QLineEdit::textEdited, &m_workspace, &Workspace::setClient);
    connect(m_date, &QDateEdit::dateChanged, this, [this](QDate date) {
        m_workspace.setDate(QDateTime(date, m_workspace.date().time()));
    });
    connect(m_chooseLocation, &QPushButton::clicked, &m_workspace, &Workspace::chooseLocation);
    connect(m_create, &QPushButton::clicked, &m_workspace, &Workspace::createProject);
    connect(m_open, &QPushButton::clicked, &m_workspace, &Workspace::openProject);
    connect(m_editTemplates, &QPushButton::clicked, this, [this] { m_workspace.setEditingTemplates(true); });
    return view;
}

QWidget *ProjectPage::buildTemplateView()
{
    auto *view = new QWidget(this);
    auto *layout = new QVBoxLayout(view);
    layout->setSpacing(Theme::space(4));
    layout->addWidget(new WorkspaceHeader(QStringLiteral("03 / Structure"), QStringLiteral("Templates"),
                                          QStringLiteral("One folder a line, created in order. {PROJECT}, {CLIENT} "
                                                         "and {DATE} are filled in for each project."),
                                          view));
    auto *columns = new QHBoxLayout;
    columns->setSpacing(Theme::space(4));

    auto *listPanel = new PanelSurface(view);
    auto *listLayout = new QVBoxLayout(listPanel);
    listLayout->addWidget(new SectionLabel(QStringLiteral("TEMPLATES"), listPanel));
    m_templateList = named(new QListView(listPanel), "templateList");
    m_templateList->setModel(m_templates);
    m_templateList->setAccessibleName(QStringLiteral("Templates"));
    m_templateList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_templateList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    listLayout->addWidget(m_templateList, 1);
    auto *listActions = new QHBoxLayout;
    m_newTemplate = named(new QuietButton(QStringLiteral("New Template"), listPanel), "newTemplate");
    m_duplicateTemplate = named(new QuietButton(QStringLiteral("Duplicate"), listPanel), "duplicateTemplate");
    listActions->addWidget(m_newTemplate);
    listActions->addWidget(m_duplicateTemplate);
    listActions->addStretch(1);
    listLayout->addLayout(listActions);
    columns->addWidget(listPanel, 2);

    auto *editPanel = new PanelSurface(view);
    auto *editLayout = new QVBoxLayout(editPanel);
    editLayout->addWidget(new SectionLabel(QStringLiteral("TEMPLATE"), editPanel));
    m_templateName = named(new LineField(QStringLiteral("Template name"), editPanel), "templateName");
    editLayout->addWidget(new InputRow(QStringLiteral("Name"), m_templateName, editPanel));
    auto *foldersLabel = new QLabel(QStringLiteral("Folders"), editPanel);
    m_templateText = named(new QPlainTextEdit(editPanel), "templateText");
    m_templateText->setAccessibleName(foldersLabel->text());
    m_templateText->setFont(Theme::monospaceFont());
    m_templateText->setTabChangesFocus(true);
    m_templateText->setLineWrapMode(QPlainTextEdit::NoWrap);
    foldersLabel->setBuddy(m_templateText);
    editLayout->addWidget(foldersLabel);
    editLayout->addWidget(m_templateText, 1);
    auto *editActions = new QHBoxLayout;
    m_saveTemplate = named(new QuietButton(QStringLiteral("Save Template"), editPanel, true), "saveTemplate");
    m_doneEditing = named(new QuietButton(QStringLiteral("Done"), editPanel), "doneTemplates");
    editActions->addStretch(1);
    editActions->addWidget(m_doneEditing);
    editActions->addWidget(m_saveTemplate);
    editLayout->addLayout(editActions);
    columns->addWidget(editPanel, 3);
    layout->addLayout(columns, 1);

    QWidget::setTabOrder(m_templateList, m_newTemplate);
    QWidget::setTabOrder(m_newTemplate, m_duplicateTemplate);
    QWidget::setTabOrder(m_duplicateTemplate, m_templateName);
    QWidget::setTabOrder(m_templateName, m_templateText);
    QWidget::setTabOrder(m_templateText, m_doneEditing);
    QWidget::setTabOrder(m_doneEditing, m_saveTemplate);

    connect(m_templateList->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &current) {
                // Following the draft from refreshTemplate() lands on the draft's own row: no-op.
                const std::optional<ProjectTemplate> chosen = m_templates->at(current.row());
                if (chosen && chosen->id != m_workspace.templateDraft().id)
                    m_workspace.selectTemplate(*chosen);
            });
    connect(m_newTemplate, &QPushButton::clicked, this, [this] { m_workspace.newTemplate(false); });
    connect(m_duplicateTemplate, &QPushButton::clicked, this, [this] { m_workspace.newTemplate(true); });
    connect(m_templateName, &QLineEdit::textEdited, &m_workspace, &Workspace::setTemplateName);
    connect(m_templateText, &QPlainTextEdit::textChanged, this,
            [this] { m_workspace.setTemplateText(m_templateText->toPlainText()); });
    connect(m_saveTemplate, &QPushButton::clicked, &m_workspace, &Workspace::saveTemplate);
    connect(m_doneEditing, &QPushButton::clicked, this, [this] { m_workspace.setEditingTemplates(false); });
    return view;
}

void ProjectPage::refreshView()
{
    m_views->setCurrentIndex(m_workspace.editingTemplates() ? 1 : 0);
}

void ProjectPage::refreshProject()
{
    const std::optional<ProjectContext> &project = m_workspace.queue().state().project;
    m_current->setText(project ? QStringLiteral("Open project: ") + project->name + QStringLiteral(" \u00B7 ")
                                     + QDir::toNativeSeparators(project->root)
                               : QStringLiteral("No project is open."));
    setTextQuietly(m_name, m_workspace.name());
    setTextQuietly(m_client, m_workspace.client());
    if (m_date->date() != m_workspace.date().date()) {
        const QSignalBlocker blocker(m_date);
        m_date->setDate(m_workspace.date().date());
    }
    const std::optional<QString> location = m_workspace.location();
    m_location->setText(location ? QDir::toNativeSeparators(*location) : QStringLiteral("No location chosen"));
    {
        const QSignalBlocker blocker(m_templatePicker);
        m_templatePicker->setCurrentIndex(m_templates->rowOf(m_workspace.templateID()));
    }
    // Creation runs in the background; a second press meanwhile would only be refused.
    m_create->setEnabled(!m_workspace.scanning());
}

void ProjectPage::refreshTemplate()
{
    const ProjectTemplate &draft = m_workspace.templateDraft();
    setTextQuietly(m_templateName, draft.name);
    if (m_templateText->toPlainText() != m_workspace.templateText()) {
        const QSignalBlocker blocker(m_templateText);
        m_templateText->setPlainText(m_workspace.templateText());
    }
    const int row = m_templates->rowOf(draft.id);
    if (row < 0)
        m_templateList->selectionModel()->clear();
    else
        m_templateList->selectionModel()->setCurrentIndex(m_templates->index(row),
                                                          QItemSelectionModel::ClearAndSelect);
    // The picker shows the stored names, which a save may have changed.
    const QSignalBlocker pickerBlocker(m_templatePicker);
    m_templatePicker->setCurrentIndex(m_templates->rowOf(m_workspace.templateID()));
}

} // namespace vantor::ui
