#include "ScreenshotTour.h"

#include "MainWindow.h"
#include "ingest/MediaIngestService.h"
#include "models/JobListModel.h"
#include "pages/ProcessedPreviewSheet.h"
#include "queue/QueueService.h"
#include "workspace/PreviewController.h"
#include "workspace/SourceInspector.h"
#include "workspace/Workspace.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QAbstractButton>
#include <QListView>
#include <QSlider>
#include <QTabWidget>
#include <QTextStream>

namespace vantor::ui {

namespace {

void settle(int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!deadline.hasExpired())
        QApplication::processEvents(QEventLoop::AllEvents, 20);
}

bool settleUntil(const std::function<bool()> &done, int milliseconds)
{
    const QDeadlineTimer deadline(milliseconds);
    while (!done() && !deadline.hasExpired())
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

void save(MainWindow &window, const QString &file)
{
    if (!window.grab().save(file))
        QTextStream(stderr) << "vantor: The picture could not be saved: " << file << '\n';
}

} // namespace

bool takeProcessedPreview(MainWindow &window, Workspace &workspace, const QString &source, const QString &file)
{
    const TranscodePreset kept = workspace.preset();
    TranscodePreset shown = kept;
    FinishingOptions finish = shown.finish();
    finish.burnFilename = true;
    finish.burnTimecode = true;
    shown.setFinish(finish);
    workspace.setPreset(shown);

    SourceInspector inspector(workspace);
    inspector.select(source);
    bool saved = false;
    if (settleUntil([&] { return !inspector.inspecting(); }, 20000) && inspector.info()) {
        ProcessedPreviewSheet sheet(workspace, inspector, &window);
        sheet.show();
        auto *position = sheet.findChild<QSlider *>(QStringLiteral("previewPosition"));
        position->setValue(position->maximum() / 2);
        sheet.findChild<QAbstractButton *>(QStringLiteral("renderFrame"))->click();
        if (settleUntil([&] { return !sheet.controller().busy(); }, 30000) && !sheet.controller().image().isEmpty()) {
            settle(300);
            saved = sheet.grab().save(file);
        }
        sheet.reject();
    }
    workspace.setPreset(kept);
    return saved;
}

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
    // The Import page's Copy tab shows a backup destination when the demo names one.
    const QString backup = qEnvironmentVariable("VANTOR_SCREENSHOT_BACKUP");
    if (!backup.isEmpty()) {
        workspace.addBackupFolder(backup);
        workspace.setCascade(true);
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
        save(window, QDir(folder).filePath(pageLabel(page).toLower() + QStringLiteral(".png")));
        if (page != Page::transcode)
            continue;
        // One picture per settings tab: "transcode-dimensions.png", ...
        if (auto *tabs = window.findChild<QTabWidget *>(QStringLiteral("settingsTabs"))) {
            for (int index = 0; index < tabs->count(); ++index) {
                tabs->setCurrentIndex(index);
                settle(200);
                const QString tab = tabs->tabText(index).toLower().remove(u'-');
                save(window, QDir(folder).filePath(QStringLiteral("transcode-") + tab + QStringLiteral(".png")));
            }
            tabs->setCurrentIndex(0);
        }
    }
    settleUntil([&] { return !workspace.scanning(); }, 20000);
    for (const SourceFile &source : workspace.sources()) {
        if (!MediaIngestService::isVideo(source.url))
            continue;
        const QString file = QDir(folder).filePath(QStringLiteral("processed-preview.png"));
        if (!takeProcessedPreview(window, workspace, source.url, file))
            QTextStream(stderr) << "vantor: The processed preview could not be pictured: " << file << '\n';
        break;
    }
    queue.prepareToQuit();
}

} // namespace vantor::ui
