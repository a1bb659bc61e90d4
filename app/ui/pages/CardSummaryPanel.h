#pragma once

#include <QWidget>

class QVBoxLayout;

namespace vantor {
class CardTracker;
class QueueService;
}

namespace vantor::ui {

// One line per card of the queue: its name, its files and its verdict, with the reasons of a
// card that is not safe to format below it. Hidden while the queue holds no card.
class CardSummaryPanel : public QWidget {
    Q_OBJECT
public:
    CardSummaryPanel(QueueService &queue, CardTracker &cards, QWidget *parent = nullptr);

    static constexpr int shownReasons = 3; // the rest are counted, and all are in the tooltip

private:
    void refresh();

    QueueService &m_queue;
    CardTracker &m_cards;
    QVBoxLayout *m_lines;
};

} // namespace vantor::ui
