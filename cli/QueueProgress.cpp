#include "QueueProgress.h"

#include "ingest/VolumeSpace.h"
#include "queue/QueueService.h"

#include <QFileInfo>

namespace vantor::cli {

namespace {

// The phase's name on the status line, and the bytes it moves: verifying reads both files.
std::pair<QString, qint64> phaseOf(const MediaJob &job)
{
    switch (job.status.value) {
    case JobStatus::copying:
        return {QStringLiteral("copy"), job.bytes};
    case JobStatus::verifying:
        return {QStringLiteral("verify"), 2 * job.bytes};
    case JobStatus::transcoding:
        return {QStringLiteral("transcode"), job.bytes};
    case JobStatus::paused:
        return {QStringLiteral("paused"), 0};
    default:
        return {QString(), 0};
    }
}

} // namespace

QueueProgress::QueueProgress(QueueService &queue)
    : m_queue(queue), m_bar(QString())
{
    for (const MediaJob &job : queue.state().jobs) {
        if (!job.status.final()) {
            m_run.insert(job.id);
            m_bytes += job.bytes;
        }
    }
    m_connection = QObject::connect(&queue.repository(), &StateRepository::jobChanged, &queue,
                                    [this](const QUuid &id) { changed(id); });
}

QueueProgress::~QueueProgress()
{
    QObject::disconnect(m_connection);
}

void QueueProgress::changed(const QUuid &id)
{
    if (const MediaJob *changed = m_queue.repository().job(id); changed && m_run.contains(id)) {
        const MediaJob &job = *changed;
        if (job.status.final() && !m_ended.contains(job.id)) {
            m_ended.insert(job.id);
            m_endedBytes += job.bytes;
            if (job.status == JobStatus::failed)
                ++m_failures;
            m_bar.print(QStringLiteral("[%1/%2, %3 of %4] %5  %6%7")
                            .arg(m_ended.size())
                            .arg(m_run.size())
                            .arg(VolumeSpace::byteText(m_endedBytes), VolumeSpace::byteText(m_bytes),
                                 job.status.rawValue(), job.source,
                                 job.error ? QStringLiteral(": ") + *job.error : QString()));
        } else if (m_queue.activeID() == job.id && !job.status.final()) {
            const auto [phase, phaseBytes] = phaseOf(job);
            m_bar.update(ProgressBar::Snapshot{QFileInfo(job.source).fileName(), phase, job.phaseProgress, phaseBytes,
                                               int(m_ended.size()), int(m_run.size()),
                                               m_endedBytes + qint64(job.progress * double(job.bytes)), m_bytes,
                                               job.bytes / qint64(job.phases().size())});
        }
    }
}

} // namespace vantor::cli
