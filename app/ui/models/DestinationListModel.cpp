#include "models/DestinationListModel.h"

#include <QDir>

namespace vantor::ui {

namespace {

// One destination's state. A failure of the whole job (its source could not be read, say)
// reaches each destination that has no outcome of its own.
QString stateOf(const MediaJob &job, bool committed, const std::optional<QString> &error, bool deferred)
{
    if (committed)
        return job.checksum ? QStringLiteral("Verified") : QStringLiteral("Copied");
    if (error)
        return QStringLiteral("Failed: ") + *error;
    if (deferred)
        return QStringLiteral("Copied later from the first copy");
    if (job.status == JobStatus::failed)
        return QStringLiteral("Failed: ") + job.error.value_or(QStringLiteral("The job failed."));
    if (job.status == JobStatus::cancelled)
        return QStringLiteral("Cancelled");
    if (job.status.active())
        return QStringLiteral("Copying");
    return QStringLiteral("Waiting");
}

} // namespace

std::vector<DestinationListModel::Line> DestinationListModel::lines(const MediaJob &job)
{
    std::vector<Line> lines;
    if (!job.copyDestination)
        return lines;
    lines.push_back({job.destinationRoot, stateOf(job, job.copyCommitted, std::nullopt, false),
                     job.copyCommitted ? job.destinationHash.value_or(QString()) : QString()});
    for (const BackupCopy &backup : job.backups)
        lines.push_back({backup.root, stateOf(job, backup.committed, backup.error, backup.deferred),
                         backup.committed ? backup.hash.value_or(QString()) : QString()});
    return lines;
}

void DestinationListModel::show(const MediaJob *job)
{
    const std::vector<Line> fresh = job ? lines(*job) : std::vector<Line>();
    if (fresh.size() != m_lines.size()) {
        beginResetModel(); // another job: its rows have nothing in common with these
        m_lines = fresh;
        endResetModel();
        return;
    }
    for (std::size_t row = 0; row < fresh.size(); ++row) {
        if (!(fresh[row] == m_lines[row])) {
            m_lines[row] = fresh[row];
            Q_EMIT dataChanged(index(int(row)), index(int(row)));
        }
    }
}

int DestinationListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_lines.size());
}

QVariant DestinationListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Line &line = m_lines[std::size_t(index.row())];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: {
        QStringList parts{QDir::toNativeSeparators(line.folder), line.state};
        if (!line.hash.isEmpty())
            parts << line.hash;
        return parts.join(QStringLiteral("  \u00B7  "));
    }
    case Qt::ToolTipRole:
        return QDir::toNativeSeparators(line.folder);
    case FolderRole:
        return line.folder;
    case StateRole:
        return line.state;
    case HashRole:
        return line.hash;
    default:
        return {};
    }
}

} // namespace vantor::ui
