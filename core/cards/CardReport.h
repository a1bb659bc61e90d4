#pragma once

#include "cards/CardVerdict.h"

#include <QDateTime>
#include <optional>
#include <vector>

namespace vantor {

// The offload report of one card: what was read, where it went, how long it took, what failed,
// the digests and the verdict. Made for every card, whatever its outcome.
struct CardReport {
    struct Destination {
        QString folder;
        int files = 0;    // copies owed here
        int verified = 0; // of them, verified
        qint64 bytes = 0; // verified bytes
        std::optional<QString> receipt; // the root hash of its history, when sealed
    };
    struct Failure {
        QString file;
        QString text;
    };
    struct Digest {
        QString file; // below the card
        QString algorithm;
        QString source;
        std::optional<QString> copy;
    };

    QString sourceRoot;
    QString label;
    int files = 0;
    qint64 bytes = 0;
    std::optional<QDateTime> started; // the first job's start, the last job's end
    std::optional<QDateTime> finished;
    std::vector<Destination> destinations;
    std::vector<Failure> failures;
    std::vector<Digest> digests;
    CardVerdict verdict;

    double seconds() const; // from the first start to the last end; 0 when unknown
    std::optional<double> bytesPerSecond() const;

    // The card's jobs (each file's last job counts) with its verdict.
    static CardReport build(const QString &sourceRoot, const std::vector<MediaJob> &jobs, const CardVerdict &verdict);
};

} // namespace vantor
