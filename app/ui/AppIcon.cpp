#include "AppIcon.h"

#include <QPainter>
#include <QPainterPath>

namespace vantor::ui {

QPixmap markPixmap(int size, qreal devicePixelRatio)
{
    QPixmap pixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal s = size;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0x17, 0x1b, 0x24));
    painter.drawRoundedRect(QRectF(0, 0, s, s), s * 0.22, s * 0.22);
    // A "V" of two strokes meeting at a check: media in, verified.
    QPainterPath vee;
    vee.moveTo(s * 0.24, s * 0.28);
    vee.lineTo(s * 0.5, s * 0.74);
    vee.lineTo(s * 0.76, s * 0.28);
    QPen pen(QColor(0x4c, 0xc9, 0xa8), s * 0.11, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(vee);
    painter.setPen(QPen(QColor(0xf2, 0xf4, 0xf7), s * 0.05, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(s * 0.36, s * 0.28), QPointF(s * 0.64, s * 0.28));
    return pixmap;
}

QIcon appIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(markPixmap(size));
    return icon;
}

} // namespace vantor::ui
