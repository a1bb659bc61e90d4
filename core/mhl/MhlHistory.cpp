#include "mhl/MhlHistory.h"

#include "mhl/C4.h"
#include "mhl/ManifestXml.h"
#include "base/FileIo.h"
#include "base/VantorError.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace vantor::MhlHistory {

namespace {

QByteArray readBytes(const QString &path)
{
    try {
        FileIo::UniqueFd fd = FileIo::open(path, O_RDONLY | O_NOFOLLOW);
        QByteArray bytes;
        char buffer[65536];
        while (const std::size_t got = FileIo::read(fd.get(), buffer, sizeof buffer))
            bytes.append(buffer, qsizetype(got));
        return bytes;
    } catch (const std::system_error &error) {
        throwSystemError(error.code().value(), path);
    }
}

// The numbered manifests in the folder, by number.
std::vector<std::pair<int, QString>> manifestFiles(const QString &folder)
{
    static const QRegularExpression pattern(QStringLiteral("^([0-9]{4,})_.*\\.mhl$"));
    std::vector<std::pair<int, QString>> files;
    for (const QString &name : QDir(folder).entryList(QDir::Files)) {
        const QRegularExpressionMatch match = pattern.match(name);
        if (match.hasMatch())
            files.emplace_back(match.captured(1).toInt(), name);
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The C4 is checked before the XML is read: a changed byte is a broken chain, whatever it broke.
Generation load(const QString &scope, int sequence, const QString &name, const QString *expectedC4 = nullptr)
{
    const QString path = manifestPath(scope, name);
    const QByteArray bytes = readBytes(path);
    const QString c4 = C4::ofBytes(bytes);
    if (expectedC4 && c4 != *expectedC4)
        throw VantorError(QStringLiteral("A manifest does not match the C4 its ASC MHL chain records: %1").arg(path));
    return {sequence, name, c4, ManifestXml::read(bytes, path)};
}

} // namespace

std::map<QString, Recorded> recordedHashes(const History &history)
{
    std::map<QString, Recorded> recorded;
    for (const Generation &generation : history.generations) {
        for (const MhlEntry &entry : generation.manifest.entries) {
            if (entry.isDirectory)
                continue;
            Recorded &record = recorded[entry.path];
            for (const MhlHashValue &value : entry.hashes) {
                if (value.action == HashAction::failed)
                    continue;
                record.hashes.emplace(value.format, value.value);
                if (value.action == HashAction::original && !record.originalFormat)
                    record.originalFormat = value.format;
            }
        }
    }
    return recorded;
}

QString chainPath(const QString &scope)
{
    return scope + QLatin1Char('/') + QLatin1String(folderName) + QLatin1Char('/') + QLatin1String(chainName);
}

QString manifestPath(const QString &scope, const QString &fileName)
{
    return scope + QLatin1Char('/') + QLatin1String(folderName) + QLatin1Char('/') + fileName;
}

bool exists(const QString &scope)
{
    const QFileInfo info(scope + QLatin1Char('/') + QLatin1String(folderName));
    return info.isDir() && !info.isSymLink();
}

History read(const QString &scope, Mode mode)
{
    if (!exists(scope))
        throw VantorError(QStringLiteral("The folder has no ASC MHL history: %1").arg(scope));
    const QString folder = scope + QLatin1Char('/') + QLatin1String(folderName);
    const std::vector<std::pair<int, QString>> files = manifestFiles(folder);
    History history{scope, {}, 0};

    const QString chain = chainPath(scope);
    if (QFileInfo::exists(chain)) {
        const std::vector<ChainEntry> entries = ChainXml::read(readBytes(chain), chain);
        for (const ChainEntry &entry : entries) {
            if (entry.sequence != int(history.generations.size()) + 1)
                throw VantorError(QStringLiteral("The ASC MHL chain does not number its generations from 1 without gaps: %1").arg(chain));
            if (entry.path.isEmpty() || entry.path.contains(QLatin1Char('/')))
                throw VantorError(QStringLiteral("The ASC MHL chain lists a manifest outside its folder: %1").arg(chain));
            const QString path = manifestPath(scope, entry.path);
            if (!QFileInfo::exists(path))
                throw VantorError(QStringLiteral("A manifest listed in the ASC MHL chain is missing: %1").arg(path));
            history.generations.push_back(load(scope, entry.sequence, entry.path, &entry.c4));
        }
    } else if (files.empty() && mode == Mode::repairing) {
        return history; // a crash before the first manifest left only the folder
    } else if (mode == Mode::strict || files.empty()) {
        throw VantorError(QStringLiteral("The ASC MHL history has no chain file: %1").arg(chain));
    }

    for (const auto &file : files) {
        const auto number = file.first;
        const auto &name = file.second; // not a structured binding: clang 14 cannot capture one
        const bool listed = std::any_of(history.generations.begin(), history.generations.end(),
                                        [&](const Generation &g) { return g.fileName == name; });
        if (listed)
            continue;
        // A crash between publishing a manifest and replacing the chain leaves the manifest whole
        // (it was synced before its name appeared) and numbered right after the chain's last.
        if (mode == Mode::repairing && number == int(history.generations.size()) + 1) {
            history.generations.push_back(load(scope, number, name));
            ++history.adopted;
            continue;
        }
        throw VantorError(QStringLiteral("A manifest is not listed in the ASC MHL chain: %1").arg(manifestPath(scope, name)));
    }
    return history;
}

} // namespace vantor::MhlHistory
