#pragma once

#include "models/RecordListModel.h"

#include <QSet>
#include <QStringList>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// The workspace's sources as the Transcode page lists them: the file's name and whether it
// keeps its own settings ("Global Settings" when it does not). Rows can be checked for the
// batch actions; the checks belong to the view's user, not to the workspace.
class TranscodeSourceModel : public RecordListModel {
    Q_OBJECT
public:
    enum Role { UrlRole = Qt::UserRole + 1, SettingsRole, CustomRole };

    TranscodeSourceModel(Workspace &workspace, bool checkable, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QHash<int, QByteArray> roleNames() const override;

    QStringList checked() const; // URLs, in list order
    void checkAll(bool on);

    struct Row {
        QString id; // the source's URL
        QString name;
        QString settings;
        bool custom = false;
        bool operator==(const Row &) const = default;
    };

private:
    void refresh();

    Workspace &m_workspace;
    bool m_checkable;
    std::vector<Row> m_rows;
    QSet<QString> m_checked;
};

} // namespace vantor::ui
