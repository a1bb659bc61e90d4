#include "state/JournalCodec.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"
#include "base/VantorError.h"
#include "ingest/XXHash64.h"
#include "state/JournalReplay.h"

#include <QtEndian>

namespace vantor::JournalCodec {

namespace {

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
    return framePayload(encodePayload(change));
}

QByteArray framePayload(const QByteArray &payload)
{
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
    JournalReplay journal(data, base, path);
    journal.applyTo(mirror);
    return journal.outcome();
}

} // namespace vantor::JournalCodec
