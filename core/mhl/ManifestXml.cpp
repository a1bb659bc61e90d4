#include "mhl/ManifestXml.h"

#include "mhl/XmlReading.h"

#include <QXmlStreamWriter>

#include <algorithm>

namespace vantor::ManifestXml {

namespace {

QString actionName(HashAction action)
{
    return action == HashAction::original ? QStringLiteral("original")
        : action == HashAction::verified  ? QStringLiteral("verified")
                                          : QStringLiteral("failed");
}

void writeValues(QXmlStreamWriter &xml, std::vector<MhlHashValue> values)
{
    std::stable_sort(values.begin(), values.end(), [](const auto &a, const auto &b) { return a.format < b.format; });
    for (const MhlHashValue &value : values) {
        xml.writeStartElement(HashFormats::name(value.format));
        if (value.action)
            xml.writeAttribute(QStringLiteral("action"), actionName(*value.action));
        if (value.hashDate.isValid())
            xml.writeAttribute(QStringLiteral("hashdate"), dateText(value.hashDate));
        xml.writeCharacters(value.value);
        xml.writeEndElement();
    }
}

void writeContentAndStructure(QXmlStreamWriter &xml, const std::vector<MhlHashValue> &content,
                              const std::vector<MhlHashValue> &structure)
{
    xml.writeStartElement(QStringLiteral("content"));
    writeValues(xml, content);
    xml.writeEndElement();
    xml.writeStartElement(QStringLiteral("structure"));
    writeValues(xml, structure);
    xml.writeEndElement();
}

void writeEntry(QXmlStreamWriter &xml, const MhlEntry &entry)
{
    xml.writeStartElement(entry.isDirectory ? QStringLiteral("directoryhash") : QStringLiteral("hash"));
    xml.writeStartElement(QStringLiteral("path"));
    if (entry.size)
        xml.writeAttribute(QStringLiteral("size"), QString::number(*entry.size));
    if (entry.modified.isValid())
        xml.writeAttribute(QStringLiteral("lastmodificationdate"), dateText(entry.modified));
    xml.writeCharacters(entry.path);
    xml.writeEndElement();
    if (entry.isDirectory) {
        writeContentAndStructure(xml, entry.content, entry.structure);
    } else {
        writeValues(xml, entry.hashes);
        if (entry.previousPath)
            xml.writeTextElement(QStringLiteral("previousPath"), *entry.previousPath);
    }
    if (!entry.sources.empty()) {
        xml.writeStartElement(QStringLiteral("metadata"));
        for (const MhlSourceNote &note : entry.sources) {
            xml.writeStartElement(QLatin1String(vantorNamespace), QStringLiteral("source"));
            xml.writeAttribute(QStringLiteral("path"), note.sourcePath);
            xml.writeAttribute(QStringLiteral("copy"), note.copyPath);
            xml.writeAttribute(QStringLiteral("format"), HashFormats::name(note.format));
            xml.writeCharacters(note.hash);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
}

} // namespace

QString dateText(const QDateTime &date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'+00:00'"));
}

QByteArray write(const MhlManifest &manifest)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    xml.writeDefaultNamespace(QLatin1String(manifestNamespace));
    xml.writeNamespace(QLatin1String(vantorNamespace), QStringLiteral("vantor"));
    xml.writeStartElement(QStringLiteral("hashlist"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("2.0"));

    xml.writeStartElement(QStringLiteral("creatorinfo"));
    xml.writeTextElement(QStringLiteral("creationdate"), dateText(manifest.creationDate));
    xml.writeTextElement(QStringLiteral("hostname"), manifest.hostName);
    xml.writeStartElement(QStringLiteral("tool"));
    xml.writeAttribute(QStringLiteral("version"), manifest.toolVersion);
    xml.writeCharacters(manifest.toolName);
    xml.writeEndElement();
    if (!manifest.comment.isEmpty())
        xml.writeTextElement(QStringLiteral("comment"), manifest.comment);
    xml.writeEndElement();

    xml.writeStartElement(QStringLiteral("processinfo"));
    xml.writeTextElement(QStringLiteral("process"), manifest.process);
    if (!manifest.rootContent.empty()) {
        xml.writeStartElement(QStringLiteral("roothash"));
        writeContentAndStructure(xml, manifest.rootContent, manifest.rootStructure);
        xml.writeEndElement();
    }
    if (!manifest.ignorePatterns.isEmpty()) {
        xml.writeStartElement(QStringLiteral("ignore"));
        for (const QString &pattern : manifest.ignorePatterns)
            xml.writeTextElement(QStringLiteral("pattern"), pattern);
        xml.writeEndElement();
    }
    xml.writeEndElement();

    if (!manifest.entries.empty()) {
        xml.writeStartElement(QStringLiteral("hashes"));
        for (const MhlEntry &entry : manifest.entries)
            writeEntry(xml, entry);
        xml.writeEndElement();
    }
    if (!manifest.references.empty()) {
        xml.writeStartElement(QStringLiteral("references"));
        for (const MhlReference &reference : manifest.references) {
            xml.writeStartElement(QStringLiteral("hashlistreference"));
            xml.writeTextElement(QStringLiteral("path"), reference.path);
            xml.writeTextElement(QStringLiteral("c4"), reference.c4);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

namespace {

std::optional<HashAction> readAction(XmlReading &in)
{
    const QString text = in.attribute("action");
    if (text.isEmpty())
        return std::nullopt;
    for (HashAction action : {HashAction::original, HashAction::verified, HashAction::failed})
        if (text == actionName(action))
            return action;
    in.fail(QStringLiteral("unknown action “%1”").arg(text));
}

// Digest elements, in schema order, up to the first element that is not one.
std::vector<MhlHashValue> readValues(XmlReading &in, bool withAction)
{
    std::vector<MhlHashValue> values;
    while (in.peekChild()) {
        const std::optional<HashFormat> format = HashFormats::fromName(in.name());
        if (!format)
            break;
        if (!values.empty() && values.back().format >= *format)
            in.fail(QStringLiteral("<%1> is out of order").arg(in.name()));
        in.take();
        MhlHashValue value;
        value.format = *format;
        if (withAction)
            value.action = readAction(in);
        value.hashDate = in.dateAttribute("hashdate");
        value.value = in.text();
        try {
            HashFormats::raw(value.format, value.value);
        } catch (const std::exception &) {
            in.fail(QStringLiteral("a malformed %1 value").arg(in.name()));
        }
        values.push_back(value);
    }
    return values;
}

void readContentAndStructure(XmlReading &in, std::vector<MhlHashValue> &content, std::vector<MhlHashValue> &structure)
{
    in.expect("content");
    content = readValues(in, false);
    in.end();
    in.expect("structure");
    structure = readValues(in, false);
    in.end();
}

void readMetadata(XmlReading &in, MhlEntry &entry)
{
    // Free-form for other writers; Vantor's own notes are read back.
    while (in.nextAnyChild()) {
        if (in.namespaceUri() == QLatin1String(vantorNamespace) && in.name() == QLatin1String("source")) {
            MhlSourceNote note;
            note.sourcePath = in.attribute("path");
            note.copyPath = in.attribute("copy");
            const std::optional<HashFormat> format = HashFormats::fromName(in.attribute("format"));
            if (!format)
                in.fail(QStringLiteral("a source note without a known format"));
            note.format = *format;
            note.hash = in.text();
            entry.sources.push_back(note);
        } else {
            in.skip();
        }
    }
}

MhlEntry readEntry(XmlReading &in, bool directory)
{
    MhlEntry entry;
    entry.isDirectory = directory;
    in.expect("path");
    const QString size = in.attribute("size");
    if (!size.isEmpty()) {
        bool ok = false;
        entry.size = size.toLongLong(&ok);
        if (!ok || *entry.size < 0)
            in.fail(QStringLiteral("a malformed size"));
    }
    entry.modified = in.dateAttribute("lastmodificationdate");
    in.dateAttribute("creationdate");
    entry.path = in.text();
    if (entry.path.isEmpty() || entry.path.startsWith(QLatin1Char('/'))
        || entry.path.split(QLatin1Char('/')).contains(QStringLiteral("..")))
        in.fail(QStringLiteral("a path that leaves its folder: %1").arg(entry.path));
    if (directory) {
        readContentAndStructure(in, entry.content, entry.structure);
    } else {
        entry.hashes = readValues(in, true);
        if (in.optional("previousPath"))
            entry.previousPath = in.text();
    }
    if (in.optional("metadata"))
        readMetadata(in, entry);
    in.end();
    return entry;
}

} // namespace

MhlManifest read(const QByteArray &bytes, const QString &path)
{
    XmlReading in(bytes, path, QLatin1String(manifestNamespace));
    MhlManifest manifest;
    in.root("hashlist");
    if (in.attribute("version") != QLatin1String("2.0"))
        in.fail(QStringLiteral("version is not 2.0"));

    in.expect("creatorinfo");
    in.expect("creationdate");
    manifest.creationDate = in.dateText();
    in.expect("hostname");
    manifest.hostName = in.text();
    in.expect("tool");
    manifest.toolVersion = in.attribute("version");
    manifest.toolName = in.text();
    while (in.optional("author"))
        in.text();
    if (in.optional("location"))
        in.text();
    if (in.optional("comment"))
        manifest.comment = in.text();
    in.end();

    in.expect("processinfo");
    in.expect("process");
    manifest.process = in.text();
    if (!QStringList{"in-place", "transfer", "flatten"}.contains(manifest.process))
        in.fail(QStringLiteral("unknown process “%1”").arg(manifest.process));
    if (in.optional("roothash")) {
        readContentAndStructure(in, manifest.rootContent, manifest.rootStructure);
        in.end();
    }
    if (in.optional("ignore")) {
        while (in.optional("pattern"))
            manifest.ignorePatterns.append(in.text());
        in.end();
    }
    in.end();

    if (in.optional("hashes")) {
        QSet<QString> seen;
        for (;;) {
            const bool file = in.optional("hash");
            if (!file && !in.optional("directoryhash"))
                break;
            manifest.entries.push_back(readEntry(in, !file));
            const QString key = (file ? QStringLiteral("f:") : QStringLiteral("d:")) + manifest.entries.back().path;
            if (seen.contains(key))
                in.fail(QStringLiteral("two entries for %1").arg(manifest.entries.back().path));
            seen.insert(key);
        }
        in.end();
    }
    if (in.optional("metadata"))
        in.skip();
    if (in.optional("references")) {
        while (in.optional("hashlistreference")) {
            MhlReference reference;
            in.expect("path");
            reference.path = in.text();
            in.expect("c4");
            reference.c4 = in.text();
            in.end();
            manifest.references.push_back(reference);
        }
        in.end();
    }
    in.end();
    in.finish();
    return manifest;
}

} // namespace vantor::ManifestXml

namespace vantor {

const MhlHashValue *MhlManifest::rootHash(HashFormat format, bool structure) const
{
    const auto &values = structure ? rootStructure : rootContent;
    for (const MhlHashValue &value : values)
        if (value.format == format)
            return &value;
    return nullptr;
}

} // namespace vantor
