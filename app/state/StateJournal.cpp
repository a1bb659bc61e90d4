#include "state/StateJournal.h"

#include "base/AtomicFile.h"
#include "state/JournalCodec.h"

#include <algorithm>
#include <exception>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace vantor {

namespace {

// How far below the other threads the whole-state write runs. It is background work of a
// second or more on every core, and it must not hold the main thread's event loop off them.
constexpr int compactionNiceness = 10;

// Writes the state file on a thread of its own (its encoders inherit its priority), lowered
// so that the scheduler lets the main thread and the queue's workers run first. The calling
// thread waits: a niceness once raised cannot be lowered again without privilege.
StateStore::Written saveInBackground(const AppState &state, const QString &directory)
{
    StateStore::Written written;
    std::exception_ptr error;
    std::thread([&] {
        const pid_t self = ::gettid();
        ::setpriority(PRIO_PROCESS, id_t(self), std::min(19, ::getpriority(PRIO_PROCESS, id_t(self)) + compactionNiceness));
        try {
            written = StateStore::save(state, directory);
        } catch (...) {
            error = std::current_exception();
        }
    }).join();
    if (error)
        std::rethrow_exception(error);
    return written;
}

} // namespace

StateJournal::StateJournal(const QString &directory, StateStore::Loaded loaded, qint64 bound)
    : m_directory(directory)
    , m_mirror(std::move(loaded.state))
    , m_usable(loaded.journalUsable)
    , m_length(loaded.journalLength)
    , m_stateSize(loaded.stateSize)
    , m_bound(bound)
{
}

bool StateJournal::hasFrames() const
{
    return !m_usable || m_length > JournalCodec::headerSize;
}

void StateJournal::record(const StateChange &change)
{
    try {
        m_mirror.apply(change);
    } catch (...) {
        m_usable = false; // the copy may be half changed: only a whole write settles it
        throw;
    }
    if (change.empty() && m_usable)
        return;
    const QByteArray frame = JournalCodec::frame(change);
    // Past the bound the next load would replay more than a whole state file's worth.
    if (!m_usable || m_length + frame.size() > std::max(m_bound, m_stateSize))
        compact();
    else
        append(frame);
}

void StateJournal::append(const QByteArray &frame)
{
    const QString path = m_directory + QLatin1Char('/') + QLatin1String(StateStore::journalName);
    try {
        if (!m_file.valid())
            m_file = FileIo::open(path, O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC);
        FileIo::writeAll(m_file.get(), frame.constData(), std::size_t(frame.size()));
        FileIo::fsync(m_file.get());
    } catch (...) {
        // A failed save leaves nothing behind, as a failed state.json write does. Should even
        // the truncation fail, the next save compacts, which replaces the journal.
        try {
            if (m_file.valid())
                FileIo::truncate(m_file.get(), m_length);
        } catch (const std::exception &) {
        }
        m_file = FileIo::UniqueFd();
        m_usable = false;
        throw;
    }
    m_length += frame.size();
}

void StateJournal::compact()
{
    m_file = FileIo::UniqueFd();
    m_usable = false;
    const StateStore::Written written = saveInBackground(m_mirror.state(), m_directory);
    m_stateSize = written.size;
    const QByteArray header = JournalCodec::header(written.digest);
    AtomicFile::replace(m_directory + QLatin1Char('/') + QLatin1String(StateStore::journalName), header);
    m_length = header.size();
    m_usable = true;
}

} // namespace vantor
