#pragma once

#include <QByteArray>
#include <QString>

namespace vantor {

// C4 IDs: the SHA-512 of some bytes as a base58 number, padded with '1' to 88 digits, after "c4".
namespace C4 {

QString encode(const QByteArray &sha512); // 64 raw bytes
QByteArray decode(const QString &id);     // throws VantorError for anything but a C4 ID
QString ofBytes(const QByteArray &data);
QString ofFile(const QString &path);      // read through FileIo; the system's errors pass through

} // namespace C4

} // namespace vantor
