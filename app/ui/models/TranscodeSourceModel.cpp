#include "models/TranscodeSourceModel.h"

#include "workspace/Workspace.h"

#include <QFileInfo>

namespace vantor::ui {

TranscodeSourceModel::TranscodeSourceModel(Workspace &workspace, bool checkable, QObject *parent)
    : RecordListModel(parent), m_workspace(workspace), m_checkable(checkable)
{
    connect(&workspace, &Workspace::sourcesChanged, this, &TranscodeSourceModel::refresh);
    refresh();
}

void TranscodeSourceModel::refresh()
{
    const QMap<QString, TranscodePreset> &overrides = m_workspace.sourcePresets();
    std::vector<Row> fresh;
    fresh.reserve(m_workspace.sources().size());
    QSet<QString> listed;
    for (const SourceFile &source : m_workspace.sources()) {
        const auto found = overrides.constFind(source.url);
        const bool custom = found != overrides.constEnd();
        fresh.push_back({source.url, QFileInfo(source.url).fileName(),
                         custom ? found->displayName() : QStringLiteral("Global Settings"), custom});
        listed.insert(source.url);
    }
    m_checked.intersect(listed);
    replaceRows(m_rows, fresh);
}

int TranscodeSourceModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant TranscodeSourceModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row &row = m_rows[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return m_checkable ? row.name + QStringLiteral(" \u00B7 ") + row.settings : row.name;
    case Qt::AccessibleTextRole:
        return row.name + QStringLiteral(", ") + row.settings;
    case Qt::ToolTipRole:
    case UrlRole:
        return row.id;
    case SettingsRole:
        return row.settings;
    case CustomRole:
        return row.custom;
    case Qt::CheckStateRole:
        return m_checkable ? QVariant(m_checked.contains(row.id) ? Qt::Checked : Qt::Unchecked) : QVariant();
    default:
        return {};
    }
}

bool TranscodeSourceModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!m_checkable || role != Qt::CheckStateRole
        || !checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return false;
    const QString &url = m_rows[std::size_t(index.row())].id;
    if (value.toInt() == Qt::Checked)
        m_checked.insert(url);
    else
        m_checked.remove(url);
    Q_EMIT dataChanged(index, index, {Qt::CheckStateRole});
    return true;
}

Qt::ItemFlags TranscodeSourceModel::flags(const QModelIndex &index) const
{
    Qt::ItemFlags flags = QAbstractListModel::flags(index);
    if (m_checkable && index.isValid())
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QHash<int, QByteArray> TranscodeSourceModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert(UrlRole, "url");
    names.insert(SettingsRole, "settings");
    names.insert(CustomRole, "custom");
    return names;
}

QStringList TranscodeSourceModel::checked() const
{
    QStringList urls;
    for (const Row &row : m_rows) {
        if (m_checked.contains(row.id))
            urls << row.id;
    }
    return urls;
}

void TranscodeSourceModel::checkAll(bool on)
{
    m_checked.clear();
    if (on) {
        for (const Row &row : m_rows)
            m_checked.insert(row.id);
    }
    if (!m_rows.empty())
        Q_EMIT dataChanged(index(0), index(int(m_rows.size()) - 1), {Qt::CheckStateRole});
}

} // namespace vantor::ui
