#include "widgets/InputRow.h"

#include "Theme.h"

#include <QHBoxLayout>
#include <QLabel>

namespace vantor::ui {

InputRow::InputRow(const QString &title, QWidget *control, QWidget *parent)
    : QWidget(parent), m_label(new QLabel(title, this)), m_control(control)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(3));
    m_label->setMinimumWidth(m_label->fontMetrics().horizontalAdvance(QLatin1Char('M')) * 9);
    m_label->setBuddy(control);
    control->setAccessibleName(title);
    layout->addWidget(m_label);
    layout->addWidget(control, 1);
}

} // namespace vantor::ui
