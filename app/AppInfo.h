#pragma once

#include <QString>

namespace vantor::AppInfo {

// Reverse-DNS identity of the application; the persistence queue's label derives from it.
inline constexpr const char *identifier = "com.quillory.Vantor";
QString persistenceLabel();

} // namespace vantor::AppInfo
