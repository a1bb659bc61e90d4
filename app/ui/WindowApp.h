#pragma once

#include <QStringList>

namespace vantor::ui {

// Opens the main window on the support folder's workspace and runs until it closes. `received`
// are paths or file URLs the launcher passed; they arrive on the Import page. Needs a
// QApplication. Returns the process's exit status.
int runWindow(const QStringList &received);

} // namespace vantor::ui
