#pragma once

#include "jobs/MediaJob.h"
#include "state/StateRepository.h"

#include <QAbstractListModel>
#include <QHash>

namespace vantor {
class QueueService;
}

namespace vantor::ui {

// The queue's jobs in queue order, following the state's per-job signals: added and removed
// jobs become row insertions and removals, a move a row move, and an update one dataChanged for
// that row and the roles it changed, so a progress tick never resets the list.
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
        DestinationsRole, // one line per destination, as DestinationListModel shows them
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
    void insert(int first, int last);
    void remove(const QList<QUuid> &ids);
    void move(int from, int to);
    void change(const QUuid &id, JobChanges what);

    StateRepository &m_state;
    std::vector<MediaJob> m_jobs; // the rows as views last heard of them
    mutable std::size_t m_lastRow = 0;
};

} // namespace vantor::ui
