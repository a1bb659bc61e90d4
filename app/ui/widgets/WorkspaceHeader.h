#pragma once

#include <QWidget>

class QLabel;

namespace vantor::ui {

// The heading block at the top of each page: a small eyebrow, the title and one line below.
class WorkspaceHeader : public QWidget {
    Q_OBJECT
public:
    WorkspaceHeader(const QString &eyebrow, const QString &title, const QString &subtitle, QWidget *parent = nullptr);
    void setSubtitle(const QString &subtitle);
    QString eyebrow() const;
    QString title() const;
    QString subtitle() const;

private:
    QLabel *m_eyebrow, *m_title, *m_subtitle;
};

} // namespace vantor::ui
