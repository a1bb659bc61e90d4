#include "models/BackupFolderModel.h"

#include "workspace/Workspace.h"

#include <QDir>

namespace vantor::ui {

BackupFolderModel::BackupFolderModel(Workspace &workspace, QObject *parent)
    : QAbstractListModel(parent), m_workspace(workspace), m_rows(workspace.backupFolders())
{
    connect(&workspace, &Workspace::planChanged, this, &BackupFolderModel::refresh);
}

void BackupFolderModel::refresh()
{
    const QStringList &fresh = m_workspace.backupFolders();
    // The rows the two lists share at their ends stay; what lies between is removed, then inserted.
    int head = 0;
    while (head < m_rows.size() && head < fresh.size() && m_rows[head] == fresh[head])
        ++head;
    int tail = 0;
    while (tail < m_rows.size() - head && tail < fresh.size() - head
           && m_rows[m_rows.size() - 1 - tail] == fresh[fresh.size() - 1 - tail])
        ++tail;
    const int removed = int(m_rows.size()) - head - tail;
    const int added = int(fresh.size()) - head - tail;
    if (removed > 0) {
        beginRemoveRows({}, head, head + removed - 1);
        m_rows.remove(head, removed);
        endRemoveRows();
    }
    if (added > 0) {
        beginInsertRows({}, head, head + added - 1);
        for (int row = head; row < head + added; ++row)
            m_rows.insert(row, fresh[row]);
        endInsertRows();
    }
}

int BackupFolderModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant BackupFolderModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const QString &path = m_rows[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
    case Qt::ToolTipRole:
        return QDir::toNativeSeparators(path);
    case PathRole:
        return path;
    default:
        return {};
    }
}

} // namespace vantor::ui
