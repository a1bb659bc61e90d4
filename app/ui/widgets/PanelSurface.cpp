#include "widgets/PanelSurface.h"

#include "Theme.h"

#include <QPainter>

namespace vantor::ui {

PanelSurface::PanelSurface(QWidget *parent) : QFrame(parent)
{
    const int margin = Theme::space(3);
    setContentsMargins(margin, margin, margin, margin);
}

void PanelSurface::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Theme::rule(), 1));
    painter.setBrush(Theme::surface());
    const qreal radius = Theme::space(2);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

} // namespace vantor::ui
