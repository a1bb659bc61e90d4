#include "mhl/MhlGeneration.h"

#include "mhl/ChainXml.h"
#include "mhl/FolderHashes.h"
#include "mhl/ManifestXml.h"
#include "mhl/MhlHasher.h"
#include "mhl/MhlHistory.h"
#include "mhl/ScopeListing.h"
#include "mhl/C4.h"
#include "base/AtomicFile.h"
#include "base/FileIo.h"
#include "base/VantorError.h"
#include "files/SafeFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QSysInfo>

#include <algorithm>
#include <unistd.h>

namespace vantor::MhlGeneration {

namespace {

struct Hashed {
    QString path;
    qint64 size = 0;
    QDateTime modified;
    std::vector<MhlHashValue> values;
    QByteArray raw; // in the request's format, for the folder hashes
};

Hashed hashFile(const Request &request, const ScopeListing::Item &file, const MhlHistory::Recorded *record,
                JobControl &control, QStringList &failed)
{
    std::vector<HashFormat> formats{request.format};
    if (record)
        for (const auto &[format, value] : record->hashes)
            if (format != request.format && HashFormats::computable(format))
                formats.push_back(format);
    std::vector<QString> digests;
    const auto known = request.knownHashes.find(file.path);
    if (known != request.knownHashes.end() && formats.size() == 1)
        digests.push_back(known->second);
    else
        digests = MhlHasher::fileDigests(request.scope + QLatin1Char('/') + file.path, formats, control);

    Hashed hashed{file.path, file.size, file.modified, {}, HashFormats::raw(request.format, digests.front())};
    bool anyFailed = false;
    bool compared = false;
    for (std::size_t i = 0; i < formats.size(); ++i) {
        MhlHashValue value{formats[i], digests[i], HashAction::original, request.date};
        if (record && record->hashes.count(formats[i])) {
            value.action = record->hashes.at(formats[i]) == digests[i] ? HashAction::verified : HashAction::failed;
            anyFailed = anyFailed || value.action == HashAction::failed;
            compared = true;
        }
        hashed.values.push_back(value);
    }
    // A new format on a file with a history is a verified addition, unless that file failed.
    if (compared)
        for (MhlHashValue &value : hashed.values)
            if (value.action == HashAction::original)
                value.action = anyFailed ? HashAction::failed : HashAction::verified;
    if (anyFailed)
        failed.append(request.scope + QLatin1Char('/') + file.path);
    return hashed;
}

// A folder's entry comes after everything inside it.
QByteArray orderKey(const MhlEntry &entry)
{
    return entry.isDirectory ? entry.path.toUtf8() + "/\xff" : entry.path.toUtf8();
}

MhlManifest build(const Request &request, const MhlHistory::History &history, JobControl &control, QStringList &failed)
{
    const std::map<QString, MhlHistory::Recorded> recorded = MhlHistory::recordedHashes(history);
    const ScopeListing listing = ScopeListing::of(request.scope);

    MhlManifest manifest;
    manifest.creationDate = request.date;
    manifest.hostName = QSysInfo::machineHostName();
    manifest.toolName = QStringLiteral("Vantor");
    manifest.toolVersion = QStringLiteral(VANTOR_VERSION);
    manifest.process = request.process;
    manifest.ignorePatterns = {QStringLiteral("ascmhl"), QStringLiteral("ascmhl/"), QStringLiteral(".*")};

    std::map<QString, QByteArray> raws;
    for (const ScopeListing::Item &file : listing.files) {
        const auto found = recorded.find(file.path);
        Hashed hashed = hashFile(request, file, found == recorded.end() ? nullptr : &found->second, control, failed);
        raws[file.path] = hashed.raw;
        MhlEntry entry;
        entry.path = file.path;
        entry.size = file.size;
        entry.modified = file.modified;
        entry.hashes = std::move(hashed.values);
        const auto notes = request.sources.find(file.path);
        if (notes != request.sources.end())
            entry.sources = notes->second;
        manifest.entries.push_back(std::move(entry));
    }
    QStringList folderPaths;
    for (const ScopeListing::Item &folder : listing.folders)
        folderPaths.append(folder.path);
    const std::map<QString, FolderHashes::Pair> folders = FolderHashes::compute(request.format, raws, folderPaths);
    const auto value = [&](const QByteArray &raw) {
        return std::vector<MhlHashValue>{{request.format, HashFormats::text(request.format, raw), std::nullopt, request.date}};
    };
    for (const ScopeListing::Item &folder : listing.folders) {
        MhlEntry entry;
        entry.isDirectory = true;
        entry.path = folder.path;
        entry.modified = folder.modified;
        entry.content = value(folders.at(folder.path).content);
        entry.structure = value(folders.at(folder.path).structure);
        manifest.entries.push_back(std::move(entry));
    }
    std::stable_sort(manifest.entries.begin(), manifest.entries.end(),
                     [](const MhlEntry &a, const MhlEntry &b) { return orderKey(a) < orderKey(b); });
    manifest.rootContent = value(folders.at(QString()).content);
    manifest.rootStructure = value(folders.at(QString()).structure);
    return manifest;
}

void publishManifest(const QString &target, const QString &scope, const QByteArray &bytes)
{
    const SafeFiles::ParentFolder parent = SafeFiles::prepareParent(target, scope);
    const QByteArray staging = SafeFiles::stageBytes(parent.folder.get(), bytes, QStringLiteral(".partial"));
    try {
        SafeFiles::publish(parent, staging);
    } catch (...) {
        ::unlinkat(parent.folder.get(), staging.constData(), 0);
        throw;
    }
}

// Hidden staging files that a killed generation left in ascmhl/ (only Vantor's own names).
void removeLeftovers(const QString &scope)
{
    const QString folder = scope + QLatin1Char('/') + QLatin1String(MhlHistory::folderName);
    const QStringList names = QDir(folder).entryList({QStringLiteral(".vantor-*")}, QDir::Files | QDir::Hidden);
    for (const QString &name : names)
        FileIo::unlinkAt(AT_FDCWD, FileIo::encodeName(folder + QLatin1Char('/') + name));
}

} // namespace

QString manifestName(int sequence, const QString &scope, const QDateTime &date)
{
    return QStringLiteral("%1_%2_%3.mhl")
        .arg(sequence, 4, 10, QLatin1Char('0'))
        .arg(QFileInfo(scope).fileName(), date.toUTC().toString(QStringLiteral("yyyy-MM-dd_HHmmss'Z'")));
}

Result write(const Request &given, JobControl &control)
{
    Request request = given;
    if (!request.date.isValid())
        request.date = QDateTime::currentDateTimeUtc();
    request.date = request.date.toUTC();
    request.date.setTime(QTime(request.date.time().hour(), request.date.time().minute(), request.date.time().second()));

    const MhlHistory::History history = MhlHistory::exists(request.scope)
        ? MhlHistory::read(request.scope, MhlHistory::Mode::repairing)
        : MhlHistory::History{request.scope, {}, 0};
    Result result;
    result.adopted = history.adopted;
    const MhlManifest manifest = build(request, history, control, result.failed);
    const QByteArray bytes = ManifestXml::write(manifest);

    result.sequence = int(history.generations.size()) + 1;
    const QString name = manifestName(result.sequence, request.scope, request.date);
    result.manifestPath = MhlHistory::manifestPath(request.scope, name);
    result.rootContent = manifest.rootContent.front().value;
    result.rootStructure = manifest.rootStructure.front().value;

    control.checkpoint();
    removeLeftovers(request.scope);
    publishManifest(result.manifestPath, request.scope, bytes);
    std::vector<ChainEntry> chain;
    for (const MhlHistory::Generation &generation : history.generations)
        chain.push_back({generation.sequence, generation.fileName, generation.c4});
    chain.push_back({result.sequence, name, C4::ofBytes(bytes)});
    AtomicFile::replace(MhlHistory::chainPath(request.scope), ChainXml::write(chain));
    return result;
}

} // namespace vantor::MhlGeneration
