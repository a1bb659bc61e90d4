#include "models/WatchRuleModel.h"

#include "automation/WatchFolderService.h"
#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QDir>

namespace vantor::ui {

WatchRuleModel::WatchRuleModel(Workspace &workspace, QObject *parent)
    : RecordListModel(parent), m_workspace(workspace), m_rows(workspace.queue().state().watches)
{
    connect(workspace.watcher(), &WatchFolderService::rulesChanged, this, &WatchRuleModel::refresh);
}

void WatchRuleModel::refresh()
{
    replaceRows(m_rows, m_workspace.queue().state().watches);
}

int WatchRuleModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant WatchRuleModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const WatchFolder &rule = m_rows[std::size_t(index.row())];
    const QString source = QDir::toNativeSeparators(rule.source.path);
    const QString destination = QDir::toNativeSeparators(rule.destination.path);
    const QString preset = QStringLiteral("Preset: ") + rule.preset.name;
    switch (role) {
    case Qt::DisplayRole:
        return source + QStringLiteral("\n\u2192 ") + destination + QLatin1Char('\n') + preset;
    case Qt::AccessibleTextRole:
        return source + QStringLiteral(", to ") + destination + QStringLiteral(", ") + preset;
    case Qt::CheckStateRole:
        return rule.enabled ? Qt::Checked : Qt::Unchecked;
    case IdRole:
        return rule.id;
    case SourceRole:
        return rule.source.path;
    case DestinationRole:
        return rule.destination.path;
    case PresetRole:
        return rule.preset.name;
    case EnabledRole:
        return rule.enabled;
    default:
        return {};
    }
}

bool WatchRuleModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole
        || !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return false;
    // The row follows once the service reports the saved change.
    m_workspace.watcher()->setEnabled(m_rows[std::size_t(index.row())].id,
                                      value.toInt() == Qt::Checked);
    return true;
}

Qt::ItemFlags WatchRuleModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable | Qt::ItemNeverHasChildren;
}

QHash<int, QByteArray> WatchRuleModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(IdRole, "id");
    names.insert(SourceRole, "source");
    names.insert(DestinationRole, "destination");
    names.insert(PresetRole, "preset");
    names.insert(EnabledRole, "enabled");
    return names;
}

} // namespace vantor::ui
