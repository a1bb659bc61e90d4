#include "pages/SourceInspectorPanel.h"

#include "Theme.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "workspace/SourceInspector.h"
#include "workspace/SourceSummary.h"
#include "workspace/Workspace.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMediaFormat>
#include <QMediaPlayer>
#include <QPixmap>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QVideoWidget>

namespace vantor::ui {

namespace {

enum PreviewPage { placeholderPage, playerPage, unavailablePage };

// The player reports some formats neither as loaded nor as failed; past this it gives up.
constexpr int loadingLimitMs = 4000;

// False for a picture codec the player names and says it cannot decode; codecs it does not
// name are left to a try.
bool decodable(const QString &engineCodec)
{
    static const QMap<QString, QMediaFormat::VideoCodec> named {
        { QStringLiteral("h264"), QMediaFormat::VideoCodec::H264 },
        { QStringLiteral("hevc"), QMediaFormat::VideoCodec::H265 },
        { QStringLiteral("mpeg4"), QMediaFormat::VideoCodec::MPEG4 },
        { QStringLiteral("mpeg1video"), QMediaFormat::VideoCodec::MPEG1 },
        { QStringLiteral("mpeg2video"), QMediaFormat::VideoCodec::MPEG2 },
        { QStringLiteral("vp8"), QMediaFormat::VideoCodec::VP8 },
        { QStringLiteral("vp9"), QMediaFormat::VideoCodec::VP9 },
        { QStringLiteral("av1"), QMediaFormat::VideoCodec::AV1 },
        { QStringLiteral("theora"), QMediaFormat::VideoCodec::Theora },
        { QStringLiteral("mjpeg"), QMediaFormat::VideoCodec::MotionJPEG },
    };
    const auto codec = named.constFind(engineCodec);
    return codec == named.constEnd()
        || QMediaFormat().supportedVideoCodecs(QMediaFormat::Decode).contains(*codec);
}

QString objectNameFor(const QString &prefix, const QString &label)
{
    QString name = prefix;
    for (const QString &word : label.split(u' ', Qt::SkipEmptyParts))
        name += word;
    return name;
}

QLabel *caption(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    QPalette muted = label->palette();
    muted.setColor(QPalette::WindowText, Theme::mutedText());
    label->setPalette(muted);
    return label;
}

} // namespace

SourceInspectorPanel::SourceInspectorPanel(Workspace &workspace, SourceInspector &inspector, QWidget *parent)
    : PanelSurface(parent)
    , m_workspace(workspace)
    , m_inspector(inspector)
{
    setObjectName(QStringLiteral("sourceInspector"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(2));
    layout->addWidget(new SectionLabel(QStringLiteral("Summary"), this));

    auto *grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::space(3));
    int row = 0;
    for (const auto &[label, value] : SourceSummary::rows(inspector.preset(), {})) {
        auto *title = caption(label, this);
        auto *shown = new QLabel(this);
        shown->setObjectName(objectNameFor(QStringLiteral("summary"), label));
        shown->setAccessibleName(label);
        shown->setTextInteractionFlags(Qt::TextSelectableByMouse);
        shown->setWordWrap(true);
        grid->addWidget(title, row, 0, Qt::AlignTop);
        grid->addWidget(shown, row++, 1);
        m_rows.insert(label, shown);
    }
    grid->setColumnStretch(1, 1);
    layout->addLayout(grid);
    auto *counts = new QHBoxLayout;
    m_sources = caption(QString(), this);
    m_sources->setObjectName(QStringLiteral("summarySources"));
    m_overrides = caption(QString(), this);
    m_overrides->setObjectName(QStringLiteral("summaryOverrides"));
    counts->addWidget(m_sources);
    counts->addWidget(m_overrides);
    counts->addStretch(1);
    layout->addLayout(counts);
    m_error = new QLabel(this);
    m_error->setObjectName(QStringLiteral("sourceError"));
    m_error->setWordWrap(true);
    QPalette warning = m_error->palette();
    warning.setColor(QPalette::WindowText, Theme::errorColour());
    m_error->setPalette(warning);
    layout->addWidget(m_error);

    layout->addWidget(
        caption(QStringLiteral("Source Preview · Output Processing Is Applied During Encoding"), this));
    m_preview = new QStackedWidget(this);
    m_preview->setObjectName(QStringLiteral("sourcePreview"));
    m_preview->setMinimumHeight(Theme::lineHeight() * 8);
    auto *placeholder = caption(QStringLiteral("Open Media To Preview"), m_preview);
    placeholder->setObjectName(QStringLiteral("sourcePreviewPlaceholder"));
    placeholder->setAlignment(Qt::AlignCenter);
    m_preview->addWidget(placeholder);
    auto *playerBox = new QWidget(m_preview);
    auto *playerLayout = new QVBoxLayout(playerBox);
    playerLayout->setContentsMargins(0, 0, 0, 0);
    m_video = new QVideoWidget(playerBox);
    m_video->setObjectName(QStringLiteral("sourceVideo"));
    m_video->setAccessibleName(QStringLiteral("Source Preview"));
    playerLayout->addWidget(m_video, 1);
    m_play = new QuietButton(QStringLiteral("Play"), playerBox);
    m_play->setObjectName(QStringLiteral("playSource"));
    playerLayout->addWidget(m_play, 0, Qt::AlignLeft);
    m_preview->addWidget(playerBox);
    auto *unavailable = new QWidget(m_preview);
    auto *unavailableLayout = new QVBoxLayout(unavailable);
    unavailableLayout->setContentsMargins(0, 0, 0, 0);
    auto *notice = caption(QStringLiteral("Preview Unavailable For This Format"), unavailable);
    notice->setObjectName(QStringLiteral("previewUnavailable"));
    unavailableLayout->addWidget(notice);
    m_still = new QLabel(unavailable);
    m_still->setObjectName(QStringLiteral("sourceStill"));
    m_still->setAccessibleName(QStringLiteral("Still Frame"));
    m_still->setAlignment(Qt::AlignCenter);
    m_still->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    unavailableLayout->addWidget(m_still, 1);
    m_preview->addWidget(unavailable);
    layout->addWidget(m_preview, 1);

    connect(m_play, &QPushButton::clicked, this, [this] {
        if (!m_player)
            return;
        if (m_player->playbackState() == QMediaPlayer::PlayingState)
            m_player->pause();
        else
            m_player->play();
    });
    connect(&inspector, &SourceInspector::changed, this, &SourceInspectorPanel::refresh);
    connect(&workspace, &Workspace::sourcesChanged, this, &SourceInspectorPanel::refresh);
    refresh();
}

void SourceInspectorPanel::refresh()
{
    const SourceSummary::SourceState state { m_inspector.selected(), m_inspector.inspecting(),
        m_inspector.sourceError(), m_inspector.info() };
    for (const auto &[label, value] : SourceSummary::rows(m_inspector.preset(), state))
        m_rows.value(label)->setText(value);
    m_sources->setText(QStringLiteral("%1 Sources").arg(m_workspace.sources().size()));
    m_overrides->setText(QStringLiteral("%1 Custom Overrides").arg(m_workspace.sourcePresets().size()));
    m_error->setText(m_inspector.sourceError().value_or(QString()));
    m_error->setVisible(m_inspector.sourceError().has_value());

    showSource();
}

void SourceInspectorPanel::showSource()
{
    const std::optional<QString> &selected = m_inspector.selected();
    if (!selected) {
        m_playing.clear();
        if (m_player)
            m_player->setSource(QUrl());
        m_preview->setCurrentIndex(placeholderPage);
        return;
    }
    if (m_inspector.sourceError()) {
        unplayable();
        return;
    }
    if (m_inspector.info() && !decodable(m_inspector.info()->codec)) {
        m_playing = *selected;
        unplayable();
    }
    if (!m_inspector.still().isEmpty()) {
        QPixmap picture;
        picture.loadFromData(m_inspector.still(), "PNG");
        m_still->setPixmap(picture.scaled(m_preview->size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    }
    // The player loads a source only where it can be seen: opening one builds a media pipeline
    // on the main thread, which a drop onto the Import page should not pay for.
    if (!isVisible() || *selected == m_playing)
        return;
    m_playing = *selected;
    m_still->clear();
    if (!m_player) {
        m_player = new QMediaPlayer(this);
        m_player->setVideoOutput(m_video);
        connect(m_player, &QMediaPlayer::errorOccurred, this, [this] { unplayable(); });
        connect(m_player, &QMediaPlayer::mediaStatusChanged, this, [this](QMediaPlayer::MediaStatus status) {
            if (status == QMediaPlayer::InvalidMedia)
                unplayable();
        });
        m_loading = new QTimer(this);
        m_loading->setSingleShot(true);
        m_loading->setInterval(loadingLimitMs);
        connect(m_loading, &QTimer::timeout, this, [this] {
            const QMediaPlayer::MediaStatus status = m_player->mediaStatus();
            if (status == QMediaPlayer::LoadingMedia || status == QMediaPlayer::NoMedia)
                unplayable();
        });
        connect(
            m_player, &QMediaPlayer::playbackStateChanged, this, [this](QMediaPlayer::PlaybackState state) {
                m_play->setLabel(
                    state == QMediaPlayer::PlayingState ? QStringLiteral("Pause") : QStringLiteral("Play"));
            });
    }
    m_preview->setCurrentIndex(playerPage);
    m_player->setSource(QUrl::fromLocalFile(*selected));
    m_loading->start();
}

void SourceInspectorPanel::showEvent(QShowEvent *event)
{
    PanelSurface::showEvent(event);
    showSource();
}

// The player cannot show this source: the engine renders a still of it instead.
void SourceInspectorPanel::unplayable()
{
    if (m_preview->currentIndex() == unavailablePage)
        return;
    if (m_player) {
        m_loading->stop();
        m_player->setSource(QUrl());
    }
    m_preview->setCurrentIndex(unavailablePage);
    if (m_inspector.selected() && !m_inspector.sourceError() && m_inspector.still().isEmpty())
        m_inspector.renderStill();
}

} // namespace vantor::ui
