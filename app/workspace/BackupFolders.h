#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace vantor::BackupFolders {

// The folder `chosen` as a backup destination beside `listed`: absolute and cleaned. Throws
// VantorError when it is missing, not a folder or not writable, already listed or nested with
// a listed one, or inside the project folder `project` or holding it.
QString checked(const QString &chosen, const QStringList &listed, const std::optional<QString> &project);

// Throws VantorError when `folder` is no longer a writable folder (its drive went away).
void assertAvailable(const QString &folder);

} // namespace vantor::BackupFolders
