#pragma once

#include <QObject>
#include <QTimer>

namespace vantor {
class QueueService;
}

namespace vantor::ui {

// The queue's job changes at the pace a screen shows them. A running copy reports progress
// hundreds of times a second; passing each report to views that look at every job would keep
// the main thread busy, so a change is passed on at once and the ones that follow within the
// interval are folded into one.
class QueueChanges : public QObject {
    Q_OBJECT
public:
    static constexpr int intervalMs = 40;
    explicit QueueChanges(QueueService &queue, QObject *parent = nullptr);

Q_SIGNALS:
    void changed();

private:
    QTimer m_quiet;
    bool m_pending = false;
};

} // namespace vantor::ui
