#include "pages/BackupDestinationsGroup.h"

#include "Theme.h"
#include "models/BackupFolderModel.h"
#include "widgets/Binding.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "workspace/Workspace.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QListView>
#include <QVBoxLayout>

namespace vantor::ui {

BackupDestinationsGroup::BackupDestinationsGroup(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_workspace(workspace)
    , m_model(new BackupFolderModel(workspace, this))
    , m_list(named(new QListView(this), "planBackups"))
    , m_add(named(new QuietButton(QStringLiteral("Add\u2026"), this), "planAddBackup"))
    , m_remove(named(new QuietButton(QStringLiteral("Remove"), this), "planRemoveBackup"))
    , m_cascade(named(new QCheckBox(QStringLiteral("Copy backups from the first copy"), this), "planCascade"))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(1));
    const QString title = QStringLiteral("Backup destinations");
    layout->addWidget(new SectionLabel(title, this));
    m_list->setModel(m_model);
    m_list->setAccessibleName(title);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setTextElideMode(Qt::ElideMiddle);
    m_list->setMaximumHeight(Theme::lineHeight() * 5);
    layout->addWidget(m_list);

    auto *actions = new QHBoxLayout;
    actions->setSpacing(Theme::space(2));
    actions->addWidget(m_add);
    actions->addWidget(m_remove);
    actions->addStretch(1);
    layout->addLayout(actions);

    m_cascade->setAccessibleName(m_cascade->text());
    m_cascade->setToolTip(QStringLiteral(
        "Copy each card to the project first, at the card's full speed, and judge it there; then copy the "
        "backups from that verified copy instead of reading the card again."));
    layout->addWidget(m_cascade, 0, Qt::AlignLeft);

    connect(m_add, &QPushButton::clicked, &m_workspace, &Workspace::chooseBackupFolder);
    connect(m_remove, &QPushButton::clicked, this, [this] {
        const QModelIndex current = m_list->currentIndex();
        if (current.isValid())
            m_workspace.removeBackupFolder(current.row());
    });
    connect(m_cascade, &QCheckBox::toggled, &m_workspace, &Workspace::setCascade);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this, &BackupDestinationsGroup::refresh);
    connect(m_model, &QAbstractItemModel::rowsRemoved, this, &BackupDestinationsGroup::refresh);
    connect(&workspace, &Workspace::planChanged, this, &BackupDestinationsGroup::refresh);
    refresh();
}

QList<QWidget *> BackupDestinationsGroup::controls() const
{
    return {m_list, m_add, m_remove, m_cascade};
}

void BackupDestinationsGroup::refresh()
{
    // Backups are copies of the copy: nothing to back up when transcoding in place.
    const bool copies = m_workspace.operation().copies();
    m_list->setEnabled(copies);
    m_add->setEnabled(copies);
    m_remove->setEnabled(copies && m_list->selectionModel()->hasSelection());
    setCheckedQuietly(m_cascade, m_workspace.cascade());
    m_cascade->setEnabled(copies && !m_workspace.backupFolders().isEmpty());
}

} // namespace vantor::ui
