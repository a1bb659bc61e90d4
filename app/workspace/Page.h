#pragma once

#include <QString>

namespace vantor {

// The pages of the window, in toolbar order.
enum class Page { ingest, transcode, queue, project, settings };

// "IMPORT", "TRANSCODE", "QUEUE", "PROJECT", "SETTINGS".
QString pageLabel(Page page);

} // namespace vantor
