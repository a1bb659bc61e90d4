#pragma once

#include "ProgressBar.h"

#include <QMetaObject>
#include <QSet>
#include <QUuid>

namespace vantor {
class QueueService;
}

namespace vantor::cli {

// Reports a run of the queue on stderr: the running job's status line on a terminal, and on a
// terminal or a log one line for each job that ends, with the run's files and bytes so far. The
// run is every job not yet ended when the report starts.
class QueueProgress {
public:
    explicit QueueProgress(QueueService &queue);
    ~QueueProgress();
    QueueProgress(const QueueProgress &) = delete;
    QueueProgress &operator=(const QueueProgress &) = delete;

    int failures() const { return m_failures; }
    void finish() { m_bar.finish(); }

private:
    void changed(const QUuid &id);

    QueueService &m_queue;
    ProgressBar m_bar;
    QSet<QUuid> m_run, m_ended;
    qint64 m_bytes = 0, m_endedBytes = 0;
    int m_failures = 0;
    QMetaObject::Connection m_connection;
};

} // namespace vantor::cli
