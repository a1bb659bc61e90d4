#pragma once

#include "base/ChecksumAlgorithm.h"

#include <QByteArray>
#include <QString>
#include <optional>

namespace vantor {

// The hash formats of an ASC MHL manifest, in the order its schema lists them.
enum class HashFormat { c4, md5, sha1, xxh128, xxh3, xxh64 };

namespace HashFormats {

QString name(HashFormat format); // the element name: "xxh64"
std::optional<HashFormat> fromName(const QString &name);
// Vantor computes c4, md5, sha1 and xxh64; xxh3 and xxh128 are read and kept, never computed.
bool computable(HashFormat format);
// The format that records a copy's digest, if the standard has one (SHA-256 has none).
std::optional<HashFormat> fromChecksum(ChecksumAlgorithm algorithm);

// A digest's text (lower-case hex, or a C4 ID) and its raw bytes; folder hashes work on the bytes.
QString text(HashFormat format, const QByteArray &raw);
QByteArray raw(HashFormat format, const QString &text); // throws VantorError for malformed text

} // namespace HashFormats

} // namespace vantor
