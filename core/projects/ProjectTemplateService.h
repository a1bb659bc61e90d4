#pragma once

#include "ingest/NamingService.h"
#include "projects/ProjectTemplate.h"

#include <vector>

namespace vantor::ProjectTemplateService {

// The seven built-in templates, each with a fresh id on every call.
std::vector<ProjectTemplate> defaults();

// Checks the template's name (a label: not blank, no control characters) and folders and returns the folders expanded with `values`, in
// order; throws VantorError.
QStringList validate(const ProjectTemplate &projectTemplate, const NamingValues &values);

} // namespace vantor::ProjectTemplateService
