#include "models/QueueChanges.h"

#include "queue/QueueService.h"

namespace vantor::ui {

QueueChanges::QueueChanges(QueueService &queue, QObject *parent) : QObject(parent)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(intervalMs);
    const auto pass = [this] {
        if (m_quiet.isActive()) {
            m_pending = true;
            return;
        }
        m_quiet.start();
        Q_EMIT changed();
    };
    StateRepository &state = queue.repository();
    connect(&state, &StateRepository::jobsInserted, this, pass);
    connect(&state, &StateRepository::jobsRemoved, this, pass);
    connect(&state, &StateRepository::jobMoved, this, pass);
    connect(&state, &StateRepository::jobChanged, this, [pass](const QUuid &, JobChanges what) {
        if (what & ~JobChanges(JobChange::progress | JobChange::timing))
            pass();
    });
    connect(&m_quiet, &QTimer::timeout, this, [this] {
        if (!m_pending)
            return;
        m_pending = false;
        m_quiet.start();
        Q_EMIT changed();
    });
}

} // namespace vantor::ui
