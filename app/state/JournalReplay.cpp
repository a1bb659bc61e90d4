#include "state/JournalReplay.h"

#include "base/FieldReader.h"
#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "state/InParts.h"
#include "state/JobListScanner.h"
#include "state/StateMirror.h"

#include <QtEndian>
#include <algorithm>
#include <cstring>

namespace vantor {

namespace {

constexpr std::size_t framesPerThread = 256;
constexpr std::size_t jobsPerThread = 256;

std::uint32_t u32(const char *at) { return qFromLittleEndian<std::uint32_t>(at); }
std::uint64_t u64(const char *at) { return qFromLittleEndian<std::uint64_t>(at); }

DecodingError damaged(std::size_t frame, const QString &problem, const QString &path)
{
    return DecodingError(
        QStringLiteral("Frame %1 of the state journal is damaged (%2): %3").arg(frame).arg(problem, path));
}

bool zeros(const char *data, qsizetype size)
{
    return std::all_of(data, data + size, [](char c) { return c == 0; });
}

} // namespace

JournalReplay::JournalReplay(const QByteArray &data, std::uint64_t base, const QString &path)
    : m_bytes(data.constData()), m_path(path)
{
    try {
        readFrames(data, base, path);
    } catch (const DecodingError &) {
        m_damage = std::current_exception();
        m_frames.clear();
        return;
    }
    splitFrames();
    markReplaced();
}

bool JournalReplay::carries(const QUuid &id) const
{
    return !m_damage && m_last.contains(id);
}

void JournalReplay::readFrames(const QByteArray &data, std::uint64_t base, const QString &path)
{
    const char *bytes = data.constData();
    const qsizetype size = data.size();
    using namespace JournalCodec;
    // The header is written whole by an atomic replace, so any flaw in it is damage.
    if (size < headerSize || std::memcmp(bytes, magic, 8) != 0 || u64(bytes + 16) != digest(bytes, 16))
        throw DecodingError(QStringLiteral("The state journal's header is damaged or of an unknown format: ") + path);
    if (u64(bytes + 8) != base)
        return; // written before the state file was last replaced: already in it
    m_outcome.applies = true;
    qsizetype at = headerSize;
    while (at < size) {
        const std::size_t number = m_frames.size() + 1;
        const qsizetype left = size - at;
        if (left < frameHeaderSize) {
            m_outcome.tornTail = true;
            break;
        }
        const std::uint32_t length = u32(bytes + at);
        if (u32(bytes + at + 4) != ~length) {
            // A file system may make a file longer before the appended bytes reach it.
            if (zeros(bytes + at, left)) {
                m_outcome.tornTail = true;
                break;
            }
            throw damaged(number, QStringLiteral("its length is inconsistent"), path);
        }
        if (qsizetype(length) > left - frameHeaderSize) {
            m_outcome.tornTail = true;
            break;
        }
        const qsizetype payload = at + frameHeaderSize;
        if (u64(bytes + at + 8) != digest(bytes + payload, length)) {
            if (payload + qsizetype(length) == size) {
                m_outcome.tornTail = true; // the last frame, its bytes not all written
                break;
            }
            throw damaged(number, QStringLiteral("its checksum does not match"), path);
        }
        Frame &frame = m_frames.emplace_back();
        frame.begin = payload;
        frame.length = qsizetype(length);
        at = payload + qsizetype(length);
    }
    m_outcome.wholeLength = at;
}

// Each payload is decoded without its job records, which are only found and their ids read;
// a payload not shaped for that is decoded whole.
void JournalReplay::splitFrames()
{
    inParts(m_frames.size(), partCount(m_frames.size(), framesPerThread), [&](std::size_t begin, std::size_t end, std::size_t) {
        for (std::size_t i = begin; i < end; ++i) {
            Frame &frame = m_frames[i];
            const char *payload = m_bytes + frame.begin;
            try {
                const std::optional<JobsSplit> split = JobListScanner(payload, frame.length).split();
                if (!split) {
                    frame.change = JournalCodec::decodePayload(QByteArray::fromRawData(payload, frame.length));
                    continue;
                }
                QByteArray rest;
                rest.reserve(frame.length - (split->arrayEnd - split->arrayBegin) + 2);
                rest.append(payload, split->arrayBegin);
                rest += "[]";
                rest.append(payload + split->arrayEnd, frame.length - split->arrayEnd);
                frame.change = JournalCodec::decodePayload(rest);
                frame.split = true;
                frame.records.reserve(split->elements.size());
                for (std::size_t e = 0; e < split->elements.size(); ++e) {
                    Record &record = frame.records.emplace_back();
                    record.begin = frame.begin + split->elements[e].first;
                    record.end = frame.begin + split->elements[e].second;
                    record.id = split->ids[e];
                }
            } catch (const std::exception &error) { // none may leave the thread
                frame.error = errorText(error);
            }
        }
    });
}

void JournalReplay::markReplaced()
{
    for (Frame &frame : m_frames) {
        for (Record &record : frame.records) {
            if (!record.id)
                continue;
            Record *&last = m_last[*record.id];
            if (last)
                last->needed = false;
            last = &record;
        }
    }
}

void JournalReplay::decodeNeeded()
{
    std::vector<Record *> needed;
    for (Frame &frame : m_frames) {
        for (Record &record : frame.records) {
            if (record.needed)
                needed.push_back(&record);
        }
    }
    inParts(needed.size(), partCount(needed.size(), jobsPerThread), [&](std::size_t begin, std::size_t end, std::size_t) {
        for (std::size_t i = begin; i < end; ++i) {
            Record &record = *needed[i];
            try {
                const QByteArray text = QByteArray::fromRawData(m_bytes + record.begin, record.end - record.begin);
                record.job = readFields<MediaJob>(JsonCodec::parse(text));
                if (record.id && record.job->id != *record.id)
                    record.error = QStringLiteral("a job gives its id twice");
            } catch (const std::exception &error) {
                record.error = errorText(error);
            }
        }
    });
}

void JournalReplay::applyTo(StateMirror &mirror)
{
    if (m_damage)
        std::rethrow_exception(m_damage);
    decodeNeeded();
    for (std::size_t i = 0; i < m_frames.size(); ++i) {
        Frame &frame = m_frames[i];
        if (!frame.error.isEmpty())
            throw damaged(i + 1, frame.error, m_path);
        StateChange change = std::move(*frame.change);
        if (frame.split) {
            change.jobs.reserve(frame.records.size());
            for (Record &record : frame.records) {
                if (!record.error.isEmpty())
                    throw damaged(i + 1, record.error, m_path);
                if (record.job) {
                    change.jobs.push_back(std::move(*record.job));
                } else {
                    // A replaced version holds its place in the queue until its last version comes.
                    change.jobs.emplace_back().id = *record.id;
                }
            }
        }
        try {
            mirror.apply(std::move(change));
        } catch (const DecodingError &error) {
            throw damaged(i + 1, error.message(), m_path);
        }
        frame = Frame();
        ++m_outcome.frames;
    }
}

} // namespace vantor
