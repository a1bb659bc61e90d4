#pragma once

#include "cards/CardVerdict.h"
#include "queue/CardSeal.h"
#include "state/PersistenceQueue.h"
#include "state/StateRepository.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QUuid>
#include <optional>

namespace vantor {

// Notices when the last job of a card (or dropped folder) ends, seals it in its ASC MHL histories
// and lists it again off the main thread, judges it and keeps the latest verdict per card. A card whose job is queued again
// or retried is open again and loses its verdict until it ends once more.
class CardTracker : public QObject {
    Q_OBJECT
public:
    explicit CardTracker(StateRepository &repository, QObject *parent = nullptr);
    ~CardTracker() override; // waits for the rescan under way

    // Judges every card whose jobs have all ended and that has no verdict yet (the window at
    // launch, for the cards of the history). Emits no cardEnded.
    void judgeEnded();
    std::optional<CardVerdict> verdict(const QString &sourceRoot) const;
    // Every card in the queue, in the order its first job is queued.
    QStringList cards() const;
    // True while the card has a job that has not ended, or its rescan is under way.
    bool open(const QString &sourceRoot) const;
    // The card's distinct source files in the queue.
    int fileCount(const QString &sourceRoot) const;
    // A destination's receipt for a card that ended, added to its verdict.
    void addReceipt(const QString &sourceRoot, const CardReceipt &receipt);
    // Returns once every rescan asked for so far has finished (its result is then queued to the
    // main thread).
    void flush() { m_tasks.flush(); }

Q_SIGNALS:
    // The card's last job ended and the card was judged: all its job ids, in queue order.
    void cardEnded(const QString &sourceRoot, const QList<QUuid> &jobIds, const vantor::CardVerdict &verdict);
    void verdictChanged(const QString &sourceRoot); // judged, reopened, removed or given a receipt

private:
    // Kept per card as jobs come, change status and go, so no question about one card walks the
    // whole history (a production's queue holds tens of thousands of jobs).
    struct Card {
        int jobs = 0;
        int unfinished = 0;
        QHash<QString, int> sources; // jobs per source file
    };
    struct Member {
        QString root;
        QString source;
        bool unfinished = false;
    };
    void count(const MediaJob &job);
    void uncount(const QUuid &id);
    void jobChanged(const QUuid &id, JobChanges what);
    void reopen(const QString &sourceRoot);
    bool ended(const QString &sourceRoot) const;
    void judge(const QString &sourceRoot, bool announce);
    // On the worker thread: the card's ASC MHL histories, and what the job log should say.
    static std::optional<CardSeal::Outcome> sealCard(const QString &sourceRoot, const std::vector<MediaJob> &jobs,
                                                     QString &note);
    static void addSealTo(CardVerdict &verdict, const CardSeal::Outcome &outcome);

    StateRepository &m_repository;
    QHash<QString, Card> m_index;
    QStringList m_order; // the cards in the order their first job was queued
    QHash<QUuid, Member> m_members;
    QHash<QString, CardVerdict> m_verdicts;
    QHash<QString, quint64> m_generation; // a result for an older generation is dropped
    QSet<QString> m_judging;
    PersistenceQueue m_tasks;
};

} // namespace vantor
