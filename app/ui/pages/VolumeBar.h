#pragma once

#include "platform/RemovableVolume.h"

#include <QWidget>
#include <vector>

class QLabel;
class QVBoxLayout;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class QuietButton;

// The Import page's offer of each mounted card or removable drive: its label and size,
// "Import" (its mount point, received as a drop is) and "Eject". Hidden while there is none.
class VolumeBar : public QWidget {
    Q_OBJECT
public:
    explicit VolumeBar(Workspace &workspace, QWidget *parent = nullptr);
    // The rows' buttons, top to bottom, for the page's tab order.
    QList<QWidget *> controls() const;

Q_SIGNALS:
    void controlsChanged();

private:
    struct Row {
        RemovableVolume volume;
        QWidget *panel;
        QuietButton *import;
        QuietButton *eject;
    };
    Row makeRow(const RemovableVolume &volume);
    void refresh();
    void refreshButtons();

    Workspace &m_workspace;
    QVBoxLayout *m_layout;
    std::vector<Row> m_rows;
};

} // namespace vantor::ui
