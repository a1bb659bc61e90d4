#pragma once

#include <QWidget>

namespace vantor::ui {

// A thin horizontal separator line.
class Rule : public QWidget {
    Q_OBJECT
public:
    explicit Rule(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace vantor::ui
