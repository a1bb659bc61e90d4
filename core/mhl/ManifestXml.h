#pragma once

#include "mhl/MhlManifest.h"

#include <QByteArray>
#include <QString>

namespace vantor {

// A manifest's XML (namespace urn:ASC:MHL:v2.0) in the schema's element order.
namespace ManifestXml {

inline constexpr char manifestNamespace[] = "urn:ASC:MHL:v2.0";
inline constexpr char vantorNamespace[] = "urn:vantor:mhl:1";

QByteArray write(const MhlManifest &manifest);
// Strict: elements out of the schema's order, unknown elements and malformed values are refused
// with a VantorError that gives the line and names `path`.
MhlManifest read(const QByteArray &xml, const QString &path);

QString dateText(const QDateTime &date); // "2020-01-16T09:15:00+00:00"

} // namespace ManifestXml

} // namespace vantor
