#include "base/VantorError.h"
#include "state/JobListScanner.h"
#include "state/JournalCodec.h"
#include "state/StateMirror.h"
#include "state/StateStore.h"

#include "FailureText.h"
#include "SampleRecords.h"
#include "TempDir.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

const QString journalFile = QString::fromLatin1(StateStore::journalName);

QString upperId(const QUuid &id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

// A state file big enough to be read in parts, and a journal of frames after it.
struct Journal {
    TempDir dir;
    AppState base = stateWithJobs(300);
    QByteArray bytes;

    Journal() { bytes = JournalCodec::header(StateStore::save(base, dir.path()).digest); }
    void add(const StateChange &change) { bytes += JournalCodec::frame(change); }
    void addPayload(const QByteArray &payload) { bytes += JournalCodec::framePayload(payload); }
    QString load() const
    {
        dir.write(journalFile, bytes);
        return failureText([this] { StateStore::load(dir.path()); });
    }
    AppState loaded() const
    {
        dir.write(journalFile, bytes);
        return StateStore::load(dir.path());
    }
};

} // namespace

// Loading decodes each job once, in its last version, yet gives exactly the state that applying
// every change as it was made gives: through updates, removals, a removed id added again,
// reorders, several jobs in one frame, and jobs whose id cannot be read without decoding them.
TEST(JournalReplay, EachJobDecodedOnceGivesTheStateOfEveryChangeApplied)
{
    for (const quint32 seed : {1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(seed);
        QRandomGenerator random(seed);
        Journal journal;
        StateMirror expected(journal.base);
        std::vector<MediaJob> removed;
        const auto pick = [&] { return expected.state().jobs[random.bounded(quint32(expected.state().jobs.size()))]; };
        for (int frame = 0; frame < 400; ++frame) {
            StateChange change;
            const quint32 kind = random.bounded(10u);
            if (kind < 5) {
                for (quint32 n = 1 + random.bounded(3u); n > 0; --n) {
                    MediaJob job = pick();
                    job.progress = random.generateDouble();
                    job.error = QStringLiteral("Frame %1").arg(frame);
                    if (std::none_of(change.jobs.begin(), change.jobs.end(), [&](const MediaJob &j) { return j.id == job.id; }))
                        change.jobs.push_back(job);
                }
            } else if (kind == 5) {
                MediaJob job = sampleJob(JobOperation::copy, JobStatus::waiting, frame);
                job.id = QUuid::createUuidV5(QUuid(), QStringLiteral("%1-%2").arg(seed).arg(frame));
                change.jobs.push_back(job);
            } else if (kind == 6 && expected.state().jobs.size() > 10) {
                removed.push_back(pick());
                change.removed.push_back(removed.back().id);
            } else if (kind == 7 && !removed.empty()) {
                change.jobs.push_back(removed.back()); // the same id, back at the end
                removed.pop_back();
            } else if (kind == 8) {
                change.parts = StateChange::order;
                for (const MediaJob &job : expected.state().jobs)
                    change.jobOrder.push_back(job.id);
                std::swap(change.jobOrder.front(), change.jobOrder[random.bounded(quint32(change.jobOrder.size()))]);
            } else {
                // The same job, its id written with an escape: read only by decoding it.
                MediaJob job = pick();
                job.progress = 0.5;
                change.jobs.push_back(job);
                QByteArray payload = JournalCodec::encodePayload(change);
                const QByteArray id = upperId(job.id).toLatin1();
                payload.replace("\"" + id + "\"", "\"\\u00" + QByteArray::number(id[0], 16) + id.mid(1) + "\"");
                ASSERT_EQ(JobListScanner(payload).split()->ids, std::vector<std::optional<QUuid>>{std::nullopt});
                journal.addPayload(payload);
                expected.apply(change);
                continue;
            }
            journal.add(change);
            expected.apply(change);
        }
        EXPECT_EQ(StateStore::encode(journal.loaded()), StateStore::encode(expected.state()));
    }
}

// A version that a later frame replaces is taken on its frame's checksum and its id: it is
// not decoded. The last version is, and a flaw in it refuses the state, naming its frame.
TEST(JournalReplay, OnlyTheLastVersionOfAJobIsDecoded)
{
    Journal journal;
    MediaJob job = journal.base.jobs[7];
    StateChange change;
    job.progress = 0.25;
    change.jobs = {job};
    QByteArray flawed = JournalCodec::encodePayload(change);
    ASSERT_TRUE(flawed.contains("\"operation\": \"Copy + transcode\""));
    flawed.replace("\"operation\": \"Copy + transcode\"", "\"operation\": \"Sideways\"");

    journal.addPayload(flawed);
    EXPECT_EQ(journal.load(),
              QStringLiteral("Frame 1 of the state journal is damaged (MediaJob.operation: unknown value \"Sideways\"): ")
                  + journal.dir.file(journalFile));

    job.progress = 0.5;
    change.jobs = {job};
    journal.add(change);
    EXPECT_EQ(journal.load(), QStringLiteral("(no error)"));
    EXPECT_EQ(journal.loaded().jobs[7].progress, 0.5);
}

// An element's id is read while the list is split, past any members before it, only when it is
// certainly what the parser will find; else it is left to the parser. A document not shaped
// for splitting gives nothing.
TEST(JobListScanner, ReadsEachJobsIdOnlyWhenItIsCertain)
{
    const QUuid id(QStringLiteral("1771FD94-648C-41EF-AECB-FB79FADA6A2E"));
    const struct {
        const char *element;
        std::optional<QUuid> id;
    } cases[] = {
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E"})", id},
        {R"({ "bytes": 7, "grant": {"id": "x", "list": [1, {"id": 2}]}, "name": "a \"id\": b",
             "id" : "1771fd94-648c-41ef-aecb-fb79fada6a2e", "z": [] })", id},
        {R"({})", std::nullopt},
        {R"({"name": "no id here"})", std::nullopt},
        {R"({"id": 17})", std::nullopt},
        {R"({"id": "1771FD94"})", std::nullopt},
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2EX"})", std::nullopt},
        {R"({"id": "\u0031771FD94-648C-41EF-AECB-FB79FADA6A2E"})", std::nullopt},
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E", "id": "1771FD94-648C-41EF-AECB-FB79FADA6A2F"})", std::nullopt},
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E", "\u0069d": "1771FD94-648C-41EF-AECB-FB79FADA6A2F"})", std::nullopt},
        {R"({"a" 1, "id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E"})", std::nullopt},
        {R"(["id", "1771FD94-648C-41EF-AECB-FB79FADA6A2E"])", std::nullopt},
    };
    for (const auto &c : cases) {
        const QByteArray document = QByteArray(R"({"ffmpeg": "", "jobs": [)") + c.element + ", {}]}";
        const std::optional<JobsSplit> split = JobListScanner(document).split();
        ASSERT_TRUE(split.has_value()) << c.element;
        ASSERT_EQ(split->ids.size(), 2u);
        EXPECT_EQ(split->ids[0], c.id) << c.element;
        const auto [first, last] = split->elements[0];
        EXPECT_EQ(document.mid(first, last - first), QByteArray(c.element));
    }
    for (const char *document : {R"({"jobs": [{"a": "unterminated]})", R"({"jobs": [1, ]})", R"(["jobs"])"})
        EXPECT_EQ(JobListScanner(QByteArray(document)).split(), std::nullopt) << document;
}
