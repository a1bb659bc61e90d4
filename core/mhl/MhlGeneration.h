#pragma once

#include "mhl/MhlManifest.h"
#include "base/JobControl.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <map>
#include <vector>

namespace vantor {

// Writes a new generation of a folder's ASC MHL history (the first one makes the history).
namespace MhlGeneration {

struct Request {
    QString scope;
    HashFormat format = HashFormat::xxh64; // of new hashes and of the folder and root hashes
    QString process = QStringLiteral("in-place");
    QDateTime date; // shared by every manifest of one operation; invalid means now
    // Digests in `format` already known from the copy's single source read, by path relative to
    // the scope; other files are read from disk.
    std::map<QString, QString> knownHashes;
    std::map<QString, std::vector<MhlSourceNote>> sources; // Vantor's notes by path
};

struct Result {
    QString manifestPath;
    int sequence = 0;
    QString rootContent;
    QString rootStructure;
    QStringList failed;  // absolute paths whose digest differs from the recorded one
    int adopted = 0;     // manifests of an interrupted generation taken into the chain
};

// Hashes the scope, compares each file with its recorded digests (original, verified or failed),
// writes the manifest to a hidden staging file, syncs it, publishes it without replacing
// anything, then replaces the chain atomically. A crash between the two leaves a manifest the
// chain does not list: MhlHistory::read reports it and the next generation adopts it. Failed
// files are recorded and returned; the caller decides what failing means. Blocking.
Result write(const Request &request, JobControl &control);

QString manifestName(int sequence, const QString &scope, const QDateTime &date);

} // namespace MhlGeneration

} // namespace vantor
