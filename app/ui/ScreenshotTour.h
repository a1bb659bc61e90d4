#pragma once

#include <QString>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class MainWindow;

// For the documentation's pictures: shows every page in turn, saves each as PNG in `folder`
// (import.png, transcode.png, queue.png, project.png, settings.png, and processed-preview.png when
// a video source was opened) and quits. When jobs wait, the
// queue runs first, so the Queue page is taken with a job in progress. The folder named by
// VANTOR_SCREENSHOT_BACKUP, when set, is listed among the Import plan's backup destinations.
void takeScreenshots(MainWindow &window, Workspace &workspace, const QString &folder);

// Shows the processed preview of `source` over the window with file name and timecode burn-ins,
// renders a frame, saves the sheet's picture as `file` and closes the sheet (its render goes with
// it). The workspace's preset is left as it was. False when no frame could be rendered.
bool takeProcessedPreview(MainWindow &window, Workspace &workspace, const QString &source, const QString &file);

} // namespace vantor::ui
