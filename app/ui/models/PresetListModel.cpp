#include "models/PresetListModel.h"

#include "queue/QueueService.h"
#include "workspace/Workspace.h"

namespace vantor::ui {

PresetListModel::PresetListModel(Workspace &workspace, QObject *parent)
    : RecordListModel(parent), m_workspace(workspace), m_rows(workspace.queue().state().presets)
{
    // Saving a preset changes the current preset; removing one that is not current only
    // reports a notice.
    connect(&workspace, &Workspace::planChanged, this, &PresetListModel::refresh);
    connect(&workspace, &Workspace::noticeChanged, this, &PresetListModel::refresh);
}

void PresetListModel::refresh() { replaceRows(m_rows, m_workspace.queue().state().presets); }

int PresetListModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_rows.size()); }

QVariant PresetListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const TranscodePreset &preset = m_rows[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
        return preset.displayName();
    case Qt::ToolTipRole:
        return preset.codec.rawValue() + QStringLiteral(" \u00B7 ") + preset.container.toUpper();
    case IdRole:
        return preset.id;
    default:
        return {};
    }
}

QHash<int, QByteArray> PresetListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(IdRole, "id");
    return names;
}

std::optional<TranscodePreset> PresetListModel::at(int row) const
{
    if (row < 0 || row >= int(m_rows.size()))
        return std::nullopt;
    return m_rows[std::size_t(row)];
}

int PresetListModel::rowOf(const QUuid &id) const
{
    for (std::size_t row = 0; row < m_rows.size(); ++row) {
        if (m_rows[row].id == id)
            return int(row);
    }
    return -1;
}

} // namespace vantor::ui
