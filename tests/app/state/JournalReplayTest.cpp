#include "base/VantorError.h"
#include "state/JobListScanner.h"
#include "state/JournalCodec.h"
#include "state/StateMirror.h"
#include "state/StateStore.h"

#include "FailureText.h"
#include "SampleRecords.h"
#include "TempDir.h"

#include <QRandomGenerator>
#include <QtEndian>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

const QString journalName = QString::fromLatin1(StateStore::journalName);

// A frame around any payload, as the writer frames one.
QByteArray rawFrame(const QByteArray &payload)
{
    QByteArray out(16, '\0');
    const auto length = std::uint32_t(payload.size());
    qToLittleEndian(length, out.data());
    qToLittleEndian(~length, out.data() + 4);
    qToLittleEndian(JournalCodec::digest(payload.constData(), std::size_t(payload.size())), out.data() + 8);
    return out + payload;
}

QString idText(const QUuid &id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

// A state file big enough to be read in parts, and a journal of frames after it.
struct Journal {
    TempDir dir;
    AppState base = stateWithJobs(300);
    QByteArray bytes;

    Journal() { bytes = JournalCodec::header(StateStore::save(base, dir.path()).digest); }
    void add(const StateChange &change) { bytes += JournalCodec::frame(change); }
    void addPayload(const QByteArray &payload) { bytes += rawFrame(payload); }
    QString load() const
    {
        dir.write(journalName, bytes);
        return failureText([this] { StateStore::load(dir.path()); });
    }
    AppState loaded() const
    {
        dir.write(journalName, bytes);
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
                const QByteArray id = idText(job.id).toLatin1();
                payload.replace("\"" + id + "\"", "\"\\u00" + QByteArray::number(id[0], 16) + id.mid(1) + "\"");
                ASSERT_EQ(JobListScanner::idOf(payload.constData() + payload.indexOf('{', 1), payload.size()), std::nullopt);
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
                  + journal.dir.file(journalName));

    job.progress = 0.5;
    change.jobs = {job};
    journal.add(change);
    EXPECT_EQ(journal.load(), QStringLiteral("(no error)"));
    EXPECT_EQ(journal.loaded().jobs[7].progress, 0.5);
}

// The id is found past any members before it, whatever they hold; text not shaped like a job
// gives nothing rather than a guess.
TEST(JobListScanner, FindsAJobsIdWithoutDecodingIt)
{
    const QUuid id(QStringLiteral("1771FD94-648C-41EF-AECB-FB79FADA6A2E"));
    const struct {
        const char *text;
        std::optional<QUuid> id;
    } cases[] = {
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E"})", id},
        {R"({ "bytes": 7, "grant": {"id": "x", "list": [1, {"id": 2}]}, "name": "a \"id\": b",
             "id" : "1771fd94-648c-41ef-aecb-fb79fada6a2e", "z": 1})", id},
        {R"({"name": "no id here"})", std::nullopt},
        {R"({"id": 17})", std::nullopt},
        {R"({"id": "1771FD94"})", std::nullopt},
        {R"({"id": "\u0031771FD94-648C-41EF-AECB-FB79FADA6A2E"})", std::nullopt},
        {R"({"id": "1771FD94-648C-41EF-AECB-FB79FADA6A2EX"})", std::nullopt},
        {R"({"a" 1, "id": "1771FD94-648C-41EF-AECB-FB79FADA6A2E"})", std::nullopt},
        {R"({"a": "unterminated)", std::nullopt},
        {R"(["id", "1771FD94-648C-41EF-AECB-FB79FADA6A2E"])", std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(JobListScanner::idOf(c.text, qsizetype(std::strlen(c.text))), c.id) << c.text;
}
