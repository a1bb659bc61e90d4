#include "widgets/SourceDelegate.h"

#include "Theme.h"
#include "models/SourceListModel.h"

#include <QLocale>
#include <QMouseEvent>
#include <QPainter>

namespace vantor::ui {

QSize SourceDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    const int line = option.fontMetrics.height();
    return { line * 20, line * 2 + Theme::space(3) };
}

QRect SourceDelegate::removeRect(const QRect &row)
{
    const int side = std::min(row.height(), Theme::lineHeight() * 2);
    return { row.right() - side - Theme::space(1), row.top() + (row.height() - side) / 2, side, side };
}

void SourceDelegate::paint(
    QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QPalette &palette = option.palette;
    const QRect cell = option.rect.adjusted(0, 0, 0, -1);
    if (option.state & QStyle::State_Selected)
        painter->fillRect(
            cell, Theme::mix(palette.color(QPalette::Base), palette.color(QPalette::Highlight), 0.22));
    painter->fillRect(QRect(cell.left(), cell.bottom(), cell.width(), 1), Theme::rule());

    const QRect remove = removeRect(option.rect);
    const int pad = Theme::space(3);
    const int line = option.fontMetrics.height();
    const QRect area(cell.left() + pad, cell.top() + Theme::space(1), remove.left() - cell.left() - pad * 2,
        cell.height() - Theme::space(2));

    // Line 1: name, the folder it came from, its size on the right.
    const QString size = QLocale().formattedDataSize(
        index.data(SourceListModel::SizeRole).toLongLong(), 1, QLocale::DataSizeSIFormat);
    const QFontMetrics caption(Theme::captionFont());
    const int sizeWidth = caption.horizontalAdvance(size) + pad;
    QFont bold = option.font;
    bold.setWeight(QFont::DemiBold);
    const QString name = index.data().toString();
    const QString relative = index.data(SourceListModel::RelativeRole).toString();
    const QString folder = relative.contains(u'/') ? relative.section(u'/', 0, -2) : QString();
    const int nameWidth
        = std::min(QFontMetrics(bold).horizontalAdvance(name) + Theme::space(1), area.width() - sizeWidth);
    painter->setFont(bold);
    painter->setPen(palette.color(QPalette::Text));
    painter->drawText(QRect(area.left(), area.top(), nameWidth, line), Qt::AlignLeft | Qt::AlignVCenter,
        QFontMetrics(bold).elidedText(name, Qt::ElideMiddle, nameWidth));
    painter->setFont(Theme::captionFont());
    painter->setPen(Theme::mutedText());
    const QRect folderRect(
        area.left() + nameWidth + pad, area.top(), area.width() - nameWidth - pad - sizeWidth, line);
    if (!folder.isEmpty() && folderRect.width() > 0)
        painter->drawText(folderRect, Qt::AlignLeft | Qt::AlignVCenter,
            caption.elidedText(folder, Qt::ElideLeft, folderRect.width()));
    painter->drawText(QRect(area.right() - sizeWidth, area.top(), sizeWidth, line),
        Qt::AlignRight | Qt::AlignVCenter, size);

    // Line 2: the name of the copy or transcode, or why there is none.
    const QVariant output = index.data(SourceListModel::OutputNameRole);
    const QString preview = output.isValid()
        ? QStringLiteral("\u2192 ") + output.toString()
        : QStringLiteral("No output name: the naming pattern cannot be used");
    painter->setPen(output.isValid() ? Theme::mutedText() : Theme::errorColour());
    painter->drawText(QRect(area.left(), area.top() + line, area.width(), line),
        Qt::AlignLeft | Qt::AlignVCenter, caption.elidedText(preview, Qt::ElideMiddle, area.width()));

    // The remove mark.
    painter->setPen(QPen(
        option.state & QStyle::State_MouseOver ? palette.color(QPalette::Text) : Theme::mutedText(), 1.5));
    const QRectF mark = QRectF(remove).adjusted(
        remove.width() * 0.34, remove.height() * 0.34, -remove.width() * 0.34, -remove.height() * 0.34);
    painter->drawLine(mark.topLeft(), mark.bottomRight());
    painter->drawLine(mark.topRight(), mark.bottomLeft());
    painter->restore();
}

bool SourceDelegate::editorEvent(
    QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::LeftButton
            && removeRect(option.rect).contains(mouse->position().toPoint())) {
            Q_EMIT removeRequested(index.row());
            return true;
        }
    }
    return QStyledItemDelegate::editorEvent(event, model, option, index);
}

} // namespace vantor::ui
