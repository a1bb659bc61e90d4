#pragma once

#include <QStyledItemDelegate>

namespace vantor::ui {

// One queue row: the file's name and status, the operation and checksum, a progress bar with
// the elapsed and remaining time, and the failure when there is one. Every row has the same
// height, so long lists lay out at once.
class JobDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

} // namespace vantor::ui
