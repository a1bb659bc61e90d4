#pragma once

#include <QDialog>
#include <QPixmap>

class QLabel;
class QMediaPlayer;
class QSlider;
class QStackedWidget;
class QVideoWidget;

namespace vantor {
class PreviewController;
class SourceInspector;
class Workspace;
} // namespace vantor

namespace vantor::ui {

class QuietButton;

// "Processed Preview": one frame or a five-second test clip of the selected source through the
// preset it will be queued with. Closing the sheet cancels a render and removes what it rendered.
class ProcessedPreviewSheet : public QDialog {
    Q_OBJECT
public:
    ProcessedPreviewSheet(Workspace &workspace, SourceInspector &inspector, QWidget *parent = nullptr);
    ~ProcessedPreviewSheet() override;

    PreviewController &controller() { return *m_controller; }
    void done(int result) override;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void refresh();
    void showFrame();
    void render(bool clip);
    double duration() const;

    Workspace &m_workspace;
    SourceInspector &m_inspector;
    PreviewController *m_controller;
    QSlider *m_position;
    QLabel *m_positionText;
    QStackedWidget *m_view;
    QLabel *m_image;
    QPixmap m_picture; // the rendered frame at its own size
    QVideoWidget *m_video;
    QMediaPlayer *m_player = nullptr;
    QLabel *m_busy;
    QLabel *m_message;
    QLabel *m_detail;
    QLabel *m_estimate;
    QLabel *m_error;
    QuietButton *m_frame;
    QuietButton *m_clip;
    QuietButton *m_cancel;
    QuietButton *m_reveal;
    QuietButton *m_done;
};

} // namespace vantor::ui
