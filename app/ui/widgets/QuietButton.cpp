#include "widgets/QuietButton.h"

#include "Theme.h"

#include <QEvent>

namespace vantor::ui {

QuietButton::QuietButton(const QString &text, QWidget *parent, bool prominent)
    : QPushButton(text, parent), m_prominent(prominent)
{
    setAccessibleName(text);
    setFocusPolicy(Qt::StrongFocus);
    applyStyle();
}

void QuietButton::setProminent(bool prominent)
{
    m_prominent = prominent;
    applyStyle();
}

void QuietButton::setLabel(const QString &text)
{
    setText(text);
    setAccessibleName(text);
}

void QuietButton::changeEvent(QEvent *event)
{
    QPushButton::changeEvent(event);
    // Only the desktop's palette: the style sheet set here changes the own palette too.
    if (event->type() == QEvent::ApplicationPaletteChange)
        applyStyle();
}

void QuietButton::applyStyle()
{
    const int pad = Theme::space(2);
    if (!m_prominent) {
        setStyleSheet(QStringLiteral("QPushButton { padding: %1px %2px; }").arg(pad / 2).arg(pad));
        return;
    }
    const QColor accent = Theme::accent();
    const QColor onAccent = palette().color(QPalette::HighlightedText);
    setStyleSheet(QStringLiteral("QPushButton { background: %1; color: %2; border: none; border-radius: %3px;"
                                 " padding: %4px %5px; font-weight: 600; }"
                                 " QPushButton:hover { background: %6; }"
                                 " QPushButton:disabled { background: %7; }")
                      .arg(accent.name(), onAccent.name())
                      .arg(Theme::space(1))
                      .arg(pad / 2)
                      .arg(pad)
                      .arg(accent.lighter(112).name(), Theme::rule().name()));
}

} // namespace vantor::ui
