#pragma once

#include "jobs/MediaJob.h"

#include <QString>
#include <optional>
#include <vector>

namespace vantor {

// Whether a whole batch of copies fits on the volumes it writes to, checked before any byte is
// copied (each copy checks again for itself when it starts).
namespace VolumeSpace {

struct Demand {
    QString volume;                  // the mount point of the volume
    qint64 needed = 0;               // the bytes the batch's copies write there
    std::optional<qint64> available; // none when the system does not tell
};

// The volumes the jobs' copies land on, in order of first use. A destination's folders need
// not exist yet: the nearest folder above it that exists decides the volume. Transcode outputs
// are not counted; their size is known only once they are encoded.
std::vector<Demand> demand(const std::vector<MediaJob> &jobs);

// Refuses a batch whose copies need more than a volume has free, naming the volume and the
// shortfall: "Not enough space on /mnt/x for this ingest: 1.2 GB needed, 300.0 MB free."
void assertFits(const std::vector<MediaJob> &jobs);

// Decimal units, as a file manager shows them: "1.2 GB".
QString byteText(qint64 bytes);

} // namespace VolumeSpace

} // namespace vantor
