#include "ProgressBar.h"

#include "CommandLine.h"

#include "ingest/VolumeSpace.h"

#include <QStringList>
#include <QTextStream>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vantor::cli {

namespace {

constexpr double speedWindow = 3.0; // seconds of samples the speed is taken over

double steadySeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

int terminalWidth()
{
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

int percentOf(double fraction)
{
    return int(std::clamp(fraction, 0.0, 1.0) * 100);
}

} // namespace

QString durationText(double seconds)
{
    const qint64 total = qint64(std::ceil(std::max(seconds, 0.0)));
    const qint64 hours = total / 3600, minutes = total / 60 % 60, rest = total % 60;
    const QString tail = QStringLiteral("%1").arg(rest, 2, 10, QLatin1Char('0'));
    if (hours > 0)
        return QStringLiteral("%1:%2:%3").arg(hours).arg(minutes, 2, 10, QLatin1Char('0')).arg(tail);
    return QStringLiteral("%1:%2").arg(minutes).arg(tail);
}

ProgressBar::ProgressBar(const QString &label) : ProgressBar(label, stderrIsTerminal(), steadySeconds) {}

ProgressBar::ProgressBar(const QString &label, bool terminal, Clock clock)
    : m_enabled(terminal), m_clock(clock ? std::move(clock) : Clock(steadySeconds))
{
    m_now.label = label;
}

ProgressBar::~ProgressBar()
{
    finish();
}

void ProgressBar::update(double fraction)
{
    Snapshot next = m_now;
    next.fraction = fraction;
    update(next);
}

void ProgressBar::update(const Snapshot &snapshot)
{
    const double now = m_clock();
    const bool moved = snapshot.label != m_now.label || snapshot.phase != m_now.phase;
    if (moved || snapshot.fraction < m_now.fraction)
        m_samples.clear();
    m_now = snapshot;
    m_samples.emplace_back(now, snapshot.fraction * double(snapshot.phaseBytes));
    while (m_samples.size() > 2 && now - m_samples[1].first >= speedWindow)
        m_samples.pop_front();
    if (snapshot.files > 0 && !m_batchStart)
        m_batchStart = std::pair(now, snapshot.doneBytes);
    draw(moved);
}

std::optional<double> ProgressBar::speed() const
{
    if (m_now.phaseBytes <= 0 || m_samples.size() < 2)
        return std::nullopt;
    const double span = m_samples.back().first - m_samples.front().first;
    if (span < 0.5)
        return std::nullopt;
    return (m_samples.back().second - m_samples.front().second) / span;
}

// The running phase at its own speed, the rest of the batch at the batch's average so far: a
// fast copy does not make a slow transcode after it look short, nor the other way round. None
// until the running phase's speed is known.
std::optional<double> ProgressBar::secondsLeft() const
{
    if (!m_batchStart || m_now.bytes <= 0)
        return std::nullopt;
    const double remaining = 1.0 - std::clamp(m_now.fraction, 0.0, 1.0);
    std::optional<double> phaseLeft;
    if (const std::optional<double> rate = speed(); rate && *rate > 0)
        phaseLeft = remaining * double(m_now.phaseBytes) / *rate;
    else if (m_now.phaseBytes > 0)
        return std::nullopt; // a phase just begun: the average of other phases would mislead
    const double rest = double(m_now.bytes - m_now.doneBytes) - (phaseLeft ? remaining * double(m_now.phaseShare) : 0.0);
    if (rest <= 0.5)
        return phaseLeft;
    const double elapsed = m_clock() - m_batchStart->first;
    const double average = double(m_now.doneBytes - m_batchStart->second) / elapsed;
    if (elapsed < 1.0 || average <= 0)
        return std::nullopt;
    return phaseLeft.value_or(0.0) + rest / average;
}

QString ProgressBar::line(int width) const
{
    const QString head = m_now.phase.isEmpty() ? QString() : m_now.phase.leftJustified(9) + QLatin1Char(' ');
    // The parts after the name, in the order they are given up when the line is too narrow:
    // the file count, the bytes, the speed, the time left.
    QStringList optional(4);
    if (m_now.files > 0) {
        optional[0] = QStringLiteral("  %1/%2 files").arg(m_now.doneFiles).arg(m_now.files);
        optional[1] = QStringLiteral("  %1 of %2").arg(VolumeSpace::byteText(m_now.doneBytes), VolumeSpace::byteText(m_now.bytes));
    }
    if (const std::optional<double> rate = speed())
        optional[2] = QStringLiteral("  ") + VolumeSpace::byteText(qint64(*rate)) + QStringLiteral("/s");
    if (const std::optional<double> left = secondsLeft())
        optional[3] = QStringLiteral("  ") + durationText(*left) + QStringLiteral(" left");
    const QString percent = QStringLiteral(" %1%").arg(percentOf(m_now.fraction), 3);
    const auto tailOf = [&] { return percent + optional[2] + optional[0] + optional[1] + optional[3]; };
    for (QString &part : optional) {
        if (width - 1 - int(head.size() + tailOf().size()) >= 8)
            break;
        part.clear();
    }
    const QString tail = tailOf();

    // The last column stays free, so the line never wraps.
    const int room = width - 1 - int(head.size() + tail.size());
    QString label = m_now.label;
    const int labelRoom = std::clamp(room - 8, 8, 32); // leaves a bar of at least 5 when there is room
    if (label.size() > labelRoom)
        label = label.left(labelRoom - 1) + QChar(0x2026);
    QString bar;
    const int barRoom = room - int(label.size()) - 3;
    if (barRoom >= 5) {
        const int inner = std::min(barRoom, 30);
        const int filled = percentOf(m_now.fraction) * inner / 100;
        bar = QStringLiteral(" [") + QString(filled, QLatin1Char('#')) + QString(inner - filled, QLatin1Char(' '))
              + QLatin1Char(']');
    }
    return (head + label + bar + tail).left(std::max(width - 1, 0));
}

void ProgressBar::draw(bool force)
{
    if (!m_enabled)
        return;
    const double now = m_clock();
    const int percent = percentOf(m_now.fraction);
    if (!force && percent == m_lastPercent && now - m_lastDraw < 0.25)
        return;
    m_lastPercent = percent;
    m_lastDraw = now;
    m_drawn = true;
    QTextStream err(stderr);
    err << '\r' << line(terminalWidth()) << "\x1b[K";
    err.flush();
}

void ProgressBar::print(const QString &text)
{
    QTextStream err(stderr);
    // The status line is cleared, not redrawn: the next update draws the next file's.
    if (m_enabled && m_drawn)
        err << "\r\x1b[K";
    err << text << '\n';
    err.flush();
    m_drawn = false;
    m_lastPercent = -1;
}

void ProgressBar::finish()
{
    if (!m_enabled || !m_drawn)
        return;
    QTextStream(stderr) << '\n';
    m_drawn = false;
    m_lastPercent = -1;
}

} // namespace vantor::cli
