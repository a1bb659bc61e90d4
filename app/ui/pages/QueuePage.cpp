#include "pages/QueuePage.h"

#include "Theme.h"
#include "jobs/JobReport.h"
#include "base/VantorError.h"
#include "models/JobListModel.h"
#include "models/QueueChanges.h"
#include "pages/JobDetailsPanel.h"
#include "queue/CardSeal.h"
#include "queue/QueueService.h"
#include "widgets/JobDelegate.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "widgets/StatusCounts.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/Workspace.h"

#include <QDir>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QMessageBox>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace vantor::ui {

QueuePage::QueuePage(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_model(new JobListModel(workspace.queue(), this)),
      m_run(new QuietButton(tr("Start queue"), this, true)),
      m_counts(new StatusCounts(QStringLiteral("queue-count"), 8, this)), m_toolbar(new QWidget(this)),
      m_body(new QStackedWidget(this)), m_list(new QListView(this)),
      m_details(new JobDetailsPanel(workspace.queue(), *m_model, this))
{
    setObjectName(QStringLiteral("queue-page"));
    auto *layout = new QVBoxLayout(this);
    const int margin = Theme::space(6);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(Theme::space(4));

    auto *top = new QHBoxLayout;
    top->addWidget(new WorkspaceHeader(tr("04 / Operations"), tr("Queue"),
                                       tr("One durable queue. Every file accounted for."), this),
                   1);
    m_run->setObjectName(QStringLiteral("queue-run"));
    top->addWidget(m_run, 0, Qt::AlignBottom);
    layout->addLayout(top);
    connect(m_run, &QPushButton::clicked, this, &QueuePage::toggleRun);

    auto *tools = new QVBoxLayout(m_toolbar);
    tools->setContentsMargins(0, 0, 0, 0);
    tools->setSpacing(Theme::space(3));
    auto *countsPanel = new PanelSurface(m_toolbar);
    (new QVBoxLayout(countsPanel))->addWidget(m_counts);
    countsPanel->layout()->setContentsMargins(0, 0, 0, 0);
    tools->addWidget(countsPanel);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(Theme::space(2));
    QueueService &queue = workspace.queue();
    const auto button = [&](const QString &label, const char *name, auto action) {
        auto *made = new QuietButton(label, m_toolbar);
        made->setObjectName(QLatin1String(name));
        connect(made, &QPushButton::clicked, this, action);
        buttons->addWidget(made);
        return made;
    };
    button(tr("Retry Failed"), "queue-retry-failed", [&queue] { queue.retryFailed(); });
    button(tr("Export report\u2026"), "queue-export", [this] { exportReport(); });
    button(tr("Remove completed"), "queue-remove-completed", [&queue] { queue.removeCompleted(); });
    buttons->addStretch(1);
    button(tr("Clear queue"), "queue-clear", [this] { confirmClear(); });
    tools->addLayout(buttons);
    layout->addWidget(m_toolbar);

    m_body->addWidget(buildEmptyState());
    m_body->addWidget(buildJobs());
    layout->addWidget(m_body, 1);

    // Reading order: the main action, the queue's controls, then the list and the selected job.
    QWidget *previous = m_run;
    for (const char *name : {"queue-retry-failed", "queue-export", "queue-remove-completed", "queue-clear"}) {
        QWidget *next = m_toolbar->findChild<QWidget *>(QLatin1String(name));
        setTabOrder(previous, next);
        previous = next;
    }
    setTabOrder(previous, m_list);
    setTabOrder(m_list, m_details->findChild<QWidget *>(QStringLiteral("job-move-earlier")));

    connect(new QueueChanges(queue, this), &QueueChanges::changed, this, &QueuePage::refresh);
    connect(&queue, &QueueService::runningChanged, this, &QueuePage::refresh);
    connect(&queue, &QueueService::pausedChanged, this, &QueuePage::refresh);
    refresh();
}

QWidget *QueuePage::buildEmptyState()
{
    auto *empty = new QWidget(this);
    empty->setObjectName(QStringLiteral("queue-empty"));
    auto *layout = new QVBoxLayout(empty);
    layout->addStretch(1);
    auto *title = new QLabel(tr("No queued jobs"), empty);
    QFont big = Theme::titleFont();
    big.setPointSizeF(big.pointSizeF() * 0.75);
    title->setFont(big);
    auto *text = new QLabel(tr("Add media to build your first ingest or proxy job."), empty);
    auto *go = new QuietButton(tr("Go to import"), empty, true);
    go->setObjectName(QStringLiteral("queue-go-to-import"));
    connect(go, &QPushButton::clicked, this, [this] { m_workspace.setPage(Page::ingest); });
    for (QWidget *widget : {static_cast<QWidget *>(title), static_cast<QWidget *>(text), static_cast<QWidget *>(go)})
        layout->addWidget(widget, 0, Qt::AlignHCenter);
    layout->addStretch(2);
    return empty;
}

QWidget *QueuePage::buildJobs()
{
    auto *jobs = new QWidget(this);
    auto *layout = new QVBoxLayout(jobs);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(3));
    m_list->setParent(jobs);
    m_list->setObjectName(QStringLiteral("queue-jobs"));
    m_list->setAccessibleName(tr("Jobs"));
    m_list->setModel(m_model);
    m_list->setItemDelegate(new JobDelegate(m_list));
    m_list->setUniformItemSizes(true); // one row height: thousands of jobs lay out at once
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setFrameShape(QFrame::NoFrame);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex &current) {
        m_details->show(current.isValid() ? current.data(JobListModel::IdRole).toUuid() : QUuid());
    });
    m_details->setParent(jobs);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_details);
    return jobs;
}

void QueuePage::refresh()
{
    const QueueService &queue = m_workspace.queue();
    const bool empty = queue.state().jobs.empty();
    m_body->setCurrentIndex(empty ? 0 : 1);
    m_toolbar->setVisible(!empty);
    m_run->setVisible(!empty);
    m_counts->update(queue.state().jobs);
    m_run->setLabel(queue.paused() ? tr("Resume") : queue.running() ? tr("Pause") : tr("Start queue"));
}

void QueuePage::toggleRun()
{
    QueueService &queue = m_workspace.queue();
    if (queue.paused())
        queue.resume();
    else if (queue.running())
        queue.pause();
    else
        queue.start();
}

void QueuePage::exportReport()
{
    QFileDialog dialog(this, tr("Export report"), QDir::homePath());
    dialog.setObjectName(QStringLiteral("export-dialog"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilter(tr("JSON (*.json)"));
    dialog.setDefaultSuffix(QStringLiteral("json"));
    dialog.selectFile(QString::fromLatin1(JobReport::suggestedFileName));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return;
    const QString path = dialog.selectedFiles().first();
    try {
        const std::vector<MediaJob> &jobs = m_workspace.queue().state().jobs;
        JobReport::exportQueue(jobs, path, CardSeal::receipts(jobs));
        m_workspace.setNotice(tr("Queue report saved: ") + path);
    } catch (const std::exception &failure) {
        m_workspace.setError(errorText(failure));
    }
}

void QueuePage::confirmClear()
{
    QMessageBox box(QMessageBox::Question, tr("Clear queue"), tr("Clear the queue history?"), QMessageBox::NoButton, this);
    box.setObjectName(QStringLiteral("clear-dialog"));
    box.setInformativeText(tr("Media files are not deleted."));
    QPushButton *cancel = box.addButton(QMessageBox::Cancel);
    QPushButton *clear = box.addButton(tr("Clear queue"), QMessageBox::DestructiveRole);
    cancel->setObjectName(QStringLiteral("clear-cancel"));
    clear->setObjectName(QStringLiteral("clear-confirm"));
    box.setDefaultButton(cancel);
    box.exec();
    if (box.clickedButton() == clear)
        m_workspace.queue().removeCompleted();
}

} // namespace vantor::ui
