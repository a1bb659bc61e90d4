#include "models/SourceListModel.h"

#include "workspace/Workspace.h"

#include <QFileInfo>

namespace vantor::ui {

SourceListModel::SourceListModel(Workspace &workspace, QObject *parent)
    : QAbstractListModel(parent), m_workspace(workspace)
{
    connect(&workspace, &Workspace::sourcesChanged, this, &SourceListModel::refresh);
    // Previews name the project, the counter and the plan's preset and operation.
    connect(&workspace, &Workspace::planChanged, this, &SourceListModel::refreshPreviews);
    connect(&workspace, &Workspace::projectFieldsChanged, this, &SourceListModel::refreshPreviews);
    refresh();
}

void SourceListModel::refresh()
{
    const std::vector<SourceFile> &sources = m_workspace.sources();
    QStringList fresh;
    fresh.reserve(qsizetype(sources.size()));
    for (const SourceFile &source : sources)
        fresh << source.url;
    const int before = int(m_paths.size()), after = int(fresh.size());
    int head = 0;
    while (head < before && head < after && m_paths[head] == fresh[head])
        ++head;
    int tail = 0;
    while (tail < before - head && tail < after - head && m_paths[before - 1 - tail] == fresh[after - 1 - tail])
        ++tail;
    const int removed = before - head - tail, added = after - head - tail;
    m_previews.assign(fresh.size(), std::nullopt); // counters follow the positions
    if (removed > 0 && added > 0) {
        beginResetModel();
        m_paths = fresh;
        endResetModel();
        return;
    }
    if (removed > 0) {
        beginRemoveRows({}, head, head + removed - 1);
        m_paths = fresh;
        endRemoveRows();
    } else if (added > 0) {
        beginInsertRows({}, head, head + added - 1);
        m_paths = fresh;
        endInsertRows();
    }
    // Counters follow the position, so every row after a removal has a new preview.
    if (removed > 0 && head < after)
        Q_EMIT dataChanged(index(head), index(after - 1), {OutputNameRole, Qt::AccessibleTextRole});
}

void SourceListModel::refreshPreviews()
{
    m_previews.assign(m_previews.size(), std::nullopt);
    if (!m_paths.isEmpty())
        Q_EMIT dataChanged(index(0), index(int(m_paths.size()) - 1), {OutputNameRole, Qt::AccessibleTextRole});
}

int SourceListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_paths.size());
}

QVariant SourceListModel::data(const QModelIndex &index, int role) const
{
    const std::vector<SourceFile> &sources = m_workspace.sources();
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)
        || index.row() >= int(sources.size()))
        return {};
    const SourceFile &source = sources[std::size_t(index.row())];
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
    if (row >= int(m_previews.size())) // asked before the list's change reached the model
        return m_workspace.outputName(m_workspace.sources()[std::size_t(row)], row);
    std::optional<std::optional<QString>> &known = m_previews[std::size_t(row)];
    if (!known)
        known = m_workspace.outputName(m_workspace.sources()[std::size_t(row)], row);
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
    std::vector<SourceFile> sources = m_workspace.sources();
    if (row < 0 || row >= int(sources.size()))
        return;
    sources.erase(sources.begin() + row);
    m_workspace.setSources(sources);
}

} // namespace vantor::ui
