#pragma once

#include "queue/PersistenceQueue.h"
#include "transcode/MediaInfo.h"

#include <QObject>
#include <memory>
#include <optional>

namespace vantor {

class JobControl;
class QueueService;

// Probes the source the Transcode page shows, off the main thread. A newer request supersedes
// the one running: its probe is cancelled and its answer dropped.
class SourceProbe : public QObject {
    Q_OBJECT
public:
    explicit SourceProbe(QueueService &queue, QObject *parent = nullptr);
    ~SourceProbe() override;

    // Probes `path`; an empty path clears what was shown.
    void inspect(const QString &path);

    QString path() const { return m_path; }
    bool inspecting() const { return m_inspecting; }
    const std::optional<MediaInfo> &info() const { return m_info; }
    const std::optional<QString> &sourceError() const { return m_error; }

Q_SIGNALS:
    void changed(); // path, inspecting, info or sourceError

private:
    QueueService &m_queue;
    QString m_path;
    bool m_inspecting = false;
    std::optional<MediaInfo> m_info;
    std::optional<QString> m_error;
    quint64 m_generation = 0;
    std::shared_ptr<JobControl> m_control;
    PersistenceQueue m_tasks; // last member: joined before the rest goes away
};

} // namespace vantor
