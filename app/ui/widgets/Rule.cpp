#include "widgets/Rule.h"

#include "Theme.h"

#include <QPainter>

namespace vantor::ui {

Rule::Rule(QWidget *parent) : QWidget(parent)
{
    setFixedHeight(1);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void Rule::paintEvent(QPaintEvent *)
{
    QPainter(this).fillRect(rect(), Theme::rule());
}

} // namespace vantor::ui
