#pragma once

#include "jobs/MediaJob.h"

#include <QWidget>
#include <array>

class QLabel;

namespace vantor::ui {

// The queue's jobs counted by state: one figure per state with its label ("WAITING", ...).
class StatusCounts : public QWidget {
    Q_OBJECT
public:
    // `columns` figures per row; children are named `prefix` + "-" + the lower-case state.
    StatusCounts(const QString &prefix, int columns, QWidget *parent = nullptr);
    void update(const std::vector<MediaJob> &jobs);
    qint64 count(JobStatus status) const { return m_counts[status.value]; }

private:
    std::array<qint64, JobStatus::allCases.size()> m_counts{};
    std::array<QLabel *, JobStatus::allCases.size()> m_figures{};
};

} // namespace vantor::ui
