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

    QJsonObject toJson() const;
    // Strict: a missing key, a wrong type or an unknown value anywhere refuses the whole state.
    static AppState fromJson(const QJsonValue &value);
};

} // namespace vantor
