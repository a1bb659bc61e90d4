#pragma once

#include <QIcon>
#include <QPixmap>

namespace vantor::ui {

// The product's mark, drawn rather than loaded so every size is sharp.
QPixmap markPixmap(int size, qreal devicePixelRatio = 1.0);
QIcon appIcon();

} // namespace vantor::ui
