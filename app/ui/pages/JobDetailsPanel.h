#pragma once

#include "widgets/PanelSurface.h"

#include <QUuid>

class QLabel;
class QListView;

namespace vantor {
class QueueService;
}

namespace vantor::ui {

class DestinationListModel;
class JobListModel;
class QuietButton;

// The selected job's file details (FROM, TO, Hash, and one line per destination when it makes
// backups) and its actions: move, cancel, retry,
// remove and reveal, each offered when the job's state allows it.
class JobDetailsPanel : public PanelSurface {
    Q_OBJECT
public:
    JobDetailsPanel(QueueService &queue, JobListModel &model, QWidget *parent = nullptr);
    void show(const QUuid &id); // a null id shows nothing selected
    QUuid shown() const { return m_id; }

private:
    void refresh();
    QueueService &m_queue;
    JobListModel &m_model;
    QUuid m_id;
    QLabel *m_from, *m_to, *m_hash;
    DestinationListModel *m_destinationLines;
    QListView *m_destinations;
    QuietButton *m_earlier, *m_later, *m_cancel, *m_retry, *m_remove, *m_reveal;
};

} // namespace vantor::ui
