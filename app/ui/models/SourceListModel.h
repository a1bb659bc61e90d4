#pragma once

#include "jobs/SourceFile.h"

#include <QAbstractListModel>
#include <optional>
#include <vector>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The workspace's source list, one row per scanned file with its previewed output name. Rows
// follow the list by the smallest change (an appended scan inserts, a removal removes); a change
// of the naming or the plan re-reads the previews only.
class SourceListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { PathRole = Qt::UserRole + 1, RelativeRole, SizeRole, OutputNameRole };

    explicit SourceListModel(Workspace &workspace, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Takes the row's file off the workspace's list.
    void remove(int row);

private:
    void refresh();
    void refreshPreviews();
    std::optional<QString> preview(int row) const;

    Workspace &m_workspace;
    // The rows as the view was told of them: between a change's begin and end the view still
    // reads the rows it knows.
    std::vector<SourceFile> m_rows;
    // Previews of the rows painted so far, built on first use: a long card pays only for the
    // rows on screen, and each repaint of those reads them back.
    mutable std::vector<std::optional<std::optional<QString>>> m_previews;
};

} // namespace vantor::ui
