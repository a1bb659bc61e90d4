#pragma once

#include "mhl/HashFormat.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <map>

namespace vantor {

// The content and structure hashes of folders, as ASC MHL defines them over raw digests.
namespace FolderHashes {

struct Pair {
    QByteArray content;
    QByteArray structure;
};

// `files` maps each file's path (relative to the scope) to its raw digest; `folders` names every
// folder below the scope, so empty ones count too. The result holds every folder and the scope
// itself under "".
std::map<QString, Pair> compute(HashFormat format, const std::map<QString, QByteArray> &files,
                                const QStringList &folders);

} // namespace FolderHashes

} // namespace vantor
