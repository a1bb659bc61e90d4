#pragma once

#include "jobs/SourceFile.h"

#include <QString>
#include <functional>

namespace vantor {

class QueueService;
class Workspace;

// The built-in end-to-end self-test. It drives the real queue, the real core services and the
// real media engine against the disposable support folder named by VANTOR_SUPPORT_DIR, and turns
// each broken guarantee into a VantorError with a fixed message. It runs on the main thread and
// turns the event loop whenever it waits, so the queue works exactly as in normal use.
class NativeSmoke {
public:
    using Printer = std::function<void(const QString &line)>;

    // `print` receives the run's own PASS and SKIP lines as they happen.
    explicit NativeSmoke(Printer print);

    // Returns when every stage passed; throws VantorError (or the system's error) otherwise.
    void run();

    // Turns the event loop until `queue` has no running work; throws VantorError
    // "Queue did not finish within 40 seconds." when that takes longer.
    static void wait(QueueService &queue);

private:
    void makeFixture();
    void queueAndRestore();
    void standaloneTranscode(Workspace &workspace);
    void batchRetrySleepAndReorder(Workspace &workspace);
    bool hardwareEncoding(Workspace &workspace);
    void persistenceLoad(QueueService &queue);

    Printer m_print;
    QString m_support;
    QString m_engine;
    QString m_fixture;
    SourceFile m_source;
};

} // namespace vantor
