#include "queue/CardTracker.h"

#include "AppInfo.h"

#include <QSet>

namespace vantor {

CardTracker::CardTracker(StateRepository &repository, QObject *parent)
    : QObject(parent), m_repository(repository),
      m_tasks(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".cards"))
{
    qRegisterMetaType<vantor::CardVerdict>("vantor::CardVerdict");
    connect(&repository, &StateRepository::jobChanged, this, &CardTracker::jobChanged);
    connect(&repository, &StateRepository::jobsInserted, this, [this](int first, int last) {
        QSet<QString> touched;
        for (int index = first; index <= last; ++index) {
            if (const std::optional<QString> &root = m_repository.jobs()[std::size_t(index)].sourceRoot)
                touched.insert(*root);
        }
        for (const QString &root : touched)
            reopen(root);
    });
    connect(&repository, &StateRepository::jobsRemoved, this, [this](const QList<QUuid> &) {
        // A card's verdict goes with its last job; a card left with only ended jobs is judged again.
        const QStringList present = cards();
        for (const QString &root : m_verdicts.keys()) {
            if (!present.contains(root)) {
                m_verdicts.remove(root);
                ++m_generation[root];
                Q_EMIT verdictChanged(root);
            }
        }
    });
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
    return cardRoots(m_repository.jobs());
}

bool CardTracker::open(const QString &sourceRoot) const
{
    return m_judging.contains(sourceRoot) || !ended(sourceRoot);
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
    if (!job || !job->sourceRoot)
        return;
    if (!job->status.final())
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
    bool any = false;
    for (const MediaJob &job : m_repository.jobs()) {
        if (job.sourceRoot == sourceRoot) {
            if (!job.status.final())
                return false;
            any = true;
        }
    }
    return any;
}

void CardTracker::judge(const QString &sourceRoot, bool announce)
{
    const quint64 generation = ++m_generation[sourceRoot];
    m_judging.insert(sourceRoot);
    const std::vector<MediaJob> jobs = cardJobs(m_repository.jobs(), sourceRoot);
    m_tasks.post([this, sourceRoot, jobs, generation, announce] {
        CardVerdict verdict = judgeCard(sourceRoot, jobs, snapshotCard(sourceRoot, jobs));
        QMetaObject::invokeMethod(this, [this, sourceRoot, jobs, generation, announce, verdict] {
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

} // namespace vantor
