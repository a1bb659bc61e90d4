#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace vantor {

// The engine filters that burn text into the picture, and the temporary folder holding the
// label file they read.
struct BurnInAssets {
    QStringList filters;              // appended after the picture filters inside "-vf"
    std::optional<QString> directory; // absent when no label is burned

    // Removes `directory` when present; errors are ignored.
    void cleanup() const;
};

} // namespace vantor
