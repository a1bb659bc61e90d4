#pragma once

#include "widgets/PanelSurface.h"

class QMimeData;

namespace vantor::ui {

class QuietButton;

// Where cards, folders and files are dropped from a file manager: an arrow into a tray, the two
// lines of text and "Browse media…". Only drops of local files are taken.
class DropZone : public PanelSurface {
    Q_OBJECT
public:
    explicit DropZone(QWidget *parent = nullptr);
    QuietButton *browseButton() const { return m_browse; }
    // The local paths a drop carries; empty when it carries anything else as well.
    static QStringList localPaths(const QMimeData *data);

Q_SIGNALS:
    void dropped(const QStringList &paths);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QuietButton *m_browse;
    bool m_hovered = false;
};

} // namespace vantor::ui
