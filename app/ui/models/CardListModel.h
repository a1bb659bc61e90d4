#pragma once

#include <QAbstractListModel>
#include <QStringList>

namespace vantor {
class CardTracker;
class QueueService;
}

namespace vantor::ui {

// One row per card of the queue: "name · files · verdict", and below it the first reasons of a
// card that is not safe to format (the rest counted; all of them in the tooltip).
class CardListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { RootRole = Qt::UserRole + 1, SafeRole };
    static constexpr int shownReasons = 3;

    CardListModel(QueueService &queue, CardTracker &cards, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    void refresh();

    CardTracker &m_cards;
    QStringList m_rows;
};

} // namespace vantor::ui
