#pragma once

#include <QByteArray>
#include <QString>
#include <vector>

namespace vantor::AtomicFile {

// Replaces the file at `path` with `data` so that a crash at any moment leaves either the old
// file or the new one, whole: a hidden temporary file in the same folder is written, synced and
// closed (each checked), renamed over the target, and the folder is synced. On failure the
// temporary file is removed and the old file is untouched. The folder must exist.
void replace(const QString &path, const QByteArray &data);
// The same with the content given in pieces, written one after the other.
void replace(const QString &path, const std::vector<QByteArray> &pieces);

// Makes `path` and its missing parents, syncing each parent that received a new entry.
void makeFolders(const QString &path);

} // namespace vantor::AtomicFile
