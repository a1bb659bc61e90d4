#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <ctime>
#include <sys/types.h>
#include <vector>

namespace vantor {

// Lists a folder tree with the values a scan needs, reading its subfolders in parallel.
namespace FolderListing {

// An entry found below the listed folder, with the values read while listing it.
struct Entry {
    QByteArray path; // the listed folder's path, a slash, the path below it
    mode_t type = 0; // the S_IFMT bits
    qint64 size = 0;
    timespec modified{};
};

// Every entry below the open folder except folders themselves, hidden entries and everything
// inside hidden folders, in byte order of path. Links are listed, never followed. The first
// error stops the listing and is thrown as std::system_error naming the entry.
std::vector<Entry> list(int folder, const QByteArray &folderPath);

} // namespace FolderListing

} // namespace vantor
