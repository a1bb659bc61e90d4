#include "ProgressBar.h"

#include "CommandLine.h"

#include <QTextStream>
#include <algorithm>

namespace vantor::cli {

ProgressBar::ProgressBar(const QString &label) : m_label(label), m_enabled(stderrIsTerminal()) {}

ProgressBar::~ProgressBar()
{
    finish();
}

void ProgressBar::update(double fraction)
{
    if (!m_enabled)
        return;
    const int percent = int(std::clamp(fraction, 0.0, 1.0) * 100);
    if (percent == m_lastPercent)
        return;
    m_lastPercent = percent;
    constexpr int width = 30;
    const int filled = percent * width / 100;
    QTextStream err(stderr);
    err << '\r' << m_label.left(40) << " [" << QString(filled, QLatin1Char('#'))
        << QString(width - filled, QLatin1Char(' ')) << "] " << percent << "%";
    err.flush();
}

void ProgressBar::finish()
{
    if (!m_enabled || m_lastPercent < 0)
        return;
    QTextStream(stderr) << '\n';
    m_lastPercent = -1;
}

} // namespace vantor::cli
