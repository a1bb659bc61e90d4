#include "models/SourceListModel.h"

#include "workspace/Workspace.h"

#include <QFileInfo>

namespace vantor::ui {

SourceListModel::SourceListModel(Workspace &workspace, QObject *parent)
    : QAbstractListModel(parent)
    , m_workspace(workspace)
{
    connect(&workspace, &Workspace::sourcesChanged, this, &SourceListModel::refresh);
    // Previews name the project, the counter and the plan's preset and operation.
    connect(&workspace, &Workspace::planChanged, this, &SourceListModel::refreshPreviews);
    connect(&workspace, &Workspace::projectFieldsChanged, this, &SourceListModel::refreshPreviews);
    refresh();
}

void SourceListModel::refresh()
{
    const std::vector<SourceFile> &fresh = m_workspace.sources();
    const int before = int(m_rows.size()), after = int(fresh.size());
    const auto same
        = [&](int old, int now) { return m_rows[std::size_t(old)].url == fresh[std::size_t(now)].url; };
    int head = 0;
    while (head < before && head < after && same(head, head))
        ++head;
    int tail = 0;
    while (tail < before - head && tail < after - head && same(before - 1 - tail, after - 1 - tail))
        ++tail;
    const int removed = before - head - tail, added = after - head - tail;
    if (removed > 0 && added > 0) {
        beginResetModel();
        m_rows = fresh;
        m_previews.assign(fresh.size(), std::nullopt);
        endResetModel();
        return;
    }
    if (removed > 0)
        beginRemoveRows({}, head, head + removed - 1);
    else if (added > 0)
        beginInsertRows({}, head, head + added - 1);
    m_rows = fresh;
    m_previews.assign(fresh.size(), std::nullopt); // counters follow the positions
    if (removed > 0)
        endRemoveRows();
    else if (added > 0)
        endInsertRows();
    // Every row after a removal has a new counter, so a new preview.
    if (removed > 0 && head < after)
        Q_EMIT dataChanged(index(head), index(after - 1), { OutputNameRole, Qt::AccessibleTextRole });
}

void SourceListModel::refreshPreviews()
{
    m_previews.assign(m_previews.size(), std::nullopt);
    if (!m_rows.empty())
        Q_EMIT dataChanged(
            index(0), index(int(m_rows.size()) - 1), { OutputNameRole, Qt::AccessibleTextRole });
}

int SourceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant SourceListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const SourceFile &source = m_rows[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return QFileInfo(source.url).fileName();
    case PathRole:
    case Qt::ToolTipRole:
        return source.url;
    case RelativeRole:
        return source.relative;
    case SizeRole:
        return source.size;
    case OutputNameRole:
        if (const std::optional<QString> name = preview(index.row()))
            return *name;
        return {};
    case Qt::AccessibleTextRole: {
        const std::optional<QString> name = preview(index.row());
        return QFileInfo(source.url).fileName() + (name ? QStringLiteral(", becomes ") + *name : QString());
    }
    default:
        return {};
    }
}

std::optional<QString> SourceListModel::preview(int row) const
{
    std::optional<std::optional<QString>> &known = m_previews[std::size_t(row)];
    if (!known)
        known = m_workspace.outputName(m_rows[std::size_t(row)], row);
    return *known;
}

QHash<int, QByteArray> SourceListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(PathRole, "path");
    names.insert(RelativeRole, "relative");
    names.insert(SizeRole, "size");
    names.insert(OutputNameRole, "outputName");
    return names;
}

void SourceListModel::remove(int row)
{
    if (row < 0 || row >= int(m_rows.size()))
        return;
    std::vector<SourceFile> sources = m_rows;
    sources.erase(sources.begin() + row);
    m_workspace.setSources(sources);
}

} // namespace vantor::ui
