#pragma once

#include <QWidget>

class QButtonGroup;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class StatusCounts;

// The left column: the mark, one entry per page bound to the workspace's page, the queue's
// counts by state and the link to the maker's site.
class Sidebar : public QWidget {
    Q_OBJECT
public:
    explicit Sidebar(Workspace &workspace, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Workspace &m_workspace;
    QButtonGroup *m_entries;
    StatusCounts *m_counts;
};

} // namespace vantor::ui
