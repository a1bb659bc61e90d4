#pragma once

#include "mhl/HashFormat.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace vantor {

enum class HashAction { original, verified, failed };

// One digest as a manifest records it.
struct MhlHashValue {
    HashFormat format = HashFormat::xxh64;
    QString value; // lower-case hex or a C4 ID
    std::optional<HashAction> action; // files only
    QDateTime hashDate;
};

// Vantor's note on an output: the verified original it was made from (Vantor's own namespace
// inside the schema's free-form metadata).
struct MhlSourceNote {
    QString sourcePath; // the original on the card, as the job read it
    QString copyPath;   // the verified copy whose history holds `hash`
    HashFormat format = HashFormat::xxh64;
    QString hash;
};

// A file's `hash` or a folder's `directoryhash` entry, in manifest order.
struct MhlEntry {
    bool isDirectory = false;
    QString path; // relative to the scope, "/"-separated
    std::optional<qint64> size; // files only
    QDateTime modified;         // invalid when the manifest omits it
    std::vector<MhlHashValue> hashes;    // a file's digests, in schema order
    std::vector<MhlHashValue> content;   // a folder's content hashes
    std::vector<MhlHashValue> structure; // a folder's structure hashes
    std::optional<QString> previousPath;
    std::vector<MhlSourceNote> sources;
};

struct MhlReference {
    QString path; // of a nested history's manifest, relative to the scope
    QString c4;
};

// One generation's manifest.
struct MhlManifest {
    QDateTime creationDate;
    QString hostName;
    QString toolName;
    QString toolVersion;
    QString comment; // empty when absent
    QString process; // "in-place", "transfer" or "flatten"
    std::vector<MhlHashValue> rootContent;
    std::vector<MhlHashValue> rootStructure;
    QStringList ignorePatterns;
    std::vector<MhlEntry> entries;
    std::vector<MhlReference> references;

    const MhlHashValue *rootHash(HashFormat format, bool structure = false) const;
};

} // namespace vantor
