#pragma once

#include <QStringList>

namespace vantor::cli {

int probeCommand(const QStringList &arguments);

} // namespace vantor::cli
