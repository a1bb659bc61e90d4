#include "queue/CardTracker.h"

#include "AppInfo.h"
#include "base/VantorError.h"

#include <QSet>

namespace vantor {

CardTracker::CardTracker(StateRepository &repository, QObject *parent)
    : QObject(parent), m_repository(repository),
      m_tasks(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".cards"))
{
    qRegisterMetaType<vantor::CardVerdict>("vantor::CardVerdict");
    for (const MediaJob &job : repository.jobs())
        count(job);
    connect(&repository, &StateRepository::jobChanged, this, &CardTracker::jobChanged);
    connect(&repository, &StateRepository::jobsInserted, this, [this](int first, int last) {
        QSet<QString> touched;
        for (int index = first; index <= last; ++index) {
            const MediaJob &job = m_repository.jobs()[std::size_t(index)];
            count(job);
            if (job.sourceRoot)
                touched.insert(*job.sourceRoot);
        }
        for (const QString &root : touched)
            reopen(root);
    });
    connect(&repository, &StateRepository::jobsRemoved, this, [this](const QList<QUuid> &ids) {
        QSet<QString> touched;
        for (const QUuid &id : ids) {
            if (const auto member = m_members.constFind(id); member != m_members.constEnd())
                touched.insert(member->root);
            uncount(id);
        }
        // A card's verdict goes with its last job.
        for (const QString &root : touched) {
            if (m_index.contains(root))
                continue;
            ++m_generation[root]; // a rescan under way is for jobs that are gone
            m_judging.remove(root);
            if (m_verdicts.remove(root) > 0)
                Q_EMIT verdictChanged(root);
        }
    });
}

void CardTracker::count(const MediaJob &job)
{
    if (!job.sourceRoot)
        return;
    const bool unfinished = !job.status.final();
    m_members.insert(job.id, {*job.sourceRoot, job.source, unfinished});
    auto card = m_index.find(*job.sourceRoot);
    if (card == m_index.end()) {
        card = m_index.insert(*job.sourceRoot, {});
        m_order << *job.sourceRoot;
    }
    ++card->jobs;
    card->unfinished += unfinished ? 1 : 0;
    ++card->sources[job.source];
}

void CardTracker::uncount(const QUuid &id)
{
    const auto member = m_members.constFind(id);
    if (member == m_members.constEnd())
        return;
    const QString root = member->root;
    auto card = m_index.find(root);
    card->unfinished -= member->unfinished ? 1 : 0;
    if (--card->sources[member->source] == 0)
        card->sources.remove(member->source);
    m_members.erase(member);
    if (--card->jobs == 0) {
        m_index.erase(card);
        m_order.removeOne(root);
    }
}

CardTracker::~CardTracker() = default;

void CardTracker::judgeEnded()
{
    for (const QString &root : cards()) {
        if (!m_verdicts.contains(root) && !m_judging.contains(root) && ended(root))
            judge(root, false);
    }
}

std::optional<CardVerdict> CardTracker::verdict(const QString &sourceRoot) const
{
    const auto found = m_verdicts.constFind(sourceRoot);
    return found == m_verdicts.constEnd() ? std::nullopt : std::optional(*found);
}

QStringList CardTracker::cards() const
{
    return m_order;
}

int CardTracker::fileCount(const QString &sourceRoot) const
{
    const auto card = m_index.constFind(sourceRoot);
    return card == m_index.constEnd() ? 0 : int(card->sources.size());
}

bool CardTracker::open(const QString &sourceRoot) const
{
    const auto card = m_index.constFind(sourceRoot);
    return m_judging.contains(sourceRoot) || (card != m_index.constEnd() && card->unfinished > 0);
}

void CardTracker::addReceipt(const QString &sourceRoot, const CardReceipt &receipt)
{
    const auto found = m_verdicts.find(sourceRoot);
    if (found == m_verdicts.end())
        return;
    std::erase_if(found->receipts, [&](const CardReceipt &each) { return each.destination == receipt.destination; });
    found->receipts.push_back(receipt);
    Q_EMIT verdictChanged(sourceRoot);
}

void CardTracker::jobChanged(const QUuid &id, JobChanges what)
{
    if (!(what & JobChange::status))
        return;
    const MediaJob *job = m_repository.job(id);
    const auto member = m_members.find(id);
    if (!job || !job->sourceRoot || member == m_members.end())
        return;
    const bool unfinished = !job->status.final();
    if (unfinished != member->unfinished) {
        m_index[member->root].unfinished += unfinished ? 1 : -1;
        member->unfinished = unfinished;
    }
    if (unfinished)
        reopen(*job->sourceRoot);
    else if (ended(*job->sourceRoot))
        judge(*job->sourceRoot, true);
}

void CardTracker::reopen(const QString &sourceRoot)
{
    ++m_generation[sourceRoot];
    m_judging.remove(sourceRoot);
    if (m_verdicts.remove(sourceRoot) > 0)
        Q_EMIT verdictChanged(sourceRoot);
}

bool CardTracker::ended(const QString &sourceRoot) const
{
    const auto card = m_index.constFind(sourceRoot);
    return card != m_index.constEnd() && card->unfinished == 0;
}

void CardTracker::judge(const QString &sourceRoot, bool announce)
{
    const quint64 generation = ++m_generation[sourceRoot];
    m_judging.insert(sourceRoot);
    const std::vector<MediaJob> jobs = cardJobs(m_repository.jobs(), sourceRoot);
    m_tasks.post([this, sourceRoot, jobs, generation, announce] {
        // A card that has just ended is sealed before it is judged, so its verdict carries the
        // receipt; the cards of the history were sealed when they ended.
        // Each destination (the project copies, then each backup due) gets its own history.
        QStringList notes;
        std::vector<CardSeal::Outcome> sealed;
        const auto seal = [&](const std::vector<MediaJob> &seen) {
            QString note;
            if (std::optional<CardSeal::Outcome> outcome = sealCard(sourceRoot, seen, note))
                sealed.push_back(std::move(*outcome));
            if (!note.isEmpty() && !notes.contains(note))
                notes << note;
        };
        if (announce) {
            seal(jobs);
            for (std::size_t index = 0; const std::optional<std::vector<MediaJob>> seen = CardSeal::atBackup(jobs, index); ++index)
                seal(*seen);
        }
        CardVerdict verdict = judgeCard(sourceRoot, jobs, snapshotCard(sourceRoot, jobs));
        for (const CardSeal::Outcome &outcome : sealed)
            addSealTo(verdict, outcome);
        const QString note = notes.join(QLatin1Char('\n'));
        QMetaObject::invokeMethod(this, [this, sourceRoot, jobs, generation, announce, verdict, note] {
            if (!note.isEmpty())
                m_repository.log(note);
            if (m_generation.value(sourceRoot) != generation)
                return; // reopened or judged again meanwhile
            m_judging.remove(sourceRoot);
            m_verdicts.insert(sourceRoot, verdict);
            Q_EMIT verdictChanged(sourceRoot);
            if (announce) {
                QList<QUuid> ids;
                for (const MediaJob &job : jobs)
                    ids << job.id;
                Q_EMIT cardEnded(sourceRoot, ids, verdict);
            }
        }, Qt::QueuedConnection);
    });
}

std::optional<CardSeal::Outcome> CardTracker::sealCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs,
                                                      QString &note)
{
    try {
        JobControl control;
        CardSeal::Outcome outcome = CardSeal::seal(sourceRoot, jobs, control);
        note = outcome.notice.isEmpty() ? QString() : cardLabel(sourceRoot) + QStringLiteral(": ") + outcome.notice;
        return outcome;
    } catch (const std::exception &failure) {
        note = QStringLiteral("The ASC MHL history of %1 could not be written: %2")
                   .arg(cardLabel(sourceRoot), errorText(failure));
        return std::nullopt;
    }
}

void CardTracker::addSealTo(CardVerdict &verdict, const CardSeal::Outcome &outcome)
{
    if (outcome.cardScope && !outcome.receipt().isEmpty())
        verdict.receipts.push_back({*outcome.cardScope, outcome.receipt()});
    for (const QString &file : outcome.failed) {
        verdict.reasons.push_back({file, outcome.cardScope,
                                   QStringLiteral("The copy differs from the card's own ASC MHL history: ") + file});
        verdict.safe = false;
    }
}

} // namespace vantor
