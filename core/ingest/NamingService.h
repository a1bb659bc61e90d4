#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include "base/VantorError.h"

namespace vantor {

// Token name (without braces) to its value; a token without an entry expands to nothing.
using NamingValues = QMap<QString, QString>;

// A source whose own name cannot become part of a new name. The message names the file, so
// the user can leave it out and import the rest.
class UnusableNameError : public VantorError {
public:
    using VantorError::VantorError;
};

// Turns user-written naming patterns ("{PROJECT}_{ORIGINAL}_{COUNTER}") into file and folder
// names that are safe to create.
namespace NamingService {

// PROJECT, CLIENT, DATE, CAMERA, ROLL, SCENE, SHOT, TAKE, ORIGINAL, COUNTER, in substitution order.
const QStringList &tokens();

// Validates one file or folder name and returns it trimmed; throws VantorError.
QString component(const QString &name);
// A source file's name without its extension, the value of {ORIGINAL}; throws
// UnusableNameError when it could not be part of a safe name.
QString original(const QString &path);
// Expands a pattern into one safe name; a slash in the result is refused, never a folder.
QString expand(const QString &pattern, const NamingValues &values);
// Expands a slash-separated pattern into a safe relative folder path, piece by piece.
QString relativePath(const QString &pattern, const NamingValues &values);

} // namespace NamingService

} // namespace vantor
