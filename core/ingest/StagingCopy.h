#pragma once

#include "base/FileIo.h"
#include "files/FileGrant.h"
#include "files/SafeFiles.h"
#include "jobs/MediaJob.h"

#include <QByteArray>
#include <QString>
#include <sys/stat.h>

namespace vantor {

// One copy's hidden staging file beside its target, from its creation to its publish: a copy
// that does not publish it removes it on every way out, so a failure or a cancel leaves nothing
// but the folders made on the way. The single copy and the fan-out share it.
class StagingCopy {
public:
    // The source's own values, refused unless they still match the job's fingerprint (size and
    // modification time) and it is not a link. `source` is the job's or a verified copy of it.
    static struct stat unchangedSource(const MediaJob &job, const QString &source);

    // The target's parent inside root and grant, folders made, marked as being written to.
    static SafeFiles::ParentFolder prepare(const QString &target, const QString &root, const FileGrant &grant);
    // Whether the folder's volume has room for `bytes` now; no margin, an unknown size passes.
    static bool hasRoom(const SafeFiles::ParentFolder &parent, qint64 bytes);

    // Creates the job's staging file in the parent's folder. A leftover of a crashed attempt is
    // replaced; one whose writer still holds it is another copy to this target and refused.
    StagingCopy(const SafeFiles::ParentFolder &parent, const MediaJob &job);
    ~StagingCopy(); // removes the staging file unless it was published
    StagingCopy(const StagingCopy &) = delete;
    StagingCopy &operator=(const StagingCopy &) = delete;

    int fd() const { return m_output.get(); }
    int folder() const { return m_parent.folder.get(); }
    const QByteArray &name() const { return m_name; }
    FileIo::UniqueFd openForReading() const;
    // Carries the modification time over, fsyncs and closes the file (errors thrown).
    void settle(const timespec &modified);
    // Moves it to the target name without replacing anything; from then on it is kept.
    void publish();
    // Closes and removes it now, ignoring errors (the name is hidden and a retry reuses it).
    void discard();

private:
    const SafeFiles::ParentFolder &m_parent;
    QByteArray m_name;
    FileIo::UniqueFd m_output;
    bool m_present = false;
};

} // namespace vantor
