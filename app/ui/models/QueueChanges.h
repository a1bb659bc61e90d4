#pragma once

#include <QObject>
#include <QTimer>

namespace vantor {
class QueueService;
}

namespace vantor::ui {

// The queue's jobs coming, going, moving or changing status, for views that look at every job
// (counts, notices). Progress alone is not passed on: a running copy reports it hundreds of times
// a second. A change is passed on at once and the ones that follow within the interval are folded
// into one.
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
