#include "widgets/DropZone.h"

#include "Theme.h"
#include "widgets/QuietButton.h"

#include <QDragEnterEvent>
#include <QLabel>
#include <QMimeData>
#include <QPainter>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

// The arrow pointing down onto a line, drawn in the text colour so it follows the palette.
class DropIcon : public QWidget {
public:
    explicit DropIcon(QWidget *parent)
        : QWidget(parent)
    {
        setFixedSize(Theme::lineHeight() * 2, Theme::lineHeight() * 2);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(
            Theme::mutedText(), std::max(1.5, width() / 16.0), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        const double w = width(), h = height();
        painter.drawLine(QPointF(w / 2, h * 0.15), QPointF(w / 2, h * 0.65));
        painter.drawPolyline(
            QPolygonF({ QPointF(w * 0.3, h * 0.45), QPointF(w / 2, h * 0.65), QPointF(w * 0.7, h * 0.45) }));
        painter.drawLine(QPointF(w * 0.22, h * 0.85), QPointF(w * 0.78, h * 0.85));
    }
};

} // namespace

DropZone::DropZone(QWidget *parent)
    : PanelSurface(parent)
    , m_browse(new QuietButton(QStringLiteral("Browse media\u2026"), this))
{
    setObjectName(QStringLiteral("dropZone"));
    setAccessibleName(QStringLiteral("Drop files, folders or a camera card"));
    setAcceptDrops(true);
    m_browse->setObjectName(QStringLiteral("browseMedia"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(1));
    layout->setContentsMargins(Theme::space(4), Theme::space(4), Theme::space(4), Theme::space(4));
    auto *icon = new DropIcon(this);
    icon->setObjectName(QStringLiteral("dropIcon"));
    layout->addWidget(icon, 0, Qt::AlignHCenter);
    auto *title = new QLabel(QStringLiteral("Drop files, folders or a camera card"), this);
    title->setObjectName(QStringLiteral("dropTitle"));
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    title->setFont(bold);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    auto *detail = new QLabel(QStringLiteral("Folder hierarchy and card sidecars are retained."), this);
    detail->setObjectName(QStringLiteral("dropDetail"));
    detail->setFont(Theme::captionFont());
    detail->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(detail, 0, Qt::AlignHCenter);
    layout->addSpacing(Theme::space(1));
    layout->addWidget(m_browse, 0, Qt::AlignHCenter);
}

QStringList DropZone::localPaths(const QMimeData *data)
{
    if (!data || !data->hasUrls())
        return {};
    QStringList paths;
    for (const QUrl &url : data->urls()) {
        if (!url.isLocalFile())
            return {};
        paths << url.toLocalFile();
    }
    return paths;
}

void DropZone::dragEnterEvent(QDragEnterEvent *event)
{
    if (localPaths(event->mimeData()).isEmpty())
        return;
    event->acceptProposedAction();
    m_hovered = true;
    update();
}

void DropZone::dragLeaveEvent(QDragLeaveEvent *)
{
    m_hovered = false;
    update();
}

void DropZone::dropEvent(QDropEvent *event)
{
    m_hovered = false;
    update();
    const QStringList paths = localPaths(event->mimeData());
    if (paths.isEmpty())
        return;
    event->acceptProposedAction();
    Q_EMIT dropped(paths);
}

void DropZone::paintEvent(QPaintEvent *event)
{
    PanelSurface::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // A dashed outline says "drop here"; it takes the accent while something hovers over it.
    QPen pen(m_hovered ? Theme::accent() : Theme::rule(), m_hovered ? 2 : 1, Qt::DashLine);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const int radius = Theme::space(2);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1.5, 1.5, -1.5, -1.5), radius, radius);
}

} // namespace vantor::ui
