#include "pages/CardSummaryPanel.h"

#include "Theme.h"
#include "cards/CardVerdict.h"
#include "models/QueueChanges.h"
#include "queue/CardTracker.h"
#include "queue/QueueService.h"

#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

CardSummaryPanel::CardSummaryPanel(QueueService &queue, CardTracker &cards, QWidget *parent)
    : QWidget(parent), m_queue(queue), m_cards(cards), m_lines(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("queue-cards"));
    m_lines->setContentsMargins(0, 0, 0, 0);
    m_lines->setSpacing(Theme::space(1));
    connect(new QueueChanges(queue, this), &QueueChanges::changed, this, &CardSummaryPanel::refresh);
    connect(&cards, &CardTracker::verdictChanged, this, &CardSummaryPanel::refresh);
    refresh();
}

void CardSummaryPanel::refresh()
{
    while (QLayoutItem *item = m_lines->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const QStringList roots = m_cards.cards();
    setVisible(!roots.isEmpty());
    for (int index = 0; index < roots.size(); ++index) {
        const QString &root = roots[index];
        QSet<QString> files;
        for (const MediaJob &job : m_queue.state().jobs) {
            if (job.sourceRoot == root)
                files.insert(job.source);
        }
        const std::optional<CardVerdict> verdict = m_cards.verdict(root);
        const QString state = verdict ? verdict->label() : m_cards.open(root) ? tr("In progress") : tr("Not judged yet");
        const QString count = files.size() == 1 ? tr("1 file") : tr("%1 files").arg(files.size());
        auto *line = new QLabel(QStringLiteral("%1 \u00b7 %2 \u00b7 %3").arg(cardLabel(root), count, state), this);
        line->setObjectName(QStringLiteral("queue-card-%1").arg(index));
        line->setToolTip(verdict ? root + u'\n' + verdict->text() : root);
        QFont font = line->font();
        font.setBold(true);
        line->setFont(font);
        if (verdict && !verdict->safe) {
            QPalette palette = line->palette();
            palette.setColor(QPalette::WindowText, Theme::errorColour());
            line->setPalette(palette);
        }
        m_lines->addWidget(line);
        if (!verdict || verdict->safe)
            continue;
        QStringList reasons;
        for (std::size_t shown = 0; shown < verdict->reasons.size() && shown < shownReasons; ++shown)
            reasons << verdict->reasons[shown].text;
        const auto rest = int(verdict->reasons.size()) - shownReasons;
        if (rest > 0)
            reasons << tr("\u2026and %1 more.").arg(rest);
        auto *detail = new QLabel(reasons.join(u'\n'), this);
        detail->setObjectName(QStringLiteral("queue-card-%1-reasons").arg(index));
        detail->setTextInteractionFlags(Qt::TextSelectableByMouse);
        QPalette palette = detail->palette();
        palette.setColor(QPalette::WindowText, Theme::mutedText());
        detail->setPalette(palette);
        m_lines->addWidget(detail);
    }
}

} // namespace vantor::ui
