#pragma once

#include "mhl/ChainXml.h"
#include "mhl/MhlManifest.h"

#include <QString>
#include <map>
#include <optional>
#include <vector>

namespace vantor {

// A folder's ASC MHL history: the ascmhl/ folder's chain and the manifests it lists.
namespace MhlHistory {

inline constexpr char folderName[] = "ascmhl";
inline constexpr char chainName[] = "ascmhl_chain.xml";

struct Generation {
    int sequence = 0;
    QString fileName; // inside ascmhl/
    QString c4;       // of the manifest's bytes
    MhlManifest manifest;
};

struct History {
    QString scope;
    std::vector<Generation> generations;
    // Manifests a crash left published but not yet chained; only a repairing read returns them.
    int adopted = 0;
};

enum class Mode {
    strict,    // every manifest listed, every C4 right
    repairing, // also adopts whole manifests that follow the chain but are not in it yet
};

bool exists(const QString &scope); // whether scope/ascmhl is a folder
// Throws VantorError with a sentence of its own for a missing history, a missing chain, a listed
// manifest that is missing, a C4 that does not match, an unlisted manifest, a sequence out of
// order, and a file that is not valid ASC MHL; each names the file.
History read(const QString &scope, Mode mode = Mode::strict);

// Per file path, the first original or verified digest of each format: what later reads are
// compared with (failed records never count).
struct Recorded {
    std::map<HashFormat, QString> hashes;
    std::optional<HashFormat> originalFormat; // the format of its first original record
};
std::map<QString, Recorded> recordedHashes(const History &history);

QString chainPath(const QString &scope);
QString manifestPath(const QString &scope, const QString &fileName);

} // namespace MhlHistory

} // namespace vantor
