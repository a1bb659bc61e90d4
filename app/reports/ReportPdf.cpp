#include "reports/ReportPdf.h"

#include <QBuffer>
#include <QPageLayout>
#include <QPageSize>
#include <QPdfWriter>
#include <QTextDocument>

namespace vantor::ReportPdf {

QByteArray render(const QString &html, const QString &title)
{
    QByteArray pdf;
    QBuffer buffer(&pdf);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&buffer);
        writer.setTitle(title);
        writer.setCreator(QStringLiteral("Vantor"));
        writer.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait,
                                         QMarginsF(15, 15, 15, 15), QPageLayout::Millimeter));
        QTextDocument document;
        // A touch of letter spacing turns ligatures off, so the PDF's text copies and searches
        // as typed ("fi", not one glyph).
        QFont font = document.defaultFont();
        font.setLetterSpacing(QFont::AbsoluteSpacing, 0.05);
        document.setDefaultFont(font);
        document.setHtml(html);
        // print() lays the document out again on the writer's pages, breaks included.
        document.print(&writer);
    }
    buffer.close();
    return pdf;
}

} // namespace vantor::ReportPdf
