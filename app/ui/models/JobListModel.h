#pragma once

#include "jobs/MediaJob.h"

#include <QAbstractListModel>
#include <QHash>

namespace vantor {
class QueueService;
}

namespace vantor::ui {

// The queue's jobs in queue order. On each change of the queue (at most one per QueueChanges
// interval) it compares its copy with the queue's jobs by id: added and removed jobs become row insertions and removals, reordered ones
// row moves, and only the rows whose job changed report dataChanged, so a progress tick never
// resets the list.
class JobListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        OperationRole,    // "Copy & organize", ...
        ChecksumRole,     // the algorithm's label when the job verifies, else empty
        StatusRole,       // JobStatus::Value as int
        StatusLabelRole,  // "WAITING", ...
        ProgressRole,     // 0...1
        ElapsedRole,      // "Elapsed 00:01:02"
        RemainingRole,    // "Remaining ~00:00:10"
        SourceRole,       // full path
        DestinationRole,  // the output, else the copy, else the source
        HashRole,         // source and destination digests when known
        ErrorRole,
    };

    explicit JobListModel(QueueService &queue, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    const MediaJob &job(int row) const { return m_jobs[std::size_t(row)]; }
    int row(const QUuid &id) const; // -1 when absent

    // "%02d:%02d:%02d" of whole seconds.
    static QString duration(double seconds);
    // The time left from the job's progress and elapsed time; none before any progress.
    static std::optional<double> remaining(const MediaJob &job);

private:
    void sync();
    void syncMembership(const std::vector<MediaJob> &jobs);
    void removeGone(const QSet<QUuid> &kept);
    void reorder(const std::vector<MediaJob> &jobs, const QSet<QUuid> &known);
    void insertNew(const std::vector<MediaJob> &jobs, const QSet<QUuid> &known);
    void updateChanged(const std::vector<MediaJob> &jobs);

    QueueService &m_queue;
    std::vector<MediaJob> m_jobs;
};

} // namespace vantor::ui
