#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QXmlStreamAttributes>
#include <QXmlStreamReader>

namespace vantor {

// A strict walk through an ASC MHL document's elements in their schema order: each call names
// the element the schema allows next, and anything else fails with the line and the file.
class XmlReading {
public:
    XmlReading(const QByteArray &bytes, const QString &path, const QString &namespaceUri);

    void root(const char *name);
    void expect(const char *name);         // the next child must be this element; it becomes current
    bool optional(const char *name);       // takes the next child if it is this element
    bool peekChild();                      // whether the current element has another child
    void take();                           // makes the peeked child current
    bool nextAnyChild();                   // takes the next child of any namespace, false at the end
    QString name() const;                  // of the peeked or current element
    QString namespaceUri() const;
    QString attribute(const char *name) const;      // of the current element; empty if absent
    QDateTime dateAttribute(const char *name);      // invalid if absent
    QString text();                        // the current element's text; closes it
    QDateTime dateText();
    void skip();                           // closes the current element with all it holds
    void end();                            // the current element must have no further children
    void finish();
    [[noreturn]] void fail(const QString &what) const;

private:
    QDateTime parseDate(const QString &text);

    QXmlStreamReader m_reader;
    QString m_path;
    QString m_namespace;
    QXmlStreamAttributes m_attributes;
    bool m_pending = false;
    bool m_endSeen = false;
};

} // namespace vantor
