#pragma once

#include "base/JobControl.h"

#include <QString>
#include <QStringList>
#include <vector>

namespace vantor {

// Checks the files of a folder against its ASC MHL history, and nested histories below it.
namespace MhlVerify {

struct Problem {
    enum Kind { changed, missing, added, unverifiable };
    Kind kind = changed;
    QString path; // absolute
    QString detail; // for a changed file: "xxh64 recorded …, found …"
    QString message() const;
};

struct Result {
    int matched = 0; // files whose digest equals the recorded one
    std::vector<Problem> problems;
    QStringList scopes; // every history checked, the folder's own first
    bool ok() const { return problems.empty(); }
};

// Re-hashes every file in the format of its original record (or another recorded format Vantor
// computes). A damaged history throws VantorError (see MhlHistory::read); a cancel throws.
Result verify(const QString &scope, JobControl &control);

} // namespace MhlVerify

} // namespace vantor
