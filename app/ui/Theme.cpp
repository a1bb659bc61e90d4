#include "Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QPalette>

namespace vantor::ui::Theme {

namespace {

QPalette palette() { return QApplication::palette(); }

bool dark() { return palette().color(QPalette::Window).lightnessF() < 0.5; }

} // namespace

QColor mix(const QColor &from, const QColor &to, double amount)
{
    const auto blend = [amount](double a, double b) { return a + (b - a) * amount; };
    return QColor::fromRgbF(float(blend(from.redF(), to.redF())), float(blend(from.greenF(), to.greenF())),
                            float(blend(from.blueF(), to.blueF())));
}

QColor text() { return palette().color(QPalette::WindowText); }

QColor mutedText() { return mix(palette().color(QPalette::Window), text(), 0.62); }

QColor accent() { return palette().color(QPalette::Highlight); }

QColor surface() { return mix(palette().color(QPalette::Window), palette().color(QPalette::Base), 0.6); }

QColor sidebar() { return mix(palette().color(QPalette::Window), text(), dark() ? 0.06 : 0.04); }

QColor rule() { return mix(palette().color(QPalette::Window), text(), 0.18); }

QColor errorColour() { return dark() ? QColor(0xff, 0x7b, 0x72) : QColor(0xb4, 0x23, 0x18); }

QColor statusColour(JobStatus status)
{
    switch (status.value) {
    case JobStatus::complete:
        return dark() ? QColor(0x56, 0xd3, 0x64) : QColor(0x1a, 0x7f, 0x37);
    case JobStatus::failed:
        return errorColour();
    case JobStatus::copying:
    case JobStatus::verifying:
    case JobStatus::transcoding:
        return accent();
    case JobStatus::paused:
        return dark() ? QColor(0xe3, 0xb3, 0x41) : QColor(0x9a, 0x67, 0x00);
    case JobStatus::waiting:
    case JobStatus::cancelled:
        break;
    }
    return mutedText();
}

int lineHeight() { return QFontMetrics(QApplication::font()).height(); }

int space(int steps) { return steps * std::max(2, lineHeight() / 4); }

QFont titleFont()
{
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 1.7);
    font.setWeight(QFont::DemiBold);
    return font;
}

QFont eyebrowFont()
{
    QFont font = captionFont();
    font.setWeight(QFont::DemiBold);
    font.setLetterSpacing(QFont::PercentageSpacing, 112);
    return font;
}

QFont captionFont()
{
    QFont font = QApplication::font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    return font;
}

QFont monospaceFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(QApplication::font().pointSizeF() * 0.9);
    return font;
}

} // namespace vantor::ui::Theme
