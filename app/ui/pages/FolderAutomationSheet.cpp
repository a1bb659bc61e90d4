#include "pages/FolderAutomationSheet.h"

#include "Theme.h"
#include "automation/WatchFolderService.h"
#include "models/WatchRuleModel.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListView>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

QLabel *wrapped(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    return label;
}

} // namespace

FolderAutomationSheet::FolderAutomationSheet(Workspace &workspace, QWidget *parent)
    : QDialog(parent), m_workspace(workspace), m_rules(new WatchRuleModel(workspace, this))
{
    setWindowTitle(QStringLiteral("Folder Automation"));
    setObjectName(QStringLiteral("folderAutomation"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(3));

    auto *title = new QLabel(QStringLiteral("Folder Automation"), this);
    title->setFont(Theme::titleFont());
    layout->addWidget(title);
    layout->addWidget(wrapped(QStringLiteral("Automatically transcode video added to a selected folder. Each rule "
                                             "starts disabled."),
                              this));
    layout->addWidget(wrapped(QStringLiteral("When enabled, existing files may also be queued. Files must stay "
                                             "unchanged for 20 seconds before processing."),
                              this));

    m_list = new QListView(this);
    m_list->setObjectName(QStringLiteral("watchRules"));
    m_list->setAccessibleName(QStringLiteral("Rules"));
    m_list->setModel(m_rules);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setWordWrap(true);
    m_list->setSpacing(Theme::space(1));
    layout->addWidget(m_list, 1);
    m_empty = wrapped(QStringLiteral("No rules yet. Add a folder to watch."), this);
    m_empty->setObjectName(QStringLiteral("noRules"));
    layout->addWidget(m_empty);

    m_error = wrapped(QString(), this);
    m_error->setObjectName(QStringLiteral("sheetError"));
    QPalette warning = m_error->palette();
    warning.setColor(QPalette::WindowText, Theme::errorColour());
    m_error->setPalette(warning);
    layout->addWidget(m_error);

    auto *actions = new QHBoxLayout;
    m_add = new QuietButton(QStringLiteral("Add Folder\u2026"), this);
    m_add->setObjectName(QStringLiteral("addWatchFolder"));
    m_remove = new QuietButton(QStringLiteral("Remove"), this);
    m_remove->setObjectName(QStringLiteral("removeWatchFolder"));
    m_done = new QuietButton(QStringLiteral("Done"), this, true);
    m_done->setObjectName(QStringLiteral("doneAutomation"));
    m_done->setDefault(true);
    actions->addWidget(m_add);
    actions->addWidget(m_remove);
    actions->addStretch(1);
    actions->addWidget(m_done);
    layout->addLayout(actions);

    QWidget::setTabOrder(m_list, m_add);
    QWidget::setTabOrder(m_add, m_remove);
    QWidget::setTabOrder(m_remove, m_done);

    connect(m_add, &QPushButton::clicked, this, [this] {
        m_workspace.setError(std::nullopt);
        m_workspace.addWatchFolder();
    });
    connect(m_remove, &QPushButton::clicked, this, [this] {
        const QModelIndex current = m_list->currentIndex();
        if (current.isValid())
            m_workspace.watcher()->removeRule(current.data(WatchRuleModel::IdRole).toUuid());
    });
    connect(m_done, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, &FolderAutomationSheet::refresh);
    connect(m_rules, &QAbstractItemModel::rowsInserted, this, &FolderAutomationSheet::refresh);
    connect(m_rules, &QAbstractItemModel::rowsRemoved, this, &FolderAutomationSheet::refresh);
    connect(m_rules, &QAbstractItemModel::modelReset, this, &FolderAutomationSheet::refresh);
    connect(&workspace, &Workspace::errorChanged, this, &FolderAutomationSheet::refresh);
    refresh();
    resize(Theme::lineHeight() * 34, Theme::lineHeight() * 24);
}

void FolderAutomationSheet::refresh()
{
    const bool any = m_rules->rowCount() > 0;
    m_list->setVisible(any);
    m_empty->setVisible(!any);
    m_remove->setEnabled(m_list->currentIndex().isValid());
    const std::optional<QString> error = m_workspace.error();
    m_error->setText(error.value_or(QString()));
    m_error->setVisible(error.has_value());
}

} // namespace vantor::ui
