#include "ingest/VolumeSpace.h"

#include "base/VantorError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <algorithm>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace vantor::VolumeSpace {

namespace {

std::optional<dev_t> device(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    return info.st_dev;
}

// The nearest existing folder at or above `path`.
QString existingFolder(QString path)
{
    while (!QFileInfo(path).isDir() && path != QLatin1String("/"))
        path = QFileInfo(path).path();
    return path;
}

// The mount point: the highest folder above `folder` still on its device.
QString mountPoint(const QString &folder, dev_t id)
{
    QString point = folder;
    while (point != QLatin1String("/")) {
        const QString parent = QFileInfo(point).path();
        if (device(parent) != id)
            break;
        point = parent;
    }
    return point;
}

} // namespace

std::vector<Demand> demand(const std::vector<MediaJob> &jobs)
{
    std::vector<Demand> volumes;
    std::vector<dev_t> devices;
    for (const MediaJob &job : jobs) {
        if (!job.copyDestination)
            continue;
        const QString folder = existingFolder(QFileInfo(QDir::cleanPath(*job.copyDestination)).path());
        const std::optional<dev_t> id = device(folder);
        if (!id)
            continue; // unknown: the copy itself reports what it finds
        const auto found = std::find(devices.begin(), devices.end(), *id);
        if (found != devices.end()) {
            volumes[std::size_t(found - devices.begin())].needed += job.bytes;
            continue;
        }
        Demand entry{mountPoint(folder, *id), job.bytes, std::nullopt};
        struct statvfs space {};
        if (::statvfs(QFile::encodeName(folder).constData(), &space) == 0)
            entry.available = qint64(space.f_bavail) * qint64(space.f_frsize);
        devices.push_back(*id);
        volumes.push_back(entry);
    }
    return volumes;
}

void assertFits(const std::vector<MediaJob> &jobs)
{
    for (const Demand &volume : demand(jobs)) {
        if (volume.available && *volume.available < volume.needed)
            throw VantorError(QStringLiteral("Not enough space on %1 for this ingest: %2 needed, %3 free.")
                                  .arg(volume.volume, byteText(volume.needed), byteText(*volume.available)));
    }
}

QString byteText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace vantor::VolumeSpace
