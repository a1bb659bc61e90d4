#include "workspace/SourceProbe.h"

#include "base/JobControl.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "transcode/TranscodeService.h"

#include <QPointer>

namespace vantor {

SourceProbe::SourceProbe(QueueService &queue, QObject *parent)
    : QObject(parent), m_queue(queue), m_tasks(QStringLiteral("com.quillory.Vantor.source-probe"))
{
}

SourceProbe::~SourceProbe()
{
    if (m_control)
        m_control->cancel();
}

void SourceProbe::inspect(const QString &path)
{
    if (m_control)
        m_control->cancel();
    m_control.reset();
    const quint64 generation = ++m_generation;
    m_path = path;
    m_info.reset();
    m_error.reset();
    m_inspecting = !path.isEmpty();
    if (m_inspecting) {
        auto control = std::make_shared<JobControl>();
        m_control = control;
        const QString engine = m_queue.state().ffmpeg;
        QPointer<SourceProbe> self(this);
        m_tasks.post([self, control, path, engine, generation] {
            std::optional<MediaInfo> info;
            QString failure;
            try {
                if (control->isCancelled())
                    return;
                info = TranscodeService::probe(path, engine, *control);
            } catch (const VantorError &error) {
                failure = error.message();
            } catch (const std::exception &) {
                failure = QStringLiteral("The source could not be inspected.");
            }
            QMetaObject::invokeMethod(self, [self, info, failure, generation] {
                // A newer selection owns the page now; this answer is stale.
                if (!self || generation != self->m_generation)
                    return;
                self->m_inspecting = false;
                self->m_control.reset();
                self->m_info = info;
                if (!info)
                    self->m_error = failure;
                Q_EMIT self->changed();
            });
        });
    }
    Q_EMIT changed();
}

} // namespace vantor
