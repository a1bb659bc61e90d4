#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <vector>

namespace vantor {

// What a history covers in a folder: every file and folder below it except hidden entries,
// links (never followed) and the ascmhl/ folders themselves; paths relative, in byte order.
struct ScopeListing {
    struct Item {
        QString path;
        qint64 size = 0; // files only
        QDateTime modified;
    };
    std::vector<Item> files;
    std::vector<Item> folders;
    QStringList nestedScopes; // subfolders with a history of their own

    static ScopeListing of(const QString &scope); // the system's errors pass through
};

} // namespace vantor
