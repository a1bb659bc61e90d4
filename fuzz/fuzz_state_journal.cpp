// Any bytes after a journal header either are refused as damage or replay onto a state whose
// encoding reads back to itself; the replay stops at the same place and gives the same state
// when the journal is cut at its last whole frame; any bytes taken as one frame's payload
// either fail or decode to a change whose encoding is stable; and the same bytes cut at NUL
// bytes into payloads and framed here (so past the checksums) load, decoding each job once, to
// the state that decoding and applying every payload in turn gives, whenever that succeeds.
#include "state/JournalCodec.h"
#include "state/JournalReplay.h"
#include "state/StateMirror.h"
#include "state/StateStore.h"
#include "base/VantorError.h"
#include "presets/PresetService.h"

#include <cstdint>
#include <cstdlib>

namespace {

using namespace vantor;

// Three jobs with fixed ids, so that frames in the corpus can name them.
AppState baseState()
{
    AppState state = AppState::fresh();
    const TranscodePreset preset = PresetService::defaults().first();
    for (int i = 0; i < 3; ++i) {
        MediaJob job = MediaJob::make(QStringLiteral("/media/A/clip%1.mov").arg(i), FileGrant(QStringLiteral("/media")),
                                      QStringLiteral("/p"), FileGrant(QStringLiteral("/p")),
                                      QStringLiteral("/p/clip%1.mov").arg(i), std::nullopt, JobOperation::copy, preset,
                                      ChecksumAlgorithm(), 1024, Timestamp{});
        job.id = QUuid(QStringLiteral("00000000-0000-4000-8000-00000000000%1").arg(i));
        state.jobs.push_back(job);
    }
    return state;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const AppState base = baseState();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));

    const QByteArray journal = JournalCodec::header(7) + bytes;
    StateMirror mirror(base);
    JournalCodec::Replay replay;
    try {
        replay = JournalCodec::replay(journal, 7, mirror, QStringLiteral("fuzz"));
    } catch (const DecodingError &) {
        replay.applies = false;
    }
    if (replay.applies) {
        const QByteArray encoded = StateStore::encode(mirror.state());
        if (StateStore::encode(StateStore::decode(encoded)) != encoded)
            std::abort();
        StateMirror again(base);
        const JournalCodec::Replay cut = JournalCodec::replay(journal.left(replay.wholeLength), 7, again, QStringLiteral("fuzz"));
        if (cut.tornTail || cut.frames != replay.frames || StateStore::encode(again.state()) != encoded)
            std::abort();
    }

    const QByteArray stateFile = StateStore::encode(base);
    const std::uint64_t digest = JournalCodec::digest(stateFile.constData(), std::size_t(stateFile.size()));
    QByteArray framed = JournalCodec::header(digest);
    const QList<QByteArray> payloads = bytes.split('\0');
    for (const QByteArray &payload : payloads)
        framed += JournalCodec::framePayload(payload);
    std::optional<QByteArray> expected;
    try {
        StateMirror each(base);
        for (const QByteArray &payload : payloads)
            each.apply(JournalCodec::decodePayload(payload));
        expected = StateStore::encode(each.state());
    } catch (const DecodingError &) {
    }
    if (expected) {
        JournalReplay journal(framed, digest, QStringLiteral("fuzz"));
        StateMirror once(StateStore::decodeBefore(stateFile, &journal));
        journal.applyTo(once); // throws, and so fails the run, where the plain replay did not
        if (StateStore::encode(once.state()) != *expected)
            std::abort();
    }

    try {
        const StateChange change = JournalCodec::decodePayload(bytes);
        const QByteArray encoded = JournalCodec::encodePayload(change);
        if (JournalCodec::encodePayload(JournalCodec::decodePayload(encoded)) != encoded)
            std::abort();
    } catch (const DecodingError &) {
    }
    return 0;
}
