#pragma once

#include "jobs/MediaJob.h"

#include <QAbstractListModel>

namespace vantor::ui {

// Where one job's copy goes: the project copy first, then each backup folder, each with its
// folder, its state ("Verified", "Failed: " and the message, "Waiting", "Copied later from the
// first copy") and its digest once known.
class DestinationListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { FolderRole = Qt::UserRole + 1, StateRole, HashRole };
    struct Line {
        QString folder, state, hash;
        bool operator==(const Line &) const = default;
    };

    using QAbstractListModel::QAbstractListModel;

    // The lines of `job`; none for a job that makes no copy.
    static std::vector<Line> lines(const MediaJob &job);
    // Shows `job`'s lines, or none; rows that stay are updated in place.
    void show(const MediaJob *job);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    std::vector<Line> m_lines;
};

} // namespace vantor::ui
