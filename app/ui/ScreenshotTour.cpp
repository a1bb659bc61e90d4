#include "ScreenshotTour.h"

#include "MainWindow.h"
#include "models/JobListModel.h"
#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QListView>
#include <QTextStream>

namespace vantor::ui {

namespace {

void settle(int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!deadline.hasExpired())
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

} // namespace

void takeScreenshots(MainWindow &window, Workspace &workspace, const QString &folder)
{
    QDir().mkpath(folder);
    QueueService &queue = workspace.queue();
    const auto waiting = std::any_of(queue.state().jobs.begin(), queue.state().jobs.end(),
                                     [](const MediaJob &job) { return job.status == JobStatus::waiting; });
    if (waiting) {
        queue.start();
        const QDeadlineTimer deadline(20000);
        const auto busy = [&] {
            const auto id = queue.activeID();
            if (!id)
                return false;
            for (const MediaJob &job : queue.state().jobs) {
                if (job.id == *id)
                    return job.progress > 0.15 && job.elapsed > 1;
            }
            return false;
        };
        while (!busy() && !deadline.hasExpired())
            QApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    // Cards passed on the command line are still being scanned; the Import page shows them listed.
    const QDeadlineTimer scanned(20000);
    while (workspace.scanning() && !scanned.hasExpired())
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    for (const Page page : {Page::queue, Page::ingest, Page::transcode, Page::project, Page::settings}) {
        workspace.setPage(page);
        if (page == Page::queue) {
            if (auto *list = window.findChild<QListView *>(QStringLiteral("queue-jobs"))) {
                const int row = queue.activeID() ? static_cast<JobListModel *>(list->model())->row(*queue.activeID()) : 0;
                list->setCurrentIndex(list->model()->index(std::max(row, 0), 0));
            }
        }
        settle(400);
        const QString file = QDir(folder).filePath(pageLabel(page).toLower() + QStringLiteral(".png"));
        if (!window.grab().save(file))
            QTextStream(stderr) << "vantor: The picture could not be saved: " << file << '\n';
    }
    queue.prepareToQuit();
}

} // namespace vantor::ui
