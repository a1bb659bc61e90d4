#include "mhl/ScopeListing.h"

#include "mhl/MhlHistory.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

namespace vantor {

namespace {

void walk(const QString &root, const QString &relative, ScopeListing &listing)
{
    const QDir folder(relative.isEmpty() ? root : root + QLatin1Char('/') + relative);
    if (!folder.isReadable())
        throwSystemError(EACCES, folder.path());
    const QFileInfoList entries = folder.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QFileInfo &entry : entries) {
        if (entry.fileName() == QLatin1String(MhlHistory::folderName))
            continue;
        const QString path = relative.isEmpty() ? entry.fileName() : relative + QLatin1Char('/') + entry.fileName();
        const ScopeListing::Item item{path, entry.isDir() ? 0 : entry.size(), entry.lastModified().toUTC()};
        if (entry.isDir()) {
            listing.folders.push_back(item);
            if (QFileInfo(entry.filePath() + QLatin1Char('/') + QLatin1String(MhlHistory::folderName)).isDir())
                listing.nestedScopes.append(path);
            walk(root, path, listing);
        } else {
            listing.files.push_back(item);
        }
    }
}

} // namespace

ScopeListing ScopeListing::of(const QString &scope)
{
    ScopeListing listing;
    walk(scope, QString(), listing);
    const auto byBytes = [](const Item &a, const Item &b) { return a.path.toUtf8() < b.path.toUtf8(); };
    std::sort(listing.files.begin(), listing.files.end(), byBytes);
    std::sort(listing.folders.begin(), listing.folders.end(), byBytes);
    return listing;
}

} // namespace vantor
