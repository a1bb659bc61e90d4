#pragma once

#include "jobs/JobStatus.h"

#include <QColor>
#include <QFont>

class QWidget;

namespace vantor::ui {

// The shared colours and metrics. Colours come from the desktop's palette, so light and dark
// themes both read well; sizes come from the font, so they scale with the screen.
namespace Theme {

QColor text();
QColor mutedText();     // captions, eyebrows, secondary lines
QColor accent();        // the prominent action and progress
QColor surface();       // the background of a panel
QColor sidebar();       // the background of the sidebar
QColor rule();          // thin separators
QColor errorColour();
QColor statusColour(JobStatus status);

// Spacing steps: 1 is a quarter of a line of text.
int space(int steps = 1);
int lineHeight();

QFont titleFont();
QFont eyebrowFont();
QFont captionFont();
QFont monospaceFont();

// A colour between two, `amount` 0 gives `from`, 1 gives `to`.
QColor mix(const QColor &from, const QColor &to, double amount);

} // namespace Theme
} // namespace vantor::ui
