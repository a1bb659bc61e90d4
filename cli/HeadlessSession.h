#pragma once

#include "InterruptWatcher.h"

#include <QEventLoop>
#include <QObject>
#include <functional>
#include <memory>

namespace vantor {
class Workspace;
}

namespace vantor::cli {

class QueueProgress;

// Runs a workspace without a window: the event loop turns until what the command waits for has
// happened, and SIGINT or SIGTERM end it as quitting the window does (the running job is
// cancelled, the state saved and flushed). Construct it before the workspace, so the signals
// are blocked before any of the workspace's threads starts.
class HeadlessSession {
public:
    HeadlessSession();
    ~HeadlessSession();

    // Turns the event loop until `done` holds, checking it whenever `sender` emits `signal`.
    // Returns false when interrupted.
    template <typename Sender, typename Signal> bool waitFor(Sender *sender, Signal signal, std::function<bool()> done)
    {
        if (done())
            return !m_interrupt.interrupted();
        const QMetaObject::Connection connection = QObject::connect(sender, signal, &m_loop, [this, done] {
            if (done())
                m_loop.exit(0);
        });
        const int code = m_loop.exec();
        QObject::disconnect(connection);
        return code == 0;
    }

    // Turns the event loop until an interrupt.
    void waitForInterrupt() { m_loop.exec(); }

    // Shows the running job's progress on stderr and a line for each job that ends.
    void reportProgress(Workspace &workspace);
    // The quit sequence after an interrupt: cancel, save, flush. Returns the exit code; throws
    // the save's failure when the queue could not be saved.
    int quit(Workspace &workspace);

private:
    QEventLoop m_loop;
    InterruptWatcher m_interrupt;
    std::unique_ptr<QueueProgress> m_progress;
};

} // namespace vantor::cli
