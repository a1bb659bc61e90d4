#pragma once

#include "jobs/SourceFile.h"
#include "state/PersistenceQueue.h"
#include "presets/TranscodePreset.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <vector>

namespace vantor {

class Workspace;

// Folder automation: every 10 seconds, each enabled rule's folder is scanned off the main thread
// and every video file that has kept its size and modification time for 20 seconds is queued
// once per version as a transcode into the rule's destination.
class WatchFolderService : public QObject {
    Q_OBJECT
public:
    using Clock = std::function<double()>; // seconds, monotonic

    static constexpr int interval = 10000;     // milliseconds between polls
    static constexpr double stableFor = 20.0; // seconds a version must stay unchanged
    static constexpr double jitterAllowance = 0.25; // seconds of poll timing slack

    explicit WatchFolderService(Workspace *workspace);
    ~WatchFolderService() override;

    // One pass over the enabled rules; returns at once. A pass already running makes it a no-op.
    void poll();
    bool polling() const { return m_polling; }
    void setClock(Clock clock) { m_clock = std::move(clock); }

    // Rule editing; each change is saved at once. addRule throws VantorError.
    QUuid addRule(const QString &source, const QString &destination, const TranscodePreset &preset);
    void setEnabled(const QUuid &id, bool enabled);
    void removeRule(const QUuid &id);

Q_SIGNALS:
    void pollFinished();
    void rulesChanged(); // a rule was added, enabled, disabled or removed

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

    QPointer<Workspace> m_workspace;
    QTimer m_timer;
    bool m_polling = false;
    QHash<QString, Version> m_stability; // rule id + "/" + path
    QSet<QString> m_skipped;             // rule id + "/" + path, reported once while it stays
    Clock m_clock;
    PersistenceQueue m_scans; // the per-rule scans, one at a time
};

} // namespace vantor
