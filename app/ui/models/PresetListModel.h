#pragma once

#include "models/RecordListModel.h"
#include "presets/TranscodePreset.h"

#include <optional>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The stored presets, in stored order; the display text is the preset's display name.
class PresetListModel : public RecordListModel {
    Q_OBJECT
public:
    enum Role { IdRole = Qt::UserRole + 1 };

    explicit PresetListModel(Workspace &workspace, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    std::optional<TranscodePreset> at(int row) const;
    int rowOf(const QUuid &id) const; // -1 when not stored

private:
    void refresh();

    Workspace &m_workspace;
    std::vector<TranscodePreset> m_rows;
};

} // namespace vantor::ui
