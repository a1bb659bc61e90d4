#pragma once

#include <QLineEdit>

namespace vantor::ui {

// A single-line text field that shows its prompt while empty.
class LineField : public QLineEdit {
    Q_OBJECT
public:
    explicit LineField(const QString &prompt, QWidget *parent = nullptr);
    QString prompt() const { return placeholderText(); }
};

} // namespace vantor::ui
