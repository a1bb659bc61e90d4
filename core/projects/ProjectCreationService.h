#pragma once

#include "projects/ProjectContext.h"
#include "projects/ProjectTemplate.h"

namespace vantor::ProjectCreationService {

// The marker file inside every created project folder.
inline constexpr char markerName[] = "Project.vantor";

// Creates the whole folder tree of `projectTemplate` with its marker under `parent` and returns
// the new project. The tree is built in a hidden staging folder and appears under the project's
// name in one rename that replaces nothing, so it is never seen half made. `date` is already
// formatted by the caller. Throws VantorError for refusals, std::system_error for the system's.
ProjectContext create(const QString &name, const QString &client, const QString &date, const QString &parent,
    const ProjectTemplate &projectTemplate);

} // namespace vantor::ProjectCreationService
