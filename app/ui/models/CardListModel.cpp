#include "models/CardListModel.h"

#include "Theme.h"
#include "cards/CardVerdict.h"
#include "models/QueueChanges.h"
#include "queue/CardTracker.h"

#include <QFont>

namespace vantor::ui {

CardListModel::CardListModel(QueueService &queue, CardTracker &cards, QObject *parent)
    : QAbstractListModel(parent), m_cards(cards)
{
    connect(new QueueChanges(queue, this), &QueueChanges::changed, this, &CardListModel::refresh);
    connect(&cards, &CardTracker::verdictChanged, this, &CardListModel::refresh);
    m_rows = cards.cards();
}

int CardListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant CardListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const QString &root = m_rows[index.row()];
    const std::optional<CardVerdict> verdict = m_cards.verdict(root);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: {
        const int files = m_cards.fileCount(root);
        const QString state = verdict ? verdict->label() : m_cards.open(root) ? tr("In progress") : tr("Not judged yet");
        QString line = QStringLiteral("%1 \u00b7 %2 \u00b7 %3")
                           .arg(cardLabel(root), files == 1 ? tr("1 file") : tr("%1 files").arg(files), state);
        if (verdict && !verdict->safe) {
            const auto reasons = int(verdict->reasons.size());
            for (int shown = 0; shown < reasons && shown < shownReasons; ++shown)
                line += u'\n' + verdict->reasons[std::size_t(shown)].text;
            if (reasons > shownReasons)
                line += u'\n' + tr("\u2026and %1 more.").arg(reasons - shownReasons);
        }
        return line;
    }
    case Qt::ToolTipRole:
        return verdict ? root + u'\n' + verdict->text() : root;
    case Qt::ForegroundRole:
        if (verdict && !verdict->safe)
            return Theme::errorColour();
        return {};
    case RootRole:
        return root;
    case SafeRole:
        return verdict && verdict->safe;
    default:
        return {};
    }
}

void CardListModel::refresh()
{
    const QStringList roots = m_cards.cards();
    if (roots != m_rows) {
        beginResetModel();
        m_rows = roots;
        endResetModel();
    } else if (!m_rows.isEmpty()) {
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1));
    }
}

} // namespace vantor::ui
