#pragma once

#include "jobs/SourceFile.h"
#include "state/PersistenceQueue.h"
#include "presets/TranscodePreset.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <vector>

namespace vantor {

class QueueService;

// Folder automation: every 10 seconds, each enabled rule's folder is scanned off the main thread
// and every video file that has kept its size and modification time for 20 seconds is queued
// once per version as a transcode into the rule's destination. Nothing polls until start().
class WatchFolderService : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<double()>; // seconds, monotonic

    static constexpr int interval = 10000;     // milliseconds between polls
    static constexpr double stableFor = 20.0; // seconds a version must stay unchanged
    static constexpr double jitterAllowance = 0.25; // seconds of poll timing slack

    // `queue` holds the rules and receives the jobs; it must outlive the service.
    explicit WatchFolderService(QueueService &queue, QObject *parent = nullptr);
    ~WatchFolderService() override;

    // Polls now and every interval from then on.
    void start();
    bool started() const { return m_timer.isActive(); }

    // One pass over the enabled rules; returns at once. A pass already running makes it a no-op.
    void poll();
    bool polling() const { return m_polling; }
    void setClock(Clock clock) { m_clock = std::move(clock); }
    // Another time scale for the poll and the quiet time (tests run the real timer briefly);
    // the timing slack shrinks in proportion.
    void setTiming(int intervalMs, double stableForSeconds);

    // Rule editing; each change is saved at once. addRule throws VantorError.
    QUuid addRule(const QString &source, const QString &destination, const TranscodePreset &preset);
    void setEnabled(const QUuid &id, bool enabled);
    void removeRule(const QUuid &id);

Q_SIGNALS:
    void pollFinished();
    void rulesChanged(); // a rule was added, enabled, disabled or removed
    void notice(const QString &message); // a failure or a skipped entry, also in the log

private:
    struct Version {
        QString signature;
        double since = 0;
    };
    void pollRule(std::vector<QUuid> rules, std::size_t position);
    void applyScan(const QUuid &rule, const std::vector<SourceFile> &files);
    void reportSkipped(const QUuid &rule, const QStringList &paths);
    void report(const QString &message);
    void finishPass();

    QueueService &m_queue;
    QTimer m_timer;
    bool m_polling = false;
    QHash<QString, Version> m_stability; // rule id + "/" + path
    QSet<QString> m_skipped;             // rule id + "/" + path, reported once while it stays
    Clock m_clock;
    double m_stableFor = stableFor;
    PersistenceQueue m_scans; // the per-rule scans, one at a time
};

} // namespace vantor
