#include "mhl/XmlReading.h"

#include "base/VantorError.h"

namespace vantor {

XmlReading::XmlReading(const QByteArray &bytes, const QString &path, const QString &namespaceUri)
    : m_reader(bytes), m_path(path), m_namespace(namespaceUri)
{
}

void XmlReading::fail(const QString &what) const
{
    throw VantorError(QStringLiteral("The ASC MHL file could not be read (line %1: %2): %3")
                          .arg(m_reader.lineNumber()).arg(what, m_path));
}

void XmlReading::root(const char *name)
{
    while (!m_reader.atEnd() && m_reader.readNext() != QXmlStreamReader::StartElement) {
    }
    if (m_reader.hasError())
        fail(m_reader.errorString());
    if (m_reader.tokenType() != QXmlStreamReader::StartElement || m_reader.name() != QLatin1String(name)
        || m_reader.namespaceUri() != m_namespace)
        fail(QStringLiteral("the document is not a <%1> of %2").arg(QLatin1String(name), m_namespace));
    m_attributes = m_reader.attributes();
}

bool XmlReading::peekChild()
{
    if (m_pending)
        return true;
    if (m_endSeen)
        return false;
    for (;;) {
        switch (m_reader.readNext()) {
        case QXmlStreamReader::StartElement:
            m_pending = true;
            return true;
        case QXmlStreamReader::EndElement:
            m_endSeen = true;
            return false;
        case QXmlStreamReader::Characters:
            if (!m_reader.isWhitespace())
                fail(QStringLiteral("unexpected text"));
            break;
        case QXmlStreamReader::Invalid:
            fail(m_reader.errorString());
        case QXmlStreamReader::EndDocument:
            fail(QStringLiteral("the document ends early"));
        default:
            break;
        }
    }
}

void XmlReading::take()
{
    m_pending = false;
    m_attributes = m_reader.attributes();
}

bool XmlReading::optional(const char *name)
{
    if (!peekChild() || m_reader.name() != QLatin1String(name) || m_reader.namespaceUri() != m_namespace)
        return false;
    take();
    return true;
}

void XmlReading::expect(const char *name)
{
    if (!optional(name)) {
        if (m_pending)
            fail(QStringLiteral("<%1> where <%2> belongs").arg(m_reader.name().toString(), QLatin1String(name)));
        fail(QStringLiteral("<%1> is missing").arg(QLatin1String(name)));
    }
}

bool XmlReading::nextAnyChild()
{
    if (peekChild()) {
        take();
        return true;
    }
    m_endSeen = false;
    return false;
}

QString XmlReading::name() const
{
    return m_reader.name().toString();
}

QString XmlReading::namespaceUri() const
{
    return m_reader.namespaceUri().toString();
}

QString XmlReading::attribute(const char *name) const
{
    return m_attributes.value(QLatin1String(name)).toString();
}

QDateTime XmlReading::parseDate(const QString &text)
{
    const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!date.isValid())
        fail(QStringLiteral("a malformed date “%1”").arg(text));
    return date.toUTC();
}

QDateTime XmlReading::dateAttribute(const char *name)
{
    const QString text = attribute(name);
    return text.isEmpty() ? QDateTime() : parseDate(text);
}

QString XmlReading::text()
{
    const QString text = m_reader.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
    if (m_reader.hasError())
        fail(m_reader.errorString());
    return text.trimmed();
}

QDateTime XmlReading::dateText()
{
    return parseDate(text());
}

void XmlReading::skip()
{
    m_reader.skipCurrentElement();
    if (m_reader.hasError())
        fail(m_reader.errorString());
}

void XmlReading::end()
{
    if (peekChild())
        fail(QStringLiteral("unexpected <%1>").arg(m_reader.name().toString()));
    m_endSeen = false;
}

void XmlReading::finish()
{
    while (!m_reader.atEnd()) {
        m_reader.readNext();
        if (m_reader.isStartElement() || (m_reader.isCharacters() && !m_reader.isWhitespace()))
            fail(QStringLiteral("content after the document"));
    }
    if (m_reader.hasError() && m_reader.error() != QXmlStreamReader::PrematureEndOfDocumentError)
        fail(m_reader.errorString());
}

} // namespace vantor
