#include "models/JobListModel.h"

#include "models/QueueChanges.h"
#include "queue/QueueService.h"

#include <QSet>

#include <algorithm>

namespace vantor::ui {

namespace {

// What a row shows: a job whose fields here are unchanged keeps its row untouched.
bool sameView(const MediaJob &a, const MediaJob &b)
{
    return a.status == b.status && a.progress == b.progress && a.phaseProgress == b.phaseProgress &&
           a.elapsed == b.elapsed && a.error == b.error && a.sourceHash == b.sourceHash &&
           a.destinationHash == b.destinationHash && a.source == b.source &&
           a.copyDestination == b.copyDestination && a.outputDestination == b.outputDestination &&
           a.operation == b.operation && a.checksum == b.checksum;
}

} // namespace

JobListModel::JobListModel(QueueService &queue, QObject *parent) : QAbstractListModel(parent), m_queue(queue)
{
    m_jobs = queue.state().jobs;
    connect(new QueueChanges(queue, this), &QueueChanges::changed, this, &JobListModel::sync);
}

int JobListModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_jobs.size()); }

QHash<int, QByteArray> JobListModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractListModel::roleNames();
    names.insert({{IdRole, "id"}, {OperationRole, "operation"}, {ChecksumRole, "checksum"}, {StatusRole, "status"},
                  {StatusLabelRole, "statusLabel"}, {ProgressRole, "progress"}, {ElapsedRole, "elapsed"},
                  {RemainingRole, "remaining"}, {SourceRole, "source"}, {DestinationRole, "destination"},
                  {HashRole, "hash"}, {ErrorRole, "error"}});
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
    default:
        return {};
    }
}

int JobListModel::row(const QUuid &id) const
{
    for (std::size_t i = 0; i < m_jobs.size(); ++i) {
        if (m_jobs[i].id == id)
            return int(i);
    }
    return -1;
}

void JobListModel::sync()
{
    const std::vector<MediaJob> &jobs = m_queue.state().jobs;
    // Most changes are progress: the same jobs in the same order need no id sets, which
    // would cost thousands of hashes on every refresh.
    const bool sameJobs = jobs.size() == m_jobs.size()
        && std::equal(jobs.begin(), jobs.end(), m_jobs.begin(),
                      [](const MediaJob &a, const MediaJob &b) { return a.id == b.id; });
    if (!sameJobs)
        syncMembership(jobs);
    updateChanged(jobs);
}

void JobListModel::syncMembership(const std::vector<MediaJob> &jobs)
{
    QSet<QUuid> current;
    current.reserve(qsizetype(jobs.size()));
    for (const MediaJob &job : jobs)
        current.insert(job.id);
    removeGone(current);
    QSet<QUuid> known;
    known.reserve(qsizetype(m_jobs.size()));
    for (const MediaJob &job : m_jobs)
        known.insert(job.id);
    reorder(jobs, known);
    insertNew(jobs, known);
}

void JobListModel::removeGone(const QSet<QUuid> &kept)
{
    // From the end, one removal per run of adjacent rows.
    int row = int(m_jobs.size()) - 1;
    while (row >= 0) {
        if (kept.contains(m_jobs[std::size_t(row)].id)) {
            --row;
            continue;
        }
        const int last = row;
        while (row > 0 && !kept.contains(m_jobs[std::size_t(row - 1)].id))
            --row;
        beginRemoveRows(QModelIndex(), row, last);
        m_jobs.erase(m_jobs.begin() + row, m_jobs.begin() + last + 1);
        endRemoveRows();
        --row;
    }
}

void JobListModel::reorder(const std::vector<MediaJob> &jobs, const QSet<QUuid> &known)
{
    int target = 0;
    for (const MediaJob &job : jobs) {
        if (!known.contains(job.id))
            continue;
        if (m_jobs[std::size_t(target)].id != job.id) {
            int from = target + 1;
            while (m_jobs[std::size_t(from)].id != job.id)
                ++from;
            beginMoveRows(QModelIndex(), from, from, QModelIndex(), target);
            std::rotate(m_jobs.begin() + target, m_jobs.begin() + from, m_jobs.begin() + from + 1);
            endMoveRows();
        }
        ++target;
    }
}

void JobListModel::insertNew(const std::vector<MediaJob> &jobs, const QSet<QUuid> &known)
{
    std::size_t row = 0;
    while (row < jobs.size()) {
        if (known.contains(jobs[row].id)) {
            ++row;
            continue;
        }
        std::size_t end = row;
        while (end < jobs.size() && !known.contains(jobs[end].id))
            ++end;
        beginInsertRows(QModelIndex(), int(row), int(end) - 1);
        m_jobs.insert(m_jobs.begin() + qsizetype(row), jobs.begin() + qsizetype(row), jobs.begin() + qsizetype(end));
        endInsertRows();
        row = end;
    }
}

void JobListModel::updateChanged(const std::vector<MediaJob> &jobs)
{
    std::size_t row = 0;
    while (row < jobs.size()) {
        if (sameView(m_jobs[row], jobs[row])) {
            ++row;
            continue;
        }
        const std::size_t first = row;
        while (row < jobs.size() && !sameView(m_jobs[row], jobs[row])) {
            m_jobs[row] = jobs[row];
            ++row;
        }
        Q_EMIT dataChanged(index(int(first)), index(int(row) - 1));
    }
}

} // namespace vantor::ui
