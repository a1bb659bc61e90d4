#include "mhl/FolderHashes.h"

#include "mhl/MhlHasher.h"

#include <algorithm>
#include <vector>

namespace vantor::FolderHashes {

namespace {

struct Child {
    QByteArray name; // UTF-8
    QByteArray content;
    QByteArray structure;
};

QString parentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : path.left(slash);
}

QByteArray nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1).toUtf8();
}

QByteArray hashSorted(HashFormat format, std::vector<QByteArray> parts)
{
    std::sort(parts.begin(), parts.end());
    MhlHasher hasher(format);
    for (const QByteArray &part : parts)
        hasher.update(part.constData(), std::size_t(part.size()));
    return hasher.raw();
}

} // namespace

std::map<QString, Pair> compute(HashFormat format, const std::map<QString, QByteArray> &files, const QStringList &folders)
{
    std::map<QString, std::vector<Child>> children;
    children[QString()];
    for (const QString &folder : folders)
        children[folder];
    for (const auto &[path, digest] : files) {
        children[parentOf(path)].push_back({nameOf(path), digest, digest});
        for (QString parent = parentOf(path); !parent.isEmpty(); parent = parentOf(parent))
            children[parent];
    }
    // Deepest folders first, so each folder's children are done before it.
    std::vector<QString> order;
    for (const auto &entry : children)
        order.push_back(entry.first);
    std::sort(order.begin(), order.end(), [](const QString &a, const QString &b) {
        return a.count(QLatin1Char('/')) + !a.isEmpty() > b.count(QLatin1Char('/')) + !b.isEmpty();
    });
    std::map<QString, Pair> result;
    for (const QString &folder : order) {
        std::vector<QByteArray> contents;
        std::vector<QByteArray> structures;
        for (const Child &child : children[folder]) {
            contents.push_back(child.content);
            structures.push_back(MhlHasher::digest(format, child.name + child.structure));
        }
        const Pair pair{hashSorted(format, contents), hashSorted(format, structures)};
        result[folder] = pair;
        if (!folder.isEmpty())
            children[parentOf(folder)].push_back({nameOf(folder), pair.content, pair.structure});
    }
    return result;
}

} // namespace vantor::FolderHashes
