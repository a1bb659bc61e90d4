#include "widgets/LineField.h"

namespace vantor::ui {

LineField::LineField(const QString &prompt, QWidget *parent) : QLineEdit(parent)
{
    setPlaceholderText(prompt);
    setAccessibleName(prompt);
    setClearButtonEnabled(true);
}

} // namespace vantor::ui
