#pragma once

#include <QString>
#include <deque>
#include <functional>
#include <optional>
#include <utility>

namespace vantor::cli {

// One status line on stderr, drawn only when stderr is a terminal, so pipes and logs stay clean:
// the phase and the running file, the phase's percentage and speed, and for a batch the files
// and bytes done of all of them and the time left.
class ProgressBar {
public:
    using Clock = std::function<double()>; // monotonic seconds

    struct Snapshot {
        QString label;         // the running file's name
        QString phase;         // "copy", "verify", "transcode"; empty when the work has no phases
        double fraction = 0;   // of the running phase
        qint64 phaseBytes = 0; // the bytes the phase moves from 0 to 1; 0 shows no speed
        int doneFiles = 0;     // the batch's ended files
        int files = 0;         // the batch's files; 0 shows no batch
        qint64 doneBytes = 0;  // the ended files' bytes plus the running file's share
        qint64 bytes = 0;      // the batch's bytes
        qint64 phaseShare = 0; // the part of the batch's bytes the running phase stands for
    };

    explicit ProgressBar(const QString &label); // on stderr when it is a terminal, the steady clock
    ProgressBar(const QString &label, bool terminal, Clock clock);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void update(double fraction); // the label's fraction alone
    void update(const Snapshot &snapshot);
    // The status line of the latest snapshot, fitted into `width` columns.
    QString line(int width) const;
    // A line of its own, in place of the status line on a terminal, alone on a log.
    void print(const QString &text);
    // Leaves the status line as it stands and moves below it.
    void finish();

private:
    std::optional<double> speed() const;
    std::optional<double> secondsLeft() const;
    void draw(bool force);

    Snapshot m_now;
    bool m_enabled;
    Clock m_clock;
    bool m_drawn = false;
    double m_lastDraw = -1e300;
    int m_lastPercent = -1;
    // The running phase's bytes over the last few seconds: (time, bytes done).
    std::deque<std::pair<double, double>> m_samples;
    // When and where the batch's first snapshot came.
    std::optional<std::pair<double, qint64>> m_batchStart;
};

// "0:42", "12:05", "1:02:03".
QString durationText(double seconds);

} // namespace vantor::cli
