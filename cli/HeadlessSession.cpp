#include "HeadlessSession.h"

#include "CommandLine.h"
#include "QueueProgress.h"

#include "queue/QueueService.h"
#include "workspace/Workspace.h"

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
    m_progress = std::make_unique<QueueProgress>(workspace.queue());
}

int HeadlessSession::quit(Workspace &workspace)
{
    if (m_progress)
        m_progress->finish();
    workspace.queue().prepareToQuit();
    workspace.queue().flushSaves();
    printError(QStringLiteral("Interrupted. The queue was saved; unfinished jobs can be retried."));
    return exitInterrupted;
}

} // namespace vantor::cli
