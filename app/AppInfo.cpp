#include "AppInfo.h"

namespace vantor::AppInfo {

QString persistenceLabel()
{
    return QLatin1String(identifier) + QStringLiteral(".persistence");
}

} // namespace vantor::AppInfo
