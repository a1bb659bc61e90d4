#include "state/StateStore.h"

#include "base/AtomicFile.h"
#include "base/FieldReader.h"
#include "base/FieldWriter.h"
#include "base/FileIo.h"
#include "base/JsonCodec.h"
#include "base/JsonText.h"
#include "base/VantorError.h"
#include "ingest/XXHash64.h"
#include "state/InParts.h"
#include "state/JobListScanner.h"
#include "state/JournalCodec.h"
#include "state/JournalReplay.h"
#include "state/StateMirror.h"

#include <QSet>
#include <QStandardPaths>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <thread>

namespace vantor::StateStore {

namespace {

// Below this many jobs one thread is quicker than starting more.
constexpr std::size_t jobsPerThread = 1000;

// Smaller files are read whole at once. The fuzzing build lowers it so that small inputs take
// the path that reads in parts too.
#ifndef VANTOR_STATE_PARTS_MINIMUM
#define VANTOR_STATE_PARTS_MINIMUM 65536
#endif

QString statePath(const QString &directory)
{
    return directory + QLatin1Char('/') + QLatin1String(fileName);
}

QByteArray readWhole(int fd);

// The bytes of a file that must be a regular file and not a link; nothing when there is none.
std::optional<QByteArray> readIfPresent(const QString &path, const QString &what)
{
    FileIo::UniqueFd file;
    try {
        // A link would be replaced by the next save's rename: it is refused, dangling or not.
        file = FileIo::open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    } catch (const std::system_error &error) {
        if (error.code().value() == ENOENT)
            return std::nullopt;
        if (error.code().value() == ELOOP)
            throw VantorError(QStringLiteral("The %1 is a symbolic link, which Vantor neither follows nor replaces: ")
                                  .arg(what)
                              + path);
        throwSystemError(error.code().value(), path);
    }
    if (!S_ISREG(FileIo::fstat(file.get()).st_mode))
        throw VantorError(QStringLiteral("The %1 is not a regular file: ").arg(what) + path);
    return readWhole(file.get());
}

QByteArray readWhole(int fd)
{
    QByteArray data;
    const struct stat info = FileIo::fstat(fd);
    data.reserve(qsizetype(info.st_size) + 1);
    char buffer[65536];
    while (const std::size_t got = FileIo::read(fd, buffer, sizeof buffer))
        data.append(buffer, qsizetype(got));
    return data;
}

// Writes the state's members with the job list left as a marker: the jobs are written in parts
// on a few threads, and their texts go where the marker is.
constexpr char jobsMarker = '\x01'; // written escaped inside any string, so found only here

class StateWriter : public FieldWriter {
public:
    using FieldWriter::FieldWriter;
    using FieldWriter::records;
    void records(const char *key, const std::vector<MediaJob> &jobs)
    {
        if (jobs.empty())
            return FieldWriter::records(key, jobs);
        m_object.text(key, [](QByteArray &out, int depth) {
            out += '[';
            out += jobsMarker;
            out += '\n';
            JsonText::appendIndent(out, depth);
            out += ']';
        });
    }
};

// Decodes the state with its jobs parsed and decoded in parts on a few threads; empty when the
// document is not shaped for it. Throws on any flaw. A job the journal carries whole is left
// with only its id, which keeps its place until the journal's version replaces it.
std::optional<AppState> decodeInParts(const QByteArray &data, const JournalReplay *journal)
{
    if (data.size() < VANTOR_STATE_PARTS_MINIMUM)
        return std::nullopt;
    const std::optional<JobsSplit> split = JobListScanner(data).split();
    if (!split)
        return std::nullopt;
    QByteArray rest;
    rest.reserve(data.size() - (split->arrayEnd - split->arrayBegin) + 2);
    rest.append(data.constData(), split->arrayBegin);
    rest += "[]";
    rest.append(data.constData() + split->arrayEnd, data.size() - split->arrayEnd);
    AppState state = readFields<AppState>(JsonCodec::parse(rest));

    const auto &elements = split->elements;
    state.jobs.resize(elements.size());
    // Each job is parsed where it lies, without copying: a small working set per job keeps the
    // time per job the same however long the history is.
    inParts(elements.size(), partCount(elements.size(), jobsPerThread), [&](std::size_t begin, std::size_t end, std::size_t) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto [first, last] = elements[i];
            if (const std::optional<QUuid> &id = split->ids[i]; journal && id && journal->carries(*id)) {
                state.jobs[i].id = *id;
                continue;
            }
            const QByteArray text = QByteArray::fromRawData(data.constData() + first, last - first);
            state.jobs[i] = readFields<MediaJob>(JsonCodec::parse(text));
        }
    });
    return state;
}

std::vector<QByteArray> encodeInPieces(const AppState &state)
{
    // The jobs are most of the file: each part writes its share of them into its own text, and
    // the rest of the state is written around them.
    const std::vector<MediaJob> &jobs = state.jobs;
    std::vector<QByteArray> jobTexts(partCount(jobs.size(), jobsPerThread));
    inParts(jobs.size(), jobTexts.size(), [&](std::size_t begin, std::size_t end, std::size_t index) {
        QByteArray &text = jobTexts[index];
        text.reserve(qsizetype(end - begin) * 2600);
        for (std::size_t i = begin; i < end; ++i) {
            text += i == 0 ? "\n" : ",\n";
            JsonText::appendIndent(text, 2);
            appendFields(text, jobs[i], 2);
        }
    });

    JsonText::Object top(0);
    StateWriter writer(top);
    visitFields(state, writer);
    QByteArray out;
    top.finish(out);
    out += '\n';

    // The job texts are not copied into one buffer: the pieces go to the file one by one.
    std::vector<QByteArray> pieces;
    const qsizetype marker = out.indexOf(jobsMarker);
    if (marker >= 0) {
        pieces.push_back(out.left(marker));
        for (QByteArray &text : jobTexts)
            pieces.push_back(std::move(text));
        out.remove(0, marker + 1);
    }
    pieces.push_back(std::move(out));
    return pieces;
}

// The queue finds a job by its id: two jobs with one id would be one job to it.
void refuseDuplicateJobs(const AppState &state)
{
    QSet<QUuid> seen;
    seen.reserve(qsizetype(state.jobs.size()));
    for (const MediaJob &job : state.jobs) {
        if (seen.contains(job.id))
            throw DecodingError(QStringLiteral("More than one job has the id %1.")
                                    .arg(job.id.toString(QUuid::WithoutBraces).toUpper()));
        seen.insert(job.id);
    }
}

} // namespace

QString directory()
{
    const QByteArray redirected = qgetenv("VANTOR_SUPPORT_DIR");
    if (!redirected.isEmpty())
        return QString::fromLocal8Bit(redirected);
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Vantor");
}

AppState load(const QString &directory)
{
    return read(directory).state;
}

Loaded read(const QString &directory)
{
    const std::optional<QByteArray> data = readIfPresent(statePath(directory), QStringLiteral("state file"));
    if (!data)
        return {AppState::fresh()};
    Loaded loaded;
    loaded.stateSize = data->size();
    const QString journal = directory + QLatin1Char('/') + QLatin1String(journalName);
    const std::optional<QByteArray> frames = readIfPresent(journal, QStringLiteral("state journal"));
    // The journal is read first so that a job it carries is decoded once, in its last version.
    std::optional<JournalReplay> replay;
    if (frames)
        replay.emplace(*frames, JournalCodec::digest(data->constData(), std::size_t(data->size())), journal);
    StateMirror mirror(decodeBefore(*data, replay ? &*replay : nullptr));
    if (replay) {
        replay->applyTo(mirror);
        loaded.journalUsable = replay->outcome().applies && !replay->outcome().tornTail;
        loaded.journalLength = replay->outcome().wholeLength;
    }
    loaded.state = mirror.takeState();
    return loaded;
}

Written save(const AppState &state, const QString &directory)
{
    const std::vector<QByteArray> pieces = encodeInPieces(state);
    AtomicFile::makeFolders(directory);
    AtomicFile::replace(statePath(directory), pieces);
    Written written;
    XXHash64 hash;
    for (const QByteArray &piece : pieces) {
        hash.update(piece);
        written.size += piece.size();
    }
    written.digest = hash.finalizeValue();
    return written;
}

QByteArray encode(const AppState &state)
{
    const std::vector<QByteArray> pieces = encodeInPieces(state);
    qsizetype size = 0;
    for (const QByteArray &piece : pieces)
        size += piece.size();
    QByteArray data;
    data.reserve(size);
    for (const QByteArray &piece : pieces)
        data += piece;
    return data;
}

AppState decode(const QByteArray &data)
{
    return decodeBefore(data, nullptr);
}

AppState decodeBefore(const QByteArray &data, const JournalReplay *journal)
{
    // The quick path reads the job list in parts; whatever it refuses is read again whole, so
    // the error reported is always the one the whole document gives.
    std::optional<AppState> state;
    try {
        state = decodeInParts(data, journal);
    } catch (const std::exception &) {
    }
    if (!state)
        state = readFields<AppState>(JsonCodec::parse(data));
    refuseDuplicateJobs(*state);
    return std::move(*state);
}

} // namespace vantor::StateStore
