#include "queue/CardSeal.h"

#include "mhl/MhlGeneration.h"
#include "mhl/MhlHistory.h"

#include <QDir>
#include <QFileInfo>
#include <map>

namespace vantor::CardSeal {

namespace {

// Where a card lands under a destination folder: the target's folder with the source's folders
// inside the card taken off, which must end in the card's own name; none when it does not.
std::optional<QString> scopeOf(const QString &sourceRoot, const QString &source, const QString &target)
{
    const QString relative = QDir(sourceRoot).relativeFilePath(source);
    const QString inner = QFileInfo(relative).path(); // "." for a file at the card's top
    QString folder = QFileInfo(target).path();
    if (inner != QLatin1String(".")) {
        if (!folder.endsWith(QLatin1Char('/') + inner))
            return std::nullopt;
        folder.chop(inner.size() + 1);
    }
    if (QFileInfo(folder).fileName() != QFileInfo(sourceRoot).fileName())
        return std::nullopt;
    return folder;
}

QString relativeTo(const QString &scope, const QString &path)
{
    return path.mid(scope.size() + 1);
}

} // namespace

QString Outcome::receipt() const
{
    return rootContent.isEmpty() ? QString() : HashFormats::name(format) + QLatin1Char(' ') + rootContent;
}

Outcome seal(const QString &sourceRoot, const std::vector<MediaJob> &jobs, JobControl &control)
{
    Outcome outcome;
    if (jobs.empty() || std::any_of(jobs.begin(), jobs.end(), [](const MediaJob &j) { return !j.mhl.value_or(true); }))
        return outcome;
    std::optional<ChecksumAlgorithm> checksum;
    for (const MediaJob &job : jobs) {
        if (job.status != JobStatus::complete || (job.copyDestination && (!job.checksum || !job.sourceHash))) {
            outcome.notice = QStringLiteral("Not every file of this card was copied and verified, so it has no ASC MHL history: %1").arg(sourceRoot);
            return outcome;
        }
        if (job.copyDestination)
            checksum = job.checksum;
    }
    const std::optional<HashFormat> format = HashFormats::fromChecksum(checksum.value_or(ChecksumAlgorithm::xxHash));
    if (!format) {
        outcome.notice = QStringLiteral("ASC MHL has no SHA-256 hash, so no history was written for this card: %1").arg(sourceRoot);
        return outcome;
    }
    outcome.format = *format;

    // The card's copies: one scope for all, each digest from the copy's source read.
    MhlGeneration::Request card;
    card.format = *format;
    card.process = QStringLiteral("transfer");
    card.date = QDateTime::currentDateTimeUtc();
    MhlGeneration::Request proxies = card;
    proxies.process = QStringLiteral("in-place");
    const QString unkept = QStringLiteral("The copies of this card do not keep its folder, so it has no ASC MHL history: %1").arg(sourceRoot);
    for (const MediaJob &job : jobs) {
        for (const auto &[target, request] : {std::pair{job.copyDestination, &card}, std::pair{job.outputDestination, &proxies}}) {
            if (!target)
                continue;
            const std::optional<QString> scope = scopeOf(sourceRoot, job.source, *target);
            if (!scope || (!request->scope.isEmpty() && request->scope != *scope)) {
                outcome.notice = unkept;
                return outcome;
            }
            request->scope = *scope;
        }
        if (job.copyDestination)
            card.knownHashes[relativeTo(card.scope, *job.copyDestination)] = *job.sourceHash;
    }
    if (card.scope.isEmpty())
        return outcome; // only transcodes in place: no copy of the card to record

    const MhlGeneration::Result sealed = MhlGeneration::write(card, control);
    outcome.cardScope = card.scope;
    outcome.rootContent = sealed.rootContent;
    outcome.rootStructure = sealed.rootStructure;
    outcome.failed = sealed.failed;

    // Proxies name their original by the hash the card's history now holds for its copy.
    if (proxies.scope.isEmpty() || proxies.scope == card.scope)
        return outcome;
    const std::map<QString, MhlHistory::Recorded> recorded = MhlHistory::recordedHashes(MhlHistory::read(card.scope));
    for (const MediaJob &job : jobs) {
        if (!job.outputDestination || !job.copyDestination)
            continue;
        const auto found = recorded.find(relativeTo(card.scope, *job.copyDestination));
        if (found == recorded.end() || !found->second.hashes.count(*format))
            continue;
        proxies.sources[relativeTo(proxies.scope, *job.outputDestination)].push_back(
            {job.source, *job.copyDestination, *format, found->second.hashes.at(*format)});
    }
    MhlGeneration::write(proxies, control);
    outcome.proxyScope = proxies.scope;
    return outcome;
}

std::optional<std::vector<MediaJob>> atBackup(const std::vector<MediaJob> &jobs, std::size_t index)
{
    std::vector<MediaJob> seen;
    for (const MediaJob &job : jobs) {
        if (!job.copyDestination)
            continue;
        if (index >= job.backups.size() || job.backups[index].deferred)
            return std::nullopt;
        MediaJob there = job;
        const BackupCopy &backup = job.backups[index];
        there.copyDestination = backup.path;
        there.destinationHash = backup.hash;
        there.copyCommitted = backup.committed;
        there.outputDestination.reset();
        there.backups.clear();
        seen.push_back(std::move(there));
    }
    if (seen.empty())
        return std::nullopt;
    return seen;
}

QMap<QString, QString> receipts(const std::vector<MediaJob> &jobs)
{
    QMap<QString, QString> found;
    QMap<QString, QString> scopes; // sourceRoot -> card scope, empty when the copies disagree
    for (const MediaJob &job : jobs) {
        if (!job.sourceRoot || !job.copyDestination)
            continue;
        const QString scope = scopeOf(*job.sourceRoot, job.source, *job.copyDestination).value_or(QString());
        const auto known = scopes.constFind(*job.sourceRoot);
        scopes.insert(*job.sourceRoot, known == scopes.constEnd() || *known == scope ? scope : QString());
    }
    for (auto it = scopes.constBegin(); it != scopes.constEnd(); ++it) {
        if (it.value().isEmpty() || !MhlHistory::exists(it.value()))
            continue;
        try {
            const MhlManifest latest = MhlHistory::read(it.value()).generations.back().manifest;
            if (!latest.rootContent.empty())
                found.insert(it.key(), HashFormats::name(latest.rootContent.front().format) + QLatin1Char(' ')
                                           + latest.rootContent.front().value);
        } catch (const std::exception &) {
            // A damaged history gives no receipt; `vantor mhl verify` says what is wrong.
        }
    }
    return found;
}

} // namespace vantor::CardSeal
