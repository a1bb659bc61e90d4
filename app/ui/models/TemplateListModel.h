#pragma once

#include "models/RecordListModel.h"
#include "projects/ProjectTemplate.h"

#include <optional>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The stored project templates, in stored order; the display text is the template's name.
class TemplateListModel : public RecordListModel {
    Q_OBJECT
public:
    enum Role { IdRole = Qt::UserRole + 1, FoldersRole };

    explicit TemplateListModel(Workspace &workspace, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    std::optional<ProjectTemplate> at(int row) const;
    int rowOf(const std::optional<QUuid> &id) const; // -1 when not listed

private:
    void refresh();

    Workspace &m_workspace;
    std::vector<ProjectTemplate> m_rows;
};

} // namespace vantor::ui
