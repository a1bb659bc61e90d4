#pragma once

#include "state/AppState.h"

#include <QUuid>
#include <vector>

namespace vantor {

// What one save changed since the save before it: the unit the journal appends. Jobs travel as
// whole records; the other collections are small and travel whole when they changed at all.
struct StateChange {
    enum Part : unsigned {
        templates = 1 << 0,
        presets = 1 << 1,
        watches = 1 << 2,
        project = 1 << 3,  // project and projectGrant
        settings = 1 << 4, // ffmpeg and transcodeDestination
        order = 1 << 5,    // jobs were moved: `order` holds the whole queue order
    };
    unsigned parts = 0; // which of the members below the change carries, besides jobs and removals
    // Jobs added or changed, in queue order. A job whose id is known replaces it where it is; an
    // unknown one is appended.
    std::vector<MediaJob> jobs;
    std::vector<QUuid> removed; // applied before `jobs`
    std::vector<QUuid> jobOrder; // with `order`: every job's id in queue order, applied last
    std::vector<ProjectTemplate> templateList;
    std::vector<TranscodePreset> presetList;
    std::vector<WatchFolder> watchList;
    std::optional<ProjectContext> projectContext;
    std::optional<FileGrant> projectGrant;
    QString ffmpeg;
    std::optional<FileGrant> transcodeDestination;

    bool has(Part part) const { return (parts & part) != 0; }
    bool empty() const { return parts == 0 && jobs.empty() && removed.empty(); }

    // Takes the members named by `parts` from the state (jobs, removals and the order excepted).
    void takeFrom(const AppState &state);
};

} // namespace vantor
