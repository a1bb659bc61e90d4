#pragma once

#include "files/FileGrant.h"
#include "jobs/MediaJob.h"
#include "projects/ProjectContext.h"
#include "projects/ProjectTemplate.h"
#include "projects/WatchFolder.h"
#include "presets/TranscodePreset.h"

#include <QJsonObject>
#include <optional>
#include <vector>

namespace vantor {

// Everything the application remembers between launches: the content of state.json.
struct AppState {
    static constexpr qint64 currentVersion = 1; // the only version written
    qint64 version = currentVersion; // a file of a later version is refused on reading
    std::vector<ProjectTemplate> templates;
    std::vector<TranscodePreset> presets;
    std::vector<MediaJob> jobs; // queue order, history included
    std::optional<ProjectContext> project;
    std::optional<FileGrant> projectGrant;
    std::vector<WatchFolder> watches;
    QString ffmpeg; // the engine the user chose; empty when none was chosen
    std::optional<FileGrant> transcodeDestination;

    // The state before any file exists: the built-in templates and presets, nothing else. They
    // are written into the file by the first save like any user-made entry.
    static AppState fresh();

    static constexpr char typeName[] = "AppState";
    // Read strictly: a missing key, a wrong type or an unknown value anywhere refuses the whole state.
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.integer("version", self.version);
        // A later version's other keys may mean what this build does not know: none is read.
        v.check([&] { refuseNewer(self.version); });
        v.records("templates", self.templates);
        v.records("presets", self.presets);
        v.records("jobs", self.jobs);
        v.record("project", self.project);
        v.record("projectGrant", self.projectGrant);
        v.records("watches", self.watches);
        v.string("ffmpeg", self.ffmpeg);
        v.record("transcodeDestination", self.transcodeDestination);
    }
    // Throws DecodingError when `version` is later than this build reads.
    static void refuseNewer(qint64 version);
    QJsonObject toJson() const;
};

} // namespace vantor
