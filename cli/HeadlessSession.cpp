#include "HeadlessSession.h"

#include "CommandLine.h"
#include "ProgressBar.h"

#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QFileInfo>
#include <QSet>
#include <QTextStream>

namespace vantor::cli {

HeadlessSession::HeadlessSession()
    : m_interrupt([this] {
          // From the watcher's thread: the loop is left on its own thread.
          QMetaObject::invokeMethod(&m_loop, [this] { m_loop.exit(exitInterrupted); }, Qt::QueuedConnection);
      })
{
}

HeadlessSession::~HeadlessSession() = default;

void HeadlessSession::reportProgress(Workspace &workspace)
{
    QueueService &queue = workspace.queue();
    auto finished = std::make_shared<QSet<QUuid>>();
    for (const MediaJob &job : queue.state().jobs) {
        if (job.status.final())
            finished->insert(job.id);
    }
    QObject::connect(&queue, &QueueService::jobsChanged, &m_loop, [this, &queue, finished] {
        for (const MediaJob &job : queue.state().jobs) {
            const QString id = job.id.toString();
            if (job.status.active() && queue.activeID() == job.id) {
                if (m_barJob != id) {
                    m_bar = std::make_unique<ProgressBar>(QFileInfo(job.source).fileName());
                    m_barJob = id;
                }
                m_bar->update(job.progress);
            }
            if (job.status.final() && !finished->contains(job.id)) {
                finished->insert(job.id);
                if (m_barJob == id) {
                    m_bar->finish();
                    m_bar.reset();
                    m_barJob.clear();
                }
                QTextStream err(stderr);
                err << job.status.rawValue() << "  " << job.source;
                if (job.error)
                    err << ": " << *job.error;
                err << '\n';
            }
        }
    });
}

int HeadlessSession::quit(Workspace &workspace)
{
    if (m_bar)
        m_bar->finish();
    workspace.queue().prepareToQuit();
    workspace.queue().flushSaves();
    printError(QStringLiteral("Interrupted. The queue was saved; unfinished jobs can be retried."));
    return exitInterrupted;
}

} // namespace vantor::cli
