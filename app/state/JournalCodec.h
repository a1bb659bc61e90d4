#pragma once

#include "state/StateChange.h"

#include <QByteArray>
#include <QString>
#include <cstdint>

namespace vantor {

class StateMirror;

// The journal's bytes. A header binds the journal to the state file it follows (by the xxHash64
// of that file's bytes); then one frame per save: payload length (u32), its complement (u32),
// the payload's xxHash64 (u64), all little-endian, then the payload, the change as JSON.
namespace JournalCodec {

inline constexpr char magic[] = "VJOURNL1"; // eight bytes; the digit is the format
inline constexpr qsizetype headerSize = 24; // magic, base digest, digest of those 16 bytes
inline constexpr qsizetype frameHeaderSize = 16;

std::uint64_t digest(const char *data, std::size_t size);
QByteArray header(std::uint64_t base);
QByteArray frame(const StateChange &change);
QByteArray framePayload(const QByteArray &payload); // any payload, framed as a change's is

QByteArray encodePayload(const StateChange &change);
StateChange decodePayload(const QByteArray &payload); // throws DecodingError

struct Replay {
    bool applies = false;     // the journal follows this very state file
    qsizetype wholeLength = 0; // header and whole frames, when it applies
    bool tornTail = false;    // bytes after the last whole frame: an append cut short
    long frames = 0;          // whole frames applied
};

// Applies the frames of `data` to `mirror` when its header names `base`; a journal for another
// state file applies nothing. An unfinished last frame is left out; any other damage throws
// DecodingError naming `path`. See JournalReplay, which this runs.
Replay replay(const QByteArray &data, std::uint64_t base, StateMirror &mirror, const QString &path);

} // namespace JournalCodec

} // namespace vantor
