#include "models/TemplateListModel.h"

#include "queue/QueueService.h"
#include "workspace/Workspace.h"

namespace vantor::ui {

TemplateListModel::TemplateListModel(Workspace &workspace, QObject *parent)
    : RecordListModel(parent), m_workspace(workspace), m_rows(workspace.queue().state().templates)
{
    // Templates are stored by the template actions, each of which reports templateChanged.
    connect(&workspace, &Workspace::templateChanged, this, &TemplateListModel::refresh);
}

void TemplateListModel::refresh()
{
    replaceRows(m_rows, m_workspace.queue().state().templates);
}

int TemplateListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant TemplateListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const ProjectTemplate &entry = m_rows[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return entry.name;
    case Qt::ToolTipRole:
        return entry.folders.join(QLatin1Char('\n'));
    case IdRole:
        return entry.id;
    case FoldersRole:
        return entry.folders;
    default:
        return {};
    }
}

QHash<int, QByteArray> TemplateListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(IdRole, "id");
    names.insert(FoldersRole, "folders");
    return names;
}

std::optional<ProjectTemplate> TemplateListModel::at(int row) const
{
    if (row < 0 || row >= int(m_rows.size()))
        return std::nullopt;
    return m_rows[std::size_t(row)];
}

int TemplateListModel::rowOf(const std::optional<QUuid> &id) const
{
    for (std::size_t row = 0; id && row < m_rows.size(); ++row) {
        if (m_rows[row].id == *id)
            return int(row);
    }
    return -1;
}

} // namespace vantor::ui
