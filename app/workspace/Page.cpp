#include "workspace/Page.h"

namespace vantor {

QString pageLabel(Page page)
{
    switch (page) {
    case Page::ingest:
        return QStringLiteral("IMPORT");
    case Page::transcode:
        return QStringLiteral("TRANSCODE");
    case Page::queue:
        return QStringLiteral("QUEUE");
    case Page::project:
        return QStringLiteral("PROJECT");
    case Page::settings:
        return QStringLiteral("SETTINGS");
    }
    return {};
}

} // namespace vantor
