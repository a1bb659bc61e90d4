#pragma once

#include <QString>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class MainWindow;

// For the documentation's pictures: shows every page in turn, saves each as PNG in `folder`
// (import.png, transcode.png, queue.png, project.png, settings.png) and quits. When jobs wait, the
// queue runs first, so the Queue page is taken with a job in progress.
void takeScreenshots(MainWindow &window, Workspace &workspace, const QString &folder);

} // namespace vantor::ui
