#include "pages/JobDetailsPanel.h"

#include "Desktop.h"
#include "Theme.h"
#include "models/DestinationListModel.h"
#include "models/JobListModel.h"
#include "queue/QueueService.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QStyle>
#include <QVBoxLayout>

namespace vantor::ui {

JobDetailsPanel::JobDetailsPanel(QueueService &queue, JobListModel &model, QWidget *parent)
    : PanelSurface(parent), m_queue(queue), m_model(model), m_from(new QLabel(this)), m_to(new QLabel(this)),
      m_hash(new QLabel(this)), m_destinationLines(new DestinationListModel(this)), m_destinations(new QListView(this)),
      m_earlier(new QuietButton(tr("Move Earlier"), this)),
      m_later(new QuietButton(tr("Move Later"), this)), m_cancel(new QuietButton(tr("Cancel"), this)),
      m_retry(new QuietButton(tr("Retry"), this)), m_remove(new QuietButton(tr("Remove"), this)),
      m_reveal(new QuietButton(tr("Reveal"), this))
{
    setObjectName(QStringLiteral("job-details"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(1));
    layout->addWidget(new SectionLabel(tr("File details"), this));
    for (QLabel *label : {m_from, m_to, m_hash}) {
        label->setFont(Theme::monospaceFont());
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(true);
        layout->addWidget(label);
    }
    m_from->setObjectName(QStringLiteral("details-from"));
    m_to->setObjectName(QStringLiteral("details-to"));
    m_hash->setObjectName(QStringLiteral("details-hash"));
    m_destinations->setObjectName(QStringLiteral("details-destinations"));
    m_destinations->setAccessibleName(tr("Destinations"));
    m_destinations->setModel(m_destinationLines);
    m_destinations->setFont(Theme::monospaceFont());
    m_destinations->setSelectionMode(QAbstractItemView::NoSelection);
    m_destinations->setTextElideMode(Qt::ElideMiddle);
    m_destinations->setMaximumHeight(Theme::lineHeight() * 5);
    layout->addWidget(m_destinations);

    auto *actions = new QHBoxLayout;
    actions->setSpacing(Theme::space(2));
    const auto wire = [&](QuietButton *button, const char *name, QStyle::StandardPixmap icon, auto action) {
        button->setObjectName(QLatin1String(name));
        if (icon != QStyle::SP_CustomBase)
            button->setIcon(style()->standardIcon(icon));
        actions->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, action] {
            if (!m_id.isNull())
                action(m_id);
        });
    };
    wire(m_earlier, "job-move-earlier", QStyle::SP_ArrowUp, [this](const QUuid &id) { m_queue.moveWaiting(id, -1); });
    wire(m_later, "job-move-later", QStyle::SP_ArrowDown, [this](const QUuid &id) { m_queue.moveWaiting(id, 1); });
    wire(m_cancel, "job-cancel", QStyle::SP_CustomBase, [this](const QUuid &id) { m_queue.cancel(id); });
    wire(m_retry, "job-retry", QStyle::SP_CustomBase, [this](const QUuid &id) { m_queue.retry(id); });
    wire(m_remove, "job-remove", QStyle::SP_CustomBase, [this](const QUuid &id) { m_queue.remove(id); });
    wire(m_reveal, "job-reveal", QStyle::SP_CustomBase, [this](const QUuid &id) {
        const int row = m_model.row(id);
        if (row < 0)
            return;
        const MediaJob &job = m_model.job(row);
        // The result when it is there, else the original.
        Desktop::instance().reveal(QFileInfo::exists(job.destination()) ? job.destination() : job.source);
    });
    actions->addStretch(1);
    layout->addLayout(actions);
    connect(&model, &QAbstractItemModel::dataChanged, this, &JobDetailsPanel::refresh);
    connect(&model, &QAbstractItemModel::rowsMoved, this, &JobDetailsPanel::refresh);
    connect(&model, &QAbstractItemModel::rowsRemoved, this, &JobDetailsPanel::refresh);
    refresh();
}

void JobDetailsPanel::show(const QUuid &id)
{
    m_id = id;
    refresh();
}

void JobDetailsPanel::refresh()
{
    const int row = m_id.isNull() ? -1 : m_model.row(m_id);
    if (row < 0) {
        m_id = QUuid();
        m_from->setText(tr("Select a job to see its files."));
        m_to->clear();
        m_hash->clear();
        m_destinationLines->show(nullptr);
        m_destinations->hide();
        for (QuietButton *button : {m_earlier, m_later, m_cancel, m_retry, m_remove, m_reveal})
            button->setEnabled(false);
        return;
    }
    const MediaJob &job = m_model.job(row);
    // The labels are padded to one width so the paths line up.
    m_from->setText(QStringLiteral("FROM  ") + job.source);
    m_to->setText(QStringLiteral("TO    ") + job.destination());
    QStringList digests;
    if (job.sourceHash)
        digests << *job.sourceHash;
    if (job.destinationHash)
        digests << *job.destinationHash;
    m_hash->setText(QStringLiteral("Hash  ") + (digests.isEmpty() ? tr("not yet known") : digests.join(QStringLiteral("  "))));
    // With one destination the lines above say it all.
    m_destinationLines->show(&job);
    m_destinations->setVisible(!job.backups.empty());
    const bool waiting = job.status == JobStatus::waiting;
    const auto &jobs = m_queue.state().jobs;
    // Waiting jobs trade places with the next waiting job before or after them.
    const auto isWaiting = [](const MediaJob &other) { return other.status == JobStatus::waiting; };
    m_earlier->setEnabled(waiting && std::any_of(jobs.begin(), jobs.begin() + row, isWaiting));
    m_later->setEnabled(waiting && std::any_of(jobs.begin() + row + 1, jobs.end(), isWaiting));
    m_cancel->setEnabled(!job.status.final());
    m_retry->setEnabled(job.status == JobStatus::failed || job.status == JobStatus::cancelled);
    m_remove->setEnabled(m_queue.activeID() != job.id);
    m_reveal->setEnabled(true);
}

} // namespace vantor::ui
