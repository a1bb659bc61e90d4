#pragma once

#include <QWidget>

class QLabel;

namespace vantor::ui {

// A labelled row holding one control; the control is named after the label for assistive
// technology, and the label's mnemonic focuses it.
class InputRow : public QWidget {
    Q_OBJECT
public:
    InputRow(const QString &title, QWidget *control, QWidget *parent = nullptr);
    QWidget *control() const { return m_control; }
    QLabel *label() const { return m_label; }

private:
    QLabel *m_label;
    QWidget *m_control;
};

} // namespace vantor::ui
