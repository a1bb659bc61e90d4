#include "state/JournalCodec.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"
#include "base/VantorError.h"
#include "ingest/XXHash64.h"
#include "state/StateMirror.h"

#include <QtEndian>
#include <algorithm>
#include <cstring>
#include <optional>
#include <thread>

namespace vantor::JournalCodec {

namespace {

constexpr char magic[] = "VJOURNL1"; // eight bytes; the digit is the format

std::uint32_t u32(const char *at) { return qFromLittleEndian<std::uint32_t>(at); }
std::uint64_t u64(const char *at) { return qFromLittleEndian<std::uint64_t>(at); }

void put32(QByteArray &out, std::uint32_t value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

void put64(QByteArray &out, std::uint64_t value)
{
    char bytes[8];
    qToLittleEndian(value, bytes);
    out.append(bytes, 8);
}

QStringList uuidTexts(const std::vector<QUuid> &ids)
{
    QStringList texts;
    texts.reserve(qsizetype(ids.size()));
    for (const QUuid &id : ids)
        texts << JsonCodec::uuid(id).toString();
    return texts;
}

std::vector<QUuid> uuids(const JsonReader &reader, const char *key)
{
    std::vector<QUuid> ids;
    const QJsonArray array = reader.array(key);
    ids.reserve(std::size_t(array.size()));
    for (const QJsonValue &value : array)
        ids.push_back(JsonCodec::decodeUuid(value, reader.context(key)));
    return ids;
}

[[noreturn]] void damaged(long frame, const QString &problem, const QString &path)
{
    throw DecodingError(QStringLiteral("Frame %1 of the state journal is damaged (%2): %3").arg(frame).arg(problem, path));
}

bool zeros(const char *data, qsizetype size)
{
    return std::all_of(data, data + size, [](char c) { return c == 0; });
}

// The parts a change carries whole, listed once for the writer and the reader: each is there
// exactly when the change's `parts` names it.
template <typename Change, typename Visitor> void visitWholeParts(Change &change, Visitor &v)
{
    if (change.has(StateChange::templates))
        v.records("templates", change.templateList);
    if (change.has(StateChange::presets))
        v.records("presets", change.presetList);
    if (change.has(StateChange::watches))
        v.records("watches", change.watchList);
    if (change.has(StateChange::project)) {
        v.record("project", change.projectContext);
        v.record("projectGrant", change.projectGrant);
    }
    if (change.has(StateChange::settings)) {
        v.string("ffmpeg", change.ffmpeg);
        v.record("transcodeDestination", change.transcodeDestination);
    }
}

} // namespace

std::uint64_t digest(const char *data, std::size_t size)
{
    XXHash64 hash;
    hash.update(data, size);
    return hash.finalizeValue();
}

QByteArray header(std::uint64_t base)
{
    QByteArray out(magic, 8);
    put64(out, base);
    put64(out, digest(out.constData(), 16));
    return out;
}

QByteArray encodePayload(const StateChange &change)
{
    JsonText::Object top(0);
    FieldWriter writer(top);
    writer.integer("parts", change.parts);
    if (!change.jobs.empty())
        writer.records("jobs", change.jobs);
    if (!change.removed.empty())
        writer.strings("removed", uuidTexts(change.removed));
    if (change.has(StateChange::order))
        writer.strings("order", uuidTexts(change.jobOrder));
    visitWholeParts(change, writer);
    QByteArray out;
    top.finish(out);
    return out;
}

StateChange decodePayload(const QByteArray &payload)
{
    const JsonReader reader(JsonCodec::parse(payload), "StateChange");
    FieldReader fields(reader);
    StateChange change;
    const qint64 parts = reader.integer("parts");
    if (parts < 0 || parts >= StateChange::order << 1)
        reader.fail("parts", QStringLiteral("unknown value %1").arg(parts));
    change.parts = unsigned(parts);
    if (reader.has("jobs"))
        fields.records("jobs", change.jobs);
    if (reader.has("removed"))
        change.removed = uuids(reader, "removed");
    if (change.has(StateChange::order))
        change.jobOrder = uuids(reader, "order");
    visitWholeParts(change, fields);
    return change;
}

QByteArray frame(const StateChange &change)
{
    const QByteArray payload = encodePayload(change);
    QByteArray out;
    out.reserve(frameHeaderSize + payload.size());
    const auto length = std::uint32_t(payload.size());
    put32(out, length);
    put32(out, ~length);
    put64(out, digest(payload.constData(), std::size_t(payload.size())));
    out += payload;
    return out;
}

Replay replay(const QByteArray &data, std::uint64_t base, StateMirror &mirror, const QString &path)
{
    const char *bytes = data.constData();
    const qsizetype size = data.size();
    // The header is written whole by an atomic replace, so any flaw in it is damage.
    if (size < headerSize || std::memcmp(bytes, magic, 8) != 0 || u64(bytes + 16) != digest(bytes, 16))
        throw DecodingError(QStringLiteral("The state journal's header is damaged or of an unknown format: ") + path);
    Replay result;
    if (u64(bytes + 8) != base)
        return result; // written before the state file was last replaced: already in it
    result.applies = true;
    // First the whole frames, by their lengths and checksums alone.
    std::vector<std::pair<qsizetype, qsizetype>> payloads; // offset, length
    qsizetype at = headerSize;
    while (at < size) {
        const long number = long(payloads.size()) + 1;
        const qsizetype left = size - at;
        if (left < frameHeaderSize) {
            result.tornTail = true;
            break;
        }
        const std::uint32_t length = u32(bytes + at);
        if (u32(bytes + at + 4) != ~length) {
            // A file system may make a file longer before the appended bytes reach it.
            if (zeros(bytes + at, left)) {
                result.tornTail = true;
                break;
            }
            damaged(number, QStringLiteral("its length is inconsistent"), path);
        }
        if (qsizetype(length) > left - frameHeaderSize) {
            result.tornTail = true;
            break;
        }
        const qsizetype payload = at + frameHeaderSize;
        if (u64(bytes + at + 8) != digest(bytes + payload, length)) {
            if (payload + qsizetype(length) == size) {
                result.tornTail = true; // the last frame, its bytes not all written
                break;
            }
            damaged(number, QStringLiteral("its checksum does not match"), path);
        }
        payloads.emplace_back(payload, qsizetype(length));
        at = payload + qsizetype(length);
    }
    result.wholeLength = at;

    // Then their payloads, decoded on two threads (most of the work), applied in order.
    std::vector<std::optional<StateChange>> changes(payloads.size());
    std::vector<QString> errors(payloads.size());
    const auto decode = [&](std::size_t first, std::size_t step) {
        for (std::size_t i = first; i < payloads.size(); i += step) {
            try {
                changes[i] = decodePayload(QByteArray::fromRawData(bytes + payloads[i].first, payloads[i].second));
            } catch (const std::exception &error) { // none may leave the thread
                errors[i] = QString::fromUtf8(error.what());
            }
        }
    };
    if (payloads.size() >= 64) {
        std::thread other(decode, 1, 2);
        decode(0, 2);
        other.join();
    } else {
        decode(0, 1);
    }
    for (std::size_t i = 0; i < payloads.size(); ++i) {
        if (!changes[i])
            damaged(long(i) + 1, errors[i], path);
        try {
            mirror.apply(std::move(*changes[i]));
        } catch (const DecodingError &error) {
            damaged(long(i) + 1, error.message(), path);
        }
        changes[i].reset();
        ++result.frames;
    }
    return result;
}

} // namespace vantor::JournalCodec
