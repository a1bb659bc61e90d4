#include "ingest/ExistingCopy.h"

#include "ingest/ChecksumService.h"

#include <QFileInfo>

namespace vantor::ExistingCopy {

bool sameSize(const QString &destination, qint64 bytes)
{
    const QFileInfo info(destination);
    return !info.isSymLink() && info.isFile() && info.size() == bytes;
}

bool matches(const QString &source, const QString &destination, ChecksumAlgorithm algorithm, JobControl &control)
{
    if (!sameSize(destination, QFileInfo(source).size()))
        return false;
    return ChecksumService::digest(source, algorithm, control) == ChecksumService::digest(destination, algorithm, control);
}

} // namespace vantor::ExistingCopy
