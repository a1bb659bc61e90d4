#pragma once

#include "state/JournalCodec.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

namespace vantor {

class StateMirror;

// A journal read ahead of the state it follows, so that each job is decoded once: in the last
// version a frame carries, or from state.json when no frame carries it. A journal that names
// the state file holds the very bytes that were written (the frames by their checksums,
// state.json by the digest in the header), so an earlier version of a job that a later record
// replaces is checked by its frame's checksum and its id, and not decoded.
class JournalReplay {
public:
    // Checks the frames by their lengths and checksums and reads every job record's id. Damage
    // is kept for applyTo(), so that a damaged state file is still reported before its journal.
    JournalReplay(const QByteArray &data, std::uint64_t base, const QString &path);

    const JournalCodec::Replay &outcome() const { return m_outcome; }
    // A frame that applies carries this job whole: an earlier version need not be decoded.
    bool carries(const QUuid &id) const;
    // Decodes what is needed and applies the frames in order. Throws DecodingError naming the
    // journal for a damaged header or frame, or the first frame that cannot be decoded or does
    // not fit the state. Called once.
    void applyTo(StateMirror &mirror);

private:
    struct Record {
        qsizetype begin = 0, end = 0; // the job's text in the journal
        std::optional<QUuid> id;      // when it could be read without decoding the job
        bool needed = true;           // no later record replaces it
        std::optional<MediaJob> job;
        QString error;
    };
    struct Frame {
        qsizetype begin = 0, length = 0; // the payload
        std::optional<StateChange> change; // with its jobs in `records` when they were split off
        bool split = false;
        std::vector<Record> records;
        QString error;
    };

    void readFrames(const QByteArray &data, std::uint64_t base, const QString &path);
    void splitFrames();
    void markReplaced();
    void decodeNeeded();

    const char *m_bytes;
    QString m_path;
    JournalCodec::Replay m_outcome;
    std::exception_ptr m_damage;
    std::vector<Frame> m_frames;
    QHash<QUuid, Record *> m_last; // each id's last record with a readable id
};

} // namespace vantor
