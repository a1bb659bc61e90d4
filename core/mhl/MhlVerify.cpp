#include "mhl/MhlVerify.h"

#include "mhl/MhlHasher.h"
#include "mhl/MhlHistory.h"
#include "mhl/ScopeListing.h"

#include <QSet>

#include <algorithm>

namespace vantor::MhlVerify {

namespace {

bool under(const QString &path, const QStringList &folders)
{
    for (const QString &folder : folders)
        if (path.startsWith(folder + QLatin1Char('/')))
            return true;
    return false;
}

void verifyScope(const QString &scope, JobControl &control, Result &result)
{
    result.scopes.append(scope);
    const MhlHistory::History history = MhlHistory::read(scope);
    const std::map<QString, MhlHistory::Recorded> recorded = MhlHistory::recordedHashes(history);
    const ScopeListing listing = ScopeListing::of(scope);
    const auto absolute = [&](const QString &path) { return scope + QLatin1Char('/') + path; };

    QSet<QString> present;
    for (const ScopeListing::Item &file : listing.files) {
        present.insert(file.path);
        const auto found = recorded.find(file.path);
        if (found == recorded.end()) {
            // Files below a nested history are that history's to account for.
            if (!under(file.path, listing.nestedScopes))
                result.problems.push_back({Problem::added, absolute(file.path), {}});
            continue;
        }
        const MhlHistory::Recorded &record = found->second;
        // The hash the file was first recorded with, else the first one this build computes.
        auto chosen = record.hashes.end();
        if (record.originalFormat && HashFormats::computable(*record.originalFormat))
            chosen = record.hashes.find(*record.originalFormat);
        if (chosen == record.hashes.end())
            chosen = std::find_if(record.hashes.begin(), record.hashes.end(),
                                  [](const auto &entry) { return HashFormats::computable(entry.first); });
        if (chosen == record.hashes.end()) {
            result.problems.push_back({Problem::unverifiable, absolute(file.path), {}});
            continue;
        }
        const QString &expected = chosen->second;
        const QString actual = MhlHasher::fileDigests(absolute(file.path), {chosen->first}, control).front();
        if (actual == expected)
            ++result.matched;
        else
            result.problems.push_back({Problem::changed, absolute(file.path),
                                       QStringLiteral("%1 recorded %2, found %3").arg(HashFormats::name(chosen->first), expected, actual)});
    }
    for (const auto &[path, record] : recorded)
        if (!present.contains(path) && !record.hashes.empty())
            result.problems.push_back({Problem::missing, absolute(path), {}});
    for (const QString &nested : listing.nestedScopes)
        verifyScope(absolute(nested), control, result);
}

} // namespace

QString Problem::message() const
{
    switch (kind) {
    case changed:
        return QStringLiteral("A file does not match its ASC MHL history (%1): %2").arg(detail, path);
    case missing:
        return QStringLiteral("A file in the ASC MHL history is missing: %1").arg(path);
    case added:
        return QStringLiteral("A file is not in the ASC MHL history: %1").arg(path);
    case unverifiable:
        break;
    }
    return QStringLiteral("A file's ASC MHL history has no hash that Vantor can compute: %1").arg(path);
}

Result verify(const QString &scope, JobControl &control)
{
    Result result;
    verifyScope(scope, control, result);
    return result;
}

} // namespace vantor::MhlVerify
