#pragma once

#include "jobs/MediaJob.h"
#include "jobs/SourceFile.h"

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <optional>
#include <vector>

namespace vantor {

// One copy a job owes: a card is safe only when every one of them is verified and still there.
// A job owes its project copy and each backup that is due (a cascade's backups once queued).
struct RequiredCopy {
    QString destination; // the folder the copy is kept in, one per destination
    QString path;
    bool verified = false; // committed with matching source and copy digests
    bool committed = false;
    std::optional<QString> error; // why this destination's last attempt failed, when known
};
std::vector<RequiredCopy> requiredCopies(const MediaJob &job);

// Why a card is not safe to format: one sentence naming the file and, when it is about a
// copy, the destination.
struct CardReason {
    QString file;
    std::optional<QString> destination;
    QString text;
    bool operator==(const CardReason &) const = default;
};

// The proof a destination's history gives for a card (its root hash), when one was written.
struct CardReceipt {
    QString destination;
    QString rootHash;
    bool operator==(const CardReceipt &) const = default;
};

// What the disk holds once a card's last job ended: the card listed again and each owed copy's
// size (absent: not there).
struct CardSnapshot {
    std::vector<SourceFile> files;
    std::optional<QString> scanFailure; // the card could not be listed again
    QHash<QString, qint64> copySizes;
};

struct CardVerdict {
    QString sourceRoot;
    bool safe = false;
    std::vector<CardReason> reasons; // empty exactly when safe
    std::vector<CardReceipt> receipts;

    QString label() const; // "Safe to format" or "Not safe to format"
    // The label, then each reason or receipt on its own line.
    QString text() const;
    QJsonObject toJson() const;
};

// The card's name for people: its folder's name.
QString cardLabel(const QString &sourceRoot);
// Every card or dropped folder the jobs were found in, in the order their first job is queued.
QStringList cardRoots(const std::vector<MediaJob> &jobs);
// The jobs found in `sourceRoot`, in queue order.
std::vector<MediaJob> cardJobs(const std::vector<MediaJob> &jobs, const QString &sourceRoot);
// Lists the card again and sizes every owed copy; never throws (a failed listing is recorded).
CardSnapshot snapshotCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs);
// Safe only when the card holds nothing new or changed, every file was read and every owed copy
// is verified and still there. Where a file has several jobs, its last one in queue order counts.
CardVerdict judgeCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardSnapshot &snapshot);

} // namespace vantor
