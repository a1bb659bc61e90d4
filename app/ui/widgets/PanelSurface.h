#pragma once

#include <QFrame>

namespace vantor::ui {

// The background panel of a section: a slightly raised surface with rounded corners.
class PanelSurface : public QFrame {
    Q_OBJECT
public:
    explicit PanelSurface(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace vantor::ui
