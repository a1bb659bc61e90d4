#pragma once

#include <QAbstractListModel>
#include <vector>

namespace vantor::ui {

// A list model over records with an `id`, kept in step with the state by the smallest change:
// an inserted or removed block of rows and one dataChanged per changed row, a reset only when
// rows were both added and removed at once.
class RecordListModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

protected:
    template <typename Record> void replaceRows(std::vector<Record> &rows, const std::vector<Record> &fresh)
    {
        const int before = int(rows.size());
        const int after = int(fresh.size());
        int head = 0;
        while (head < before && head < after && rows[head].id == fresh[head].id)
            ++head;
        int tail = 0;
        while (tail < before - head && tail < after - head
               && rows[before - 1 - tail].id == fresh[after - 1 - tail].id)
            ++tail;
        const int removed = before - head - tail;
        const int added = after - head - tail;
        if (removed > 0 && added > 0) {
            beginResetModel();
            rows = fresh;
            endResetModel();
            return;
        }
        if (removed > 0) {
            beginRemoveRows({}, head, head + removed - 1);
            rows.erase(rows.begin() + head, rows.begin() + head + removed);
            endRemoveRows();
        } else if (added > 0) {
            beginInsertRows({}, head, head + added - 1);
            rows.insert(rows.begin() + head, fresh.begin() + head, fresh.begin() + head + added);
            endInsertRows();
        }
        for (int row = 0; row < after; ++row) {
            if (!(rows[row] == fresh[row])) {
                rows[row] = fresh[row];
                Q_EMIT dataChanged(index(row), index(row));
            }
        }
    }
};

} // namespace vantor::ui
