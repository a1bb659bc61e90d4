#pragma once

#include <QWidget>

class QListView;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class CardListModel;
class QuietButton;

// The queue's cards, one line each with its verdict, and "Eject Card" for the selected card once
// it is safe to format and still mounted. Hidden while the queue holds no card.
class CardSummaryPanel : public QWidget {
    Q_OBJECT
public:
    explicit CardSummaryPanel(Workspace &workspace, QWidget *parent = nullptr);

    QListView *list() const { return m_list; }

private:
    void refresh();
    QString selectedRoot() const;

    Workspace &m_workspace;
    CardListModel *m_model;
    QListView *m_list;
    QuietButton *m_eject;
};

} // namespace vantor::ui
