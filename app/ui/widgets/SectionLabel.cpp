#include "widgets/SectionLabel.h"

#include "Theme.h"

namespace vantor::ui {

SectionLabel::SectionLabel(const QString &text, QWidget *parent) : QLabel(text, parent)
{
    setFont(Theme::eyebrowFont());
    QPalette muted = palette();
    muted.setColor(QPalette::WindowText, Theme::mutedText());
    setPalette(muted);
}

} // namespace vantor::ui
