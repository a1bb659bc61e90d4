#include "pages/CardSummaryPanel.h"

#include "Theme.h"
#include "models/CardListModel.h"
#include "platform/RemovableVolumes.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QListView>
#include <QVBoxLayout>

namespace vantor::ui {

CardSummaryPanel::CardSummaryPanel(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_model(new CardListModel(workspace.queue(), workspace.cards(), this)),
      m_list(new QListView(this)), m_eject(new QuietButton(tr("Eject Card"), this))
{
    setObjectName(QStringLiteral("queue-cards-panel"));
    m_list->setObjectName(QStringLiteral("queue-cards"));
    m_list->setAccessibleName(tr("Cards"));
    m_list->setModel(m_model);
    m_list->setWordWrap(true);
    m_list->setUniformItemSizes(false);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    // A few cards are read at a glance; a long history scrolls instead of pushing the jobs away.
    m_list->setMaximumHeight(Theme::space(24));
    m_eject->setObjectName(QStringLiteral("queue-eject-card"));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(2));
    layout->addWidget(m_list, 1);
    auto *side = new QVBoxLayout;
    side->addWidget(m_eject);
    side->addStretch(1);
    layout->addLayout(side);

    connect(m_eject, &QPushButton::clicked, this, [this] { m_workspace.eject(selectedRoot()); });
    connect(m_model, &QAbstractItemModel::modelReset, this, &CardSummaryPanel::refresh);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &CardSummaryPanel::refresh);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, &CardSummaryPanel::refresh);
    RemovableVolumes &volumes = workspace.volumes();
    connect(&volumes, &RemovableVolumes::volumeMounted, this, &CardSummaryPanel::refresh);
    connect(&volumes, &RemovableVolumes::volumeRemoved, this, &CardSummaryPanel::refresh);
    connect(&volumes, &RemovableVolumes::ejectingChanged, this, &CardSummaryPanel::refresh);
    refresh();
}

QString CardSummaryPanel::selectedRoot() const
{
    return m_list->currentIndex().data(CardListModel::RootRole).toString();
}

void CardSummaryPanel::refresh()
{
    setVisible(m_model->rowCount() > 0);
    const QModelIndex current = m_list->currentIndex();
    const std::optional<RemovableVolume> volume =
        current.isValid() ? m_workspace.volumes().containing(selectedRoot()) : std::nullopt;
    m_eject->setEnabled(volume && current.data(CardListModel::SafeRole).toBool()
                        && !m_workspace.volumes().ejecting(*volume));
}

} // namespace vantor::ui
