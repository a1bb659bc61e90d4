#pragma once

#include <QString>

namespace vantor {

// Flat working folders in the user's temporary directory for burn-in labels and previews.
namespace TemporaryFolder {

// Makes prefix + a new UUID inside the temporary directory (and any missing folders above it)
// and returns its path.
QString make(const QString &prefix);

// Removes the folder and the files directly inside it, without following links. Errors are
// ignored: a leftover in the temporary directory must never turn a result into a failure.
void remove(const QString &path);

} // namespace TemporaryFolder

} // namespace vantor
