#pragma once

#include <QByteArray>
#include <QString>
#include <vector>

namespace vantor {

// One line of a history's chain: a generation's manifest and the C4 of its exact bytes.
struct ChainEntry {
    int sequence = 0;
    QString path; // the manifest's name inside ascmhl/
    QString c4;
};

// The chain file ascmhl_chain.xml (namespace urn:ASC:MHL:DIRECTORY:v2.0).
namespace ChainXml {

inline constexpr char chainNamespace[] = "urn:ASC:MHL:DIRECTORY:v2.0";

QByteArray write(const std::vector<ChainEntry> &entries);
std::vector<ChainEntry> read(const QByteArray &xml, const QString &path); // strict, as ManifestXml::read

} // namespace ChainXml

} // namespace vantor
