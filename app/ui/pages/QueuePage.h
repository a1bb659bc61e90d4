#pragma once

#include <QWidget>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The one durable queue: its state, counts by job state, every job with its progress, and the
// controls that call the queue's operations.
class QueuePage : public QWidget {
    Q_OBJECT
public:
    explicit QueuePage(Workspace &workspace, QWidget *parent = nullptr);

private:
    Workspace &m_workspace;
};

} // namespace vantor::ui
