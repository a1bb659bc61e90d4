#pragma once

#include "widgets/PanelSurface.h"

#include <QMap>

class QLabel;
class QMediaPlayer;
class QStackedWidget;
class QTimer;
class QVideoWidget;

namespace vantor {
class SourceInspector;
class Workspace;
} // namespace vantor

namespace vantor::ui {

class QuietButton;

// The Summary of the selected source and its output, with the source preview: the player where
// the format plays, else a still frame rendered by the engine. The subtitle tracks and chapters
// are shown on their own tabs of the Transcode page.
class SourceInspectorPanel : public PanelSurface {
    Q_OBJECT
public:
    SourceInspectorPanel(Workspace &workspace, SourceInspector &inspector, QWidget *parent = nullptr);

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refresh();
    void showSource();
    void unplayable();

    Workspace &m_workspace;
    SourceInspector &m_inspector;
    QMap<QString, QLabel *> m_rows;
    QLabel *m_sources;
    QLabel *m_overrides;
    QLabel *m_error;
    QStackedWidget *m_preview;
    QVideoWidget *m_video = nullptr;
    QMediaPlayer *m_player = nullptr;
    QTimer *m_loading = nullptr; // gives up on a source the player keeps loading
    QLabel *m_still;
    QuietButton *m_play;
    QString m_playing; // the source in the player
};

} // namespace vantor::ui
