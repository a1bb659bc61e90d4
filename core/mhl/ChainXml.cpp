#include "mhl/ChainXml.h"

#include "mhl/XmlReading.h"

#include <QXmlStreamWriter>

namespace vantor::ChainXml {

QByteArray write(const std::vector<ChainEntry> &entries)
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(2);
    xml.writeStartDocument();
    xml.writeDefaultNamespace(QLatin1String(chainNamespace));
    xml.writeStartElement(QStringLiteral("ascmhldirectory"));
    for (const ChainEntry &entry : entries) {
        xml.writeStartElement(QStringLiteral("hashlist"));
        xml.writeAttribute(QStringLiteral("sequencenr"), QString::number(entry.sequence));
        xml.writeTextElement(QStringLiteral("path"), entry.path);
        xml.writeTextElement(QStringLiteral("c4"), entry.c4);
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return bytes;
}

std::vector<ChainEntry> read(const QByteArray &bytes, const QString &path)
{
    XmlReading in(bytes, path, QLatin1String(chainNamespace));
    in.root("ascmhldirectory");
    std::vector<ChainEntry> entries;
    while (in.optional("hashlist")) {
        ChainEntry entry;
        bool ok = false;
        entry.sequence = in.attribute("sequencenr").toInt(&ok);
        if (!ok)
            in.fail(QStringLiteral("a generation without a sequence number"));
        in.expect("path");
        entry.path = in.text();
        in.expect("c4");
        entry.c4 = in.text();
        in.end();
        entries.push_back(entry);
    }
    in.end();
    in.finish();
    return entries;
}

} // namespace vantor::ChainXml
