#include "WindowApp.h"

#include "AppIcon.h"
#include "DialogChoices.h"
#include "MainWindow.h"
#include "ScreenshotTour.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "queue/JobPhases.h"
#include "automation/WatchFolderService.h"
#include "platform/RemovableVolumes.h"
#include "queue/CardTracker.h"
#include "workspace/Workspace.h"

#include <QApplication>
#include <QMessageBox>
#include <memory>

namespace vantor::ui {

int runWindow(const QStringList &received)
{
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Vantor"));
    QGuiApplication::setDesktopFileName(QStringLiteral("com.quillory.Vantor"));
    QApplication::setWindowIcon(appIcon());
    DialogChoices choices;
    std::unique_ptr<Workspace> workspace;
    try {
        workspace = std::make_unique<Workspace>(StateStore::directory(), runJobPhases, &choices);
    } catch (const VantorError &error) {
        QMessageBox::critical(nullptr, QStringLiteral("Vantor"), error.message());
        return 1;
    }
    MainWindow window(*workspace);
    choices.setParent(&window);
    workspace->cards().judgeEnded(); // the history's cards get their verdicts too
    if (!received.isEmpty()) {
        // The Import page shows the scan while it runs, not only its result.
        workspace->setPage(Page::ingest);
        workspace->receive(received, Page::ingest);
    }
    window.show();
    const QString pictures = qEnvironmentVariable("VANTOR_SCREENSHOT_DIR");
    if (!pictures.isEmpty()) {
        takeScreenshots(window, *workspace, pictures);
        return 0;
    }
    workspace->watcher()->start(); // folder automation runs while the window is open
    workspace->volumes().start();   // and cards arriving are offered
    return QApplication::exec();
}

} // namespace vantor::ui
