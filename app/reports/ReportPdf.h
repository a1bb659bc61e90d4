#pragma once

#include <QByteArray>
#include <QString>

namespace vantor {

// Lays an HTML report out on A4 pages through QTextDocument and returns the PDF. Needs a
// QGuiApplication (the offscreen platform is enough).
namespace ReportPdf {

QByteArray render(const QString &html, const QString &title);

} // namespace ReportPdf

} // namespace vantor
