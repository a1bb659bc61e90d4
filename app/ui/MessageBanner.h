#pragma once

#include <QWidget>

class QLabel;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class QuietButton;

// The strip over the pages that shows the workspace's error, else the queue's save failure,
// until the user dismisses it.
class MessageBanner : public QWidget {
    Q_OBJECT
public:
    explicit MessageBanner(Workspace &workspace, QWidget *parent = nullptr);
    QString message() const;

private:
    void refresh();
    Workspace &m_workspace;
    QLabel *m_text;
    QuietButton *m_dismiss;
    QString m_dismissedPersistenceError;
};

} // namespace vantor::ui
