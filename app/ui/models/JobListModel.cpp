#include "models/JobListModel.h"

#include "models/DestinationListModel.h"
#include "queue/QueueService.h"

#include <QSet>

#include <algorithm>

namespace vantor::ui {

namespace {

// The roles that show what an update changed.
QList<int> rolesOf(JobChanges what)
{
    QList<int> roles;
    if (what & JobChange::progress)
        roles << JobListModel::ProgressRole << JobListModel::ElapsedRole << JobListModel::RemainingRole;
    if (what & JobChange::status)
        roles << JobListModel::StatusRole << JobListModel::StatusLabelRole << JobListModel::RemainingRole;
    if (what & JobChange::message)
        roles << JobListModel::ErrorRole;
    if (what & JobChange::digests)
        roles << JobListModel::HashRole;
    // A destination's outcome may be all that changed: it is among the records.
    if (what & (JobChange::status | JobChange::message | JobChange::digests | JobChange::records))
        roles << JobListModel::DestinationsRole;
    if (what & JobChange::paths)
        roles << Qt::DisplayRole << Qt::ToolTipRole << JobListModel::SourceRole << JobListModel::DestinationRole;
    std::sort(roles.begin(), roles.end());
    roles.erase(std::unique(roles.begin(), roles.end()), roles.end());
    return roles;
}

} // namespace

JobListModel::JobListModel(QueueService &queue, QObject *parent) : QAbstractListModel(parent), m_state(queue.repository())
{
    m_jobs = m_state.jobs();
    connect(&m_state, &StateRepository::jobsInserted, this, &JobListModel::insert);
    connect(&m_state, &StateRepository::jobsRemoved, this, &JobListModel::remove);
    connect(&m_state, &StateRepository::jobMoved, this, &JobListModel::move);
    connect(&m_state, &StateRepository::jobChanged, this, &JobListModel::change);
}

int JobListModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_jobs.size()); }

QHash<int, QByteArray> JobListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "id"}, {OperationRole, "operation"}, {ChecksumRole, "checksum"}, {StatusRole, "status"},
                  {StatusLabelRole, "statusLabel"}, {ProgressRole, "progress"}, {ElapsedRole, "elapsed"},
                  {RemainingRole, "remaining"}, {SourceRole, "source"}, {DestinationRole, "destination"},
                  {HashRole, "hash"}, {ErrorRole, "error"}, {DestinationsRole, "destinations"}});
    return names;
}

QString JobListModel::duration(double seconds)
{
    const qint64 whole = qint64(std::max(0.0, seconds));
    return QString::asprintf("%02lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
}

std::optional<double> JobListModel::remaining(const MediaJob &job)
{
    if (job.status == JobStatus::complete)
        return 0.0;
    if (job.status.final() || job.progress <= 0 || job.elapsed <= 0)
        return std::nullopt;
    return job.elapsed * (1 - job.progress) / job.progress;
}

QVariant JobListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const MediaJob &job = m_jobs[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return job.source.section(u'/', -1);
    case Qt::ToolTipRole:
    case SourceRole:
        return job.source;
    case IdRole:
        return job.id;
    case OperationRole:
        return job.operation.rawValue();
    case ChecksumRole:
        return job.checksum ? job.checksum->rawValue() : QString();
    case StatusRole:
        return int(job.status.value);
    case StatusLabelRole:
        return job.status.rawValue();
    case ProgressRole:
        return job.progress;
    case ElapsedRole:
        return QStringLiteral("Elapsed ") + duration(job.elapsed);
    case RemainingRole: {
        const std::optional<double> left = remaining(job);
        return QStringLiteral("Remaining ~") + (left ? duration(*left) : QStringLiteral("--:--:--"));
    }
    case DestinationRole:
        return job.destination();
    case HashRole: {
        QStringList digests;
        if (job.sourceHash)
            digests << *job.sourceHash;
        if (job.destinationHash)
            digests << *job.destinationHash;
        return digests.join(QStringLiteral(" \u2192 "));
    }
    case ErrorRole:
        return job.error.value_or(QString());
    case DestinationsRole: {
        QStringList lines;
        for (const DestinationListModel::Line &line : DestinationListModel::lines(job))
            lines << line.folder + u' ' + line.state;
        return lines;
    }
    default:
        return {};
    }
}

int JobListModel::row(const QUuid &id) const
{
    // The running job reports again and again: its row is looked at first.
    if (m_lastRow < m_jobs.size() && m_jobs[m_lastRow].id == id)
        return int(m_lastRow);
    for (std::size_t i = 0; i < m_jobs.size(); ++i) {
        if (m_jobs[i].id == id) {
            m_lastRow = i;
            return int(i);
        }
    }
    return -1;
}

void JobListModel::insert(int first, int last)
{
    const std::vector<MediaJob> &jobs = m_state.jobs();
    beginInsertRows(QModelIndex(), first, last);
    m_jobs.insert(m_jobs.begin() + first, jobs.begin() + first, jobs.begin() + last + 1);
    endInsertRows();
}

void JobListModel::remove(const QList<QUuid> &ids)
{
    const QSet<QUuid> gone(ids.begin(), ids.end());
    // From the end, one removal per run of adjacent rows.
    int row = int(m_jobs.size()) - 1;
    while (row >= 0) {
        if (!gone.contains(m_jobs[std::size_t(row)].id)) {
            --row;
            continue;
        }
        const int last = row;
        while (row > 0 && gone.contains(m_jobs[std::size_t(row - 1)].id))
            --row;
        beginRemoveRows(QModelIndex(), row, last);
        m_jobs.erase(m_jobs.begin() + row, m_jobs.begin() + last + 1);
        endRemoveRows();
        --row;
    }
}

void JobListModel::move(int from, int to)
{
    // Qt names the row before which the moved row lands, counted before the move.
    beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    if (from < to)
        std::rotate(m_jobs.begin() + from, m_jobs.begin() + from + 1, m_jobs.begin() + to + 1);
    else
        std::rotate(m_jobs.begin() + to, m_jobs.begin() + from, m_jobs.begin() + from + 1);
    endMoveRows();
}

void JobListModel::change(const QUuid &id, JobChanges what)
{
    const int at = row(id);
    const MediaJob *job = m_state.job(id);
    if (at < 0 || !job)
        return;
    m_jobs[std::size_t(at)] = *job;
    const QList<int> roles = rolesOf(what);
    if (!roles.isEmpty())
        Q_EMIT dataChanged(index(at), index(at), roles);
}

} // namespace vantor::ui
