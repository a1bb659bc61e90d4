#pragma once

#include "jobs/MediaJob.h"

#include <QFile>
#include <QFileInfo>
#include <sys/stat.h>

// A verified xxHash64 copy job of `source` to `target`, as the queue would make it.
inline vantor::MediaJob copyBenchJob(const QString &source, const QString &target)
{
    using namespace vantor;
    struct stat info {};
    ::stat(QFile::encodeName(source).constData(), &info);
    const QString root = QFileInfo(target).path();
    return MediaJob::make(source, FileGrant(source), root, FileGrant(root), target, std::nullopt, JobOperation::copy,
                          std::nullopt, ChecksumAlgorithm::xxHash, qint64(info.st_size), Timestamp::fromTimespec(info.st_mtim));
}
