#pragma once

#include "base/JobControl.h"
#include "state/PersistenceQueue.h"
#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <memory>
#include <optional>

namespace vantor {

class Workspace;

// The source the Transcode page shows: which one is selected, what the engine's probe found in
// it, and a still frame for formats the player cannot show. Probes run on a worker thread and
// report back by queued call; a newer selection cancels and supersedes an older probe.
class SourceInspector : public QObject {
    Q_OBJECT
public:
    explicit SourceInspector(Workspace &workspace, QObject *parent = nullptr);
    ~SourceInspector() override; // cancels what runs, then joins the worker

    // Selects a source (none clears) and probes it. Selecting the selected source again re-probes.
    void select(const std::optional<QString> &source);
    // Renders the selected source's frame at `seconds`, untouched by any preset, into still().
    void renderStill(double seconds = 0);

    const std::optional<QString> &selected() const { return m_selected; }
    const std::optional<MediaInfo> &info() const { return m_info; }
    bool inspecting() const { return m_inspecting; }
    const std::optional<QString> &sourceError() const { return m_sourceError; }
    // PNG data of the still frame; empty when none was rendered for the selection.
    const QByteArray &still() const { return m_still; }
    // The preset the selected source will be queued with: its own when it has one, else the
    // workspace's current preset.
    TranscodePreset preset() const;

Q_SIGNALS:
    void changed();

private:
    void followSources();
    void restart();

    Workspace &m_workspace;
    std::optional<QString> m_selected;
    std::optional<MediaInfo> m_info;
    bool m_inspecting = false;
    std::optional<QString> m_sourceError;
    QByteArray m_still;
    std::shared_ptr<JobControl> m_control; // of the probe in progress
    std::shared_ptr<JobControl> m_stillControl; // of the still in progress
    quint64 m_generation = 0; // of the selection; a still belongs to one too
    quint64 m_stillGeneration = 0;
    PersistenceQueue m_worker; // last: joined before the fields above go away
};

} // namespace vantor
