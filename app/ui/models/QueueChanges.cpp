#include "models/QueueChanges.h"

#include "queue/QueueService.h"

namespace vantor::ui {

QueueChanges::QueueChanges(QueueService &queue, QObject *parent) : QObject(parent)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(intervalMs);
    connect(&queue, &QueueService::jobsChanged, this, [this] {
        if (m_quiet.isActive()) {
            m_pending = true;
            return;
        }
        m_quiet.start();
        Q_EMIT changed();
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
