#pragma once

#include <QAbstractListModel>
#include <QStringList>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The Import plan's backup folders, in the order added; follows the workspace by inserting and
// removing rows, never by a reset.
class BackupFolderModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { PathRole = Qt::UserRole + 1 };

    explicit BackupFolderModel(Workspace &workspace, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    void refresh();

    Workspace &m_workspace;
    QStringList m_rows;
};

} // namespace vantor::ui
