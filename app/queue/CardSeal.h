#pragma once

#include "base/JobControl.h"
#include "jobs/MediaJob.h"
#include "mhl/HashFormat.h"

#include <QMap>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace vantor {

// Records a card (or dropped folder) whose jobs have all ended in ASC MHL histories: its copy
// gets a `transfer` generation (hashes from the copy's single source read, `verified` against a
// history the card brought along), its proxy folder a generation whose entries name the verified
// original each proxy came from. Copies nothing: a card's own ascmhl/ arrived with its files.
namespace CardSeal {

struct Outcome {
    std::optional<QString> cardScope;  // the card's folder at the destination, when sealed
    std::optional<QString> proxyScope; // the card's proxy folder, when it has proxies
    HashFormat format = HashFormat::xxh64;
    QString rootContent; // the card's root hash: its receipt
    QString rootStructure;
    QStringList failed; // copies whose digest differs from the card's own history
    // Why no history was written, for the job log; empty when sealed or switched off.
    QString notice;
    QString receipt() const; // "xxh64 8d02114c32e28cbe", empty when not sealed
};

// `jobs` are the card's jobs (those whose sourceRoot is `sourceRoot`), all ended. Writes nothing
// when a job asked for no history, when a copy is unverified or a job did not complete, when the
// checksum has no ASC MHL form (SHA-256), or when the copies do not keep the card's folder; the
// outcome's notice says which. Blocking: it reads the files not hashed by the copies and every
// proxy, so run it off the main thread. Throws VantorError for a damaged history at the
// destination, system errors as they come, CancellationError on the control's cancel.
Outcome seal(const QString &sourceRoot, const std::vector<MediaJob> &jobs, JobControl &control);

// The card's jobs as seen from their backup `index`: each copy at that backup, with its digest
// there and no proxy, for seal() to record that destination's history. None when a job does
// not owe that backup now (none there, or a cascade's backup not yet due).
std::optional<std::vector<MediaJob>> atBackup(const std::vector<MediaJob> &jobs, std::size_t index);

// Each sealed card's receipt ("xxh64 8d02…", its latest generation's root hash) by sourceRoot,
// read from the histories at the jobs' copy destinations; a card without a readable history has
// none. Reads only the small ascmhl/ files.
QMap<QString, QString> receipts(const std::vector<MediaJob> &jobs);

} // namespace CardSeal

} // namespace vantor
