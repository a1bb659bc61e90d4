#pragma once

#include "jobs/MediaJob.h"

#include <QJsonArray>
#include <QStringList>

namespace vantor::cli {

// Each destination of a copy job (the project copy, then each backup) with its outcome:
// "verified", "copied" (committed without a checksum), "failed", "waiting", or "deferred"
// (a cascade's backup, copied from the project copy once the card has its verdict).
QString destinationState(const MediaJob &job, std::size_t backup);
QString copyState(const MediaJob &job);

// As lines for people: "  backup PATH: failed. MESSAGE"; none for a job without backups.
QStringList destinationLines(const MediaJob &job);
// As JSON: [{"role": "project"|"backup", "path", "state", "hash"?, "error"?}, ...].
QJsonArray destinationsJson(const MediaJob &job);

} // namespace vantor::cli
