#pragma once

#include "files/FileGrant.h"
#include "base/Timestamp.h"

#include <QString>

namespace vantor {

// One media file found by a scan; not persisted.
struct SourceFile {
    QString url;      // absolute path of the file (a file URL in JSON)
    QString relative; // below the folder or card that was added; the name alone for a lone file
    FileGrant grant;
    qint64 size = 0;
    Timestamp modified;
};

} // namespace vantor
