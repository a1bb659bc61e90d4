#pragma once

#include <QWidget>

class QListView;
class QStackedWidget;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class JobDetailsPanel;
class JobListModel;
class QuietButton;
class StatusCounts;

// The one durable queue: its state, counts by job state, every job with its progress, and the
// controls that call the queue's operations.
class QueuePage : public QWidget {
    Q_OBJECT
public:
    explicit QueuePage(Workspace &workspace, QWidget *parent = nullptr);
    JobListModel &model() { return *m_model; }

private:
    QWidget *buildEmptyState();
    QWidget *buildJobs();
    void refresh();
    void toggleRun();
    void exportReport();
    void confirmClear();

    Workspace &m_workspace;
    JobListModel *m_model;
    QuietButton *m_run;
    StatusCounts *m_counts;
    QWidget *m_toolbar;
    QStackedWidget *m_body;
    QListView *m_list;
    JobDetailsPanel *m_details;
};

} // namespace vantor::ui
