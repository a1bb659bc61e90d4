#pragma once

#include <QStyledItemDelegate>

namespace vantor::ui {

// One source row: the file's name and where it sits on the card, its size, the name its copy or
// transcode will get, and an "xmark" that asks for the row's removal. Every row has the same
// height, so a card of thousands of files lays out at once.
class SourceDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(
        QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    // Where a row's remove mark sits, for a row drawn in `row`.
    static QRect removeRect(const QRect &row);

Q_SIGNALS:
    void removeRequested(int row);

protected:
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
        const QModelIndex &index) override;
};

} // namespace vantor::ui
