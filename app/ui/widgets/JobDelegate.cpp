#include "widgets/JobDelegate.h"

#include "Theme.h"
#include "models/JobListModel.h"

#include <QApplication>
#include <QPainter>

namespace vantor::ui {

QSize JobDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    const int line = option.fontMetrics.height();
    return {line * 20, line * 4 + Theme::space(4)};
}

void JobDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QPalette &palette = option.palette;
    const bool selected = option.state & QStyle::State_Selected;
    const QRect cell = option.rect.adjusted(0, 0, 0, -1);
    if (selected)
        painter->fillRect(cell, Theme::mix(palette.color(QPalette::Base), palette.color(QPalette::Highlight), 0.22));
    painter->fillRect(QRect(cell.left(), cell.bottom(), cell.width(), 1), Theme::rule());

    const int pad = Theme::space(3);
    const QFontMetrics metrics = option.fontMetrics;
    const int line = metrics.height();
    const QRect area = cell.adjusted(pad, Theme::space(2), -pad, -Theme::space(2));
    const JobStatus status = JobStatus::Value(index.data(JobListModel::StatusRole).toInt());

    // Line 1: name, status on the right.
    QFont bold = option.font;
    bold.setWeight(QFont::DemiBold);
    const QString statusLabel = index.data(JobListModel::StatusLabelRole).toString();
    const int statusWidth = QFontMetrics(Theme::eyebrowFont()).horizontalAdvance(statusLabel) + pad;
    painter->setFont(bold);
    painter->setPen(palette.color(QPalette::Text));
    const QRect nameRect(area.left(), area.top(), area.width() - statusWidth, line);
    painter->drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(bold).elidedText(index.data().toString(), Qt::ElideMiddle, nameRect.width()));
    painter->setFont(Theme::eyebrowFont());
    painter->setPen(Theme::statusColour(status));
    painter->drawText(QRect(area.right() - statusWidth, area.top(), statusWidth, line), Qt::AlignRight | Qt::AlignVCenter,
                      statusLabel);

    // Line 2: operation and checksum.
    painter->setFont(Theme::captionFont());
    painter->setPen(Theme::mutedText());
    QString detail = index.data(JobListModel::OperationRole).toString();
    const QString checksum = index.data(JobListModel::ChecksumRole).toString();
    if (!checksum.isEmpty())
        detail += QStringLiteral("  \u00B7  ") + checksum;
    painter->drawText(QRect(area.left(), area.top() + line, area.width(), line), Qt::AlignLeft | Qt::AlignVCenter, detail);

    // Line 3: progress bar, elapsed and remaining.
    const QString times = index.data(JobListModel::ElapsedRole).toString() + QStringLiteral("    ") +
                          index.data(JobListModel::RemainingRole).toString();
    const int timesWidth = QFontMetrics(Theme::captionFont()).horizontalAdvance(times) + pad;
    const int barHeight = std::max(4, line / 4);
    const QRectF bar(area.left(), area.top() + line * 2 + (line - barHeight) / 2.0, area.width() - timesWidth, barHeight);
    painter->setPen(Qt::NoPen);
    painter->setBrush(Theme::rule());
    painter->drawRoundedRect(bar, barHeight / 2.0, barHeight / 2.0);
    const double progress = std::clamp(index.data(JobListModel::ProgressRole).toDouble(), 0.0, 1.0);
    if (progress > 0) {
        painter->setBrush(Theme::statusColour(status == JobStatus::waiting ? JobStatus::copying : status));
        QRectF done = bar;
        done.setWidth(std::max(bar.height(), bar.width() * progress));
        painter->drawRoundedRect(done, barHeight / 2.0, barHeight / 2.0);
    }
    painter->setPen(Theme::mutedText());
    painter->drawText(QRect(area.right() - timesWidth, area.top() + line * 2, timesWidth, line),
                      Qt::AlignRight | Qt::AlignVCenter, times);

    // Line 4: the failure, when there is one.
    const QString error = index.data(JobListModel::ErrorRole).toString();
    if (!error.isEmpty()) {
        painter->setPen(Theme::errorColour());
        const QRect errorRect(area.left(), area.top() + line * 3, area.width(), line);
        painter->drawText(errorRect, Qt::AlignLeft | Qt::AlignVCenter,
                          QFontMetrics(Theme::captionFont()).elidedText(error.section(u'\n', 0, 0), Qt::ElideRight,
                                                                        errorRect.width()));
    }
    painter->restore();
}

} // namespace vantor::ui
