#pragma once

#include "models/RecordListModel.h"
#include "projects/WatchFolder.h"

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The folder-automation rules, in stored order. Each row shows the watched folder, the
// destination and "Preset: " with the preset's name, and is checked while the rule is enabled;
// checking or unchecking a row enables or disables its rule (saved at once).
class WatchRuleModel : public RecordListModel {
    Q_OBJECT
public:
    enum Role { IdRole = Qt::UserRole + 1, SourceRole, DestinationRole, PresetRole, EnabledRole };

    explicit WatchRuleModel(Workspace &workspace, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    void refresh();

    Workspace &m_workspace;
    std::vector<WatchFolder> m_rows;
};

} // namespace vantor::ui
