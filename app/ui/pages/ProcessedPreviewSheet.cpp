#include "pages/ProcessedPreviewSheet.h"

#include "Desktop.h"
#include "Theme.h"
#include "queue/QueueService.h"
#include "transcode/PreviewService.h"
#include "widgets/QuietButton.h"
#include "workspace/PreviewController.h"
#include "workspace/SourceInspector.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMediaPlayer>
#include <QPixmap>
#include <QSlider>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QVideoWidget>
#include <cmath>

namespace vantor::ui {

namespace {

enum ViewPage { placeholderPage, imagePage, clipPage };

QLabel *wrapped(const QString &text, const QString &name, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setWordWrap(true);
    return label;
}

} // namespace

ProcessedPreviewSheet::ProcessedPreviewSheet(
    Workspace &workspace, SourceInspector &inspector, QWidget *parent)
    : QDialog(parent)
    , m_workspace(workspace)
    , m_inspector(inspector)
    , m_controller(new PreviewController(this))
{
    setWindowTitle(QStringLiteral("Processed Preview"));
    setObjectName(QStringLiteral("processedPreview"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(2));
    auto *title = new QLabel(QStringLiteral("Processed Preview"), this);
    title->setFont(Theme::titleFont());
    layout->addWidget(title);
    layout->addWidget(
        wrapped(QStringLiteral("Frames include picture processing and burn-ins. Test clips use the "
                               "selected codec, audio and quality settings; source files are untouched."),
            QStringLiteral("previewExplanation"), this));

    auto *positionRow = new QHBoxLayout;
    auto *positionLabel = new QLabel(QStringLiteral("Position"), this);
    m_position = new QSlider(Qt::Horizontal, this);
    m_position->setObjectName(QStringLiteral("previewPosition"));
    m_position->setAccessibleName(QStringLiteral("Position"));
    positionLabel->setBuddy(m_position);
    m_positionText = new QLabel(this);
    m_positionText->setObjectName(QStringLiteral("previewPositionText"));
    m_positionText->setMinimumWidth(
        m_positionText->fontMetrics().horizontalAdvance(QStringLiteral("0000.0s")));
    positionRow->addWidget(positionLabel);
    positionRow->addWidget(m_position, 1);
    positionRow->addWidget(m_positionText);
    layout->addLayout(positionRow);

    m_view = new QStackedWidget(this);
    m_view->setMinimumSize(Theme::lineHeight() * 24, Theme::lineHeight() * 14);
    auto *placeholder = wrapped(QStringLiteral("Render A Frame Or A Five-Second Test Clip"),
        QStringLiteral("previewPlaceholder"), m_view);
    placeholder->setAlignment(Qt::AlignCenter);
    m_view->addWidget(placeholder);
    m_image = new QLabel(m_view);
    m_image->setObjectName(QStringLiteral("previewImage"));
    m_image->setAccessibleName(QStringLiteral("Processed Frame"));
    m_image->setAlignment(Qt::AlignCenter);
    m_image->setSizePolicy(
        QSizePolicy::Ignored, QSizePolicy::Ignored); // the picture follows the sheet's size
    m_view->addWidget(m_image);
    m_video = new QVideoWidget(m_view);
    m_video->setObjectName(QStringLiteral("previewClip"));
    m_video->setAccessibleName(QStringLiteral("Test Clip"));
    m_view->addWidget(m_video);
    layout->addWidget(m_view, 1);

    m_busy = wrapped(QStringLiteral("Rendering\u2026"), QStringLiteral("previewBusy"), this);
    m_message = wrapped(QString(), QStringLiteral("previewMessage"), this);
    m_detail = wrapped(QString(), QStringLiteral("previewDetail"), this);
    m_estimate = wrapped(QString(), QStringLiteral("previewEstimate"), this);
    m_error = wrapped(QString(), QStringLiteral("previewError"), this);
    QPalette warning = m_error->palette();
    warning.setColor(QPalette::WindowText, Theme::errorColour());
    m_error->setPalette(warning);
    for (QLabel *label : { m_busy, m_message, m_detail, m_estimate, m_error })
        layout->addWidget(label);

    auto *actions = new QHBoxLayout;
    m_frame = new QuietButton(QStringLiteral("Render Frame"), this);
    m_frame->setObjectName(QStringLiteral("renderFrame"));
    m_clip = new QuietButton(QStringLiteral("Encode 5s Clip"), this);
    m_clip->setObjectName(QStringLiteral("encodeClip"));
    m_cancel = new QuietButton(QStringLiteral("Cancel"), this);
    m_cancel->setObjectName(QStringLiteral("cancelPreview"));
    m_reveal = new QuietButton(QStringLiteral("Show In File Manager"), this);
    m_reveal->setObjectName(QStringLiteral("showPreviewInFileManager"));
    m_done = new QuietButton(QStringLiteral("Done"), this, true);
    m_done->setObjectName(QStringLiteral("donePreview"));
    m_done->setDefault(true);
    for (QuietButton *button : { m_frame, m_clip, m_cancel, m_reveal })
        actions->addWidget(button);
    actions->addStretch(1);
    actions->addWidget(m_done);
    layout->addLayout(actions);
    QWidget::setTabOrder(m_position, m_frame);
    QWidget::setTabOrder(m_frame, m_clip);
    QWidget::setTabOrder(m_clip, m_cancel);
    QWidget::setTabOrder(m_cancel, m_reveal);
    QWidget::setTabOrder(m_reveal, m_done);

    connect(m_position, &QSlider::valueChanged, this,
        [this](int tenths) { m_positionText->setText(QString::asprintf("%.1fs", tenths / 10.0)); });
    connect(m_frame, &QPushButton::clicked, this, [this] { render(false); });
    connect(m_clip, &QPushButton::clicked, this, [this] { render(true); });
    connect(m_cancel, &QPushButton::clicked, m_controller, &PreviewController::cancel);
    connect(m_reveal, &QPushButton::clicked, this, [this] {
        if (m_controller->result())
            Desktop::instance().reveal(*m_controller->result());
    });
    connect(m_done, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_controller, &PreviewController::changed, this, &ProcessedPreviewSheet::refresh);
    connect(&inspector, &SourceInspector::changed, this, &ProcessedPreviewSheet::refresh);
    m_positionText->setText(QString::asprintf("%.1fs", 0.0));
    resize(Theme::lineHeight() * 40, Theme::lineHeight() * 32);
    refresh();
}

void ProcessedPreviewSheet::resizeEvent(QResizeEvent *event)
{
    QDialog::resizeEvent(event);
    showFrame();
}

void ProcessedPreviewSheet::showFrame()
{
    if (m_picture.isNull())
        m_image->clear();
    else
        m_image->setPixmap(m_picture.scaled(m_image->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
}

ProcessedPreviewSheet::~ProcessedPreviewSheet()
{
    if (m_player)
        m_player->stop();
}

double ProcessedPreviewSheet::duration() const
{
    return m_inspector.info() ? m_inspector.info()->duration : 0;
}

void ProcessedPreviewSheet::render(bool clip)
{
    if (!m_inspector.selected() || !m_inspector.info())
        return;
    m_controller->render(*m_inspector.selected(), m_inspector.preset(), m_position->value() / 10.0, clip,
        m_workspace.queue().state().ffmpeg, duration());
}

void ProcessedPreviewSheet::done(int result)
{
    m_controller->cancel();
    m_controller->clear();
    QDialog::done(result);
}

void ProcessedPreviewSheet::refresh()
{
    const PreviewController &preview = *m_controller;
    const bool ready = m_inspector.selected() && m_inspector.info() && !preview.busy();
    m_position->setMaximum(int(std::floor(duration() * 10)));
    m_position->setEnabled(ready);
    m_frame->setEnabled(ready);
    m_clip->setEnabled(ready);
    m_cancel->setVisible(preview.busy());
    m_busy->setVisible(preview.busy());
    m_reveal->setVisible(preview.result().has_value());
    m_message->setText(preview.message());
    m_message->setVisible(!preview.message().isEmpty());
    m_detail->setText(preview.detail());
    m_detail->setVisible(!preview.detail().isEmpty());
    m_error->setText(preview.error().value_or(QString()));
    m_error->setVisible(preview.error().has_value());
    m_estimate->setText(m_inspector.info() ? QStringLiteral("Estimated Output: ")
                + PreviewService::estimatedSize(m_inspector.preset(), *m_inspector.info())
                                           : QString());

    if (!preview.image().isEmpty()) {
        m_picture.loadFromData(preview.image(), "PNG");
        m_view->setCurrentIndex(imagePage);
        showFrame();
    } else if (preview.result()) {
        if (!m_player) {
            m_player = new QMediaPlayer(this);
            m_player->setVideoOutput(m_video);
            m_player->setLoops(QMediaPlayer::Infinite);
        }
        m_picture = QPixmap();
        const QUrl clip = QUrl::fromLocalFile(*preview.result());
        if (m_player->source() != clip) {
            m_player->setSource(clip);
            m_player->play();
        }
        m_view->setCurrentIndex(clipPage);
    } else {
        if (m_player && !m_player->source().isEmpty()) {
            m_player->stop();
            m_player->setSource(QUrl());
        }
        m_picture = QPixmap();
        showFrame();
        m_view->setCurrentIndex(placeholderPage);
    }
}

} // namespace vantor::ui
