#pragma once

#include "files/FileGrant.h"
#include "base/FileIo.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace vantor {

// The one gate for every write under a destination: an output lies strictly inside the folder
// the user chose, no folder on the way is a link or a file, nothing existing is replaced, and a
// finished file appears at its final name in one exclusive step.
namespace SafeFiles {

// The target's parent, opened by walking down from the root without following links. Staging
// files are made and published relative to `folder`, so a folder swapped for a link after the
// walk is never followed.
struct ParentFolder {
    FileIo::UniqueFd folder;
    QString path;           // the parent folder's path, for messages
    QByteArray targetName;  // the final name inside it
    QString targetPath() const;
};

QStringList lexicalComponents(const QString &path);
bool descendant(const QString &child, const QString &root);
void existingDirectory(const QString &path);
// Refuses an open folder that a write would pass through when it is locked (every write bit
// cleared, which counts even for root) or on a read-only mount; `path` names it in the message.
void refuseReadOnlyFolder(int folder, const QString &path);

// Validates the target against the chosen root, makes the missing folders between them one at a
// time, and asserts the target does not exist yet.
ParentFolder prepareParent(const QString &target, const QString &root);

// Moves `stagingName` (inside the parent folder) to the target name without replacing anything,
// then makes the parent folder's new entry durable. The staging entry stays put on failure.
void publish(const ParentFolder &parent, const QByteArray &stagingName, bool isDirectory = false);

// The folder a job's write to `target` is walked from: the deeper of `root` and the grant's
// folder. A target outside the grant is refused with a message naming both; one outside the
// root is left to prepareParent, whose message says so.
QString grantedRoot(const QString &target, const QString &root, const FileGrant &grant);

// A hidden name beside the target for work in progress: ".vantor-" + UUID + suffix.
QByteArray stagingName(const QString &suffix);
// Writes `bytes` to a new hidden file (a stagingName with `suffix`) in `folder`, synced and
// closed, and returns its name; on any failure the file is removed again and the error thrown.
// Blocks on the write and the sync.
QByteArray stageBytes(int folder, const QByteArray &bytes, const QString &suffix, mode_t mode = 0644);

} // namespace SafeFiles

} // namespace vantor
