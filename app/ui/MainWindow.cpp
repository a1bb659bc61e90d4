#include "MainWindow.h"

#include "AppIcon.h"
#include "Desktop.h"
#include "MessageBanner.h"
#include "Sidebar.h"
#include "Theme.h"
#include "models/QueueChanges.h"
#include "pages/ImportPage.h"
#include "pages/ProjectPage.h"
#include "pages/QueuePage.h"
#include "pages/SettingsPage.h"
#include "pages/TranscodePage.h"
#include "queue/QueueService.h"
#include "workspace/Workspace.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QStatusBar>
#include <QVBoxLayout>

namespace vantor::ui {

MainWindow::MainWindow(Workspace &workspace, QWidget *parent)
    : QMainWindow(parent), m_workspace(workspace), m_pages(new QStackedWidget(this)),
      m_banner(new MessageBanner(workspace, this)), m_notice(new QLabel(this))
{
    setObjectName(QStringLiteral("main-window"));
    setWindowIcon(appIcon());
    auto *central = new QWidget(this);
    auto *row = new QHBoxLayout(central);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    auto *sidebar = new Sidebar(workspace, central);
    sidebar->setFixedWidth(Theme::lineHeight() * 13);
    row->addWidget(sidebar);
    auto *column = new QVBoxLayout;
    column->setSpacing(0);
    column->addWidget(m_banner);
    column->addWidget(m_pages, 1);
    row->addLayout(column, 1);
    setCentralWidget(central);

    m_pages->setObjectName(QStringLiteral("pages"));
    m_pages->addWidget(new ImportPage(workspace, m_pages));
    m_pages->addWidget(new TranscodePage(workspace, m_pages));
    m_pages->addWidget(new QueuePage(workspace, m_pages));
    m_pages->addWidget(new ProjectPage(workspace, m_pages));
    m_pages->addWidget(new SettingsPage(workspace, m_pages));

    m_notice->setObjectName(QStringLiteral("notice"));
    statusBar()->addWidget(m_notice, 1);
    const auto showNotice = [this] {
        m_notice->setText(m_workspace.notice());
        m_notice->setAccessibleName(m_workspace.notice());
    };
    connect(&workspace, &Workspace::noticeChanged, this, showNotice);
    showNotice();

    buildMenus();
    connect(&workspace, &Workspace::pageChanged, this, &MainWindow::showPage);
    connect(&workspace, &Workspace::projectFieldsChanged, this, &MainWindow::showTitle);
    showPage();
    showTitle();
    watchForNotifications();
    resize(Theme::lineHeight() * 80, Theme::lineHeight() * 52);
}

void MainWindow::setPage(int which, QWidget *page)
{
    QWidget *old = m_pages->widget(which);
    m_pages->insertWidget(which, page);
    m_pages->removeWidget(old);
    delete old;
    showPage();
}

QWidget *MainWindow::page(int which) const { return m_pages->widget(which); }

void MainWindow::buildMenus()
{
    const auto add = [this](QMenu *menu, const QString &name, const QString &label, const QKeySequence &keys,
                            auto slot) {
        QAction *action = menu->addAction(label);
        action->setObjectName(name);
        action->setShortcut(keys);
        action->setShortcutContext(Qt::ApplicationShortcut);
        connect(action, &QAction::triggered, this, slot);
        addAction(action); // shortcuts work while the menu bar is hidden too
        return action;
    };
    const auto ctrl = [](int key) { return QKeySequence(int(Qt::CTRL) | key); };
    const auto ctrlShift = [](int key) { return QKeySequence(int(Qt::CTRL) | int(Qt::SHIFT) | key); };
    QueueService &queue = m_workspace.queue();

    QMenu *file = menuBar()->addMenu(tr("&File"));
    add(file, QStringLiteral("action-new-project"), tr("New project"), QKeySequence(QKeySequence::New), [this] {
        m_workspace.setEditingTemplates(false);
        m_workspace.setPage(Page::project);
    });
    add(file, QStringLiteral("action-open-project"), tr("Open project\u2026"), QKeySequence(QKeySequence::Open),
        [this] { m_workspace.openProject(); });
    add(file, QStringLiteral("action-add-sources"), tr("Add source media\u2026"), ctrl(Qt::Key_I),
        [this] { m_workspace.addSources(); });
    file->addSeparator();
    add(file, QStringLiteral("action-settings"), tr("Settings"), ctrl(Qt::Key_Comma),
        [this] { m_workspace.setPage(Page::settings); });
    file->addSeparator();
    add(file, QStringLiteral("action-quit"), tr("Quit"), ctrl(Qt::Key_Q), [this] { close(); });

    QMenu *queueMenu = menuBar()->addMenu(tr("&Queue"));
    add(queueMenu, QStringLiteral("action-start"), tr("Start / resume"), ctrl(Qt::Key_R), [&queue] {
        queue.resume();
        queue.start();
    });
    add(queueMenu, QStringLiteral("action-pause"), tr("Pause"), ctrl(Qt::Key_P), [&queue] { queue.pause(); });
    add(queueMenu, QStringLiteral("action-show-queue"), tr("Show queue"), ctrl(Qt::Key_J),
        [this] { m_workspace.setPage(Page::queue); });
    add(queueMenu, QStringLiteral("action-cancel-pending"), tr("Cancel pending jobs"), QKeySequence(),
        [&queue] { queue.cancelAll(); });

    QMenu *project = menuBar()->addMenu(tr("&Project"));
    QAction *reveal = add(project, QStringLiteral("action-reveal-project"), tr("Reveal in File Manager"),
                          ctrlShift(Qt::Key_F), [this] {
                              if (const auto &open = m_workspace.queue().state().project)
                                  Desktop::instance().openUrl(QUrl::fromLocalFile(open->root));
                          });
    add(project, QStringLiteral("action-templates"), tr("Templates"), ctrlShift(Qt::Key_T), [this] {
        m_workspace.setEditingTemplates(true);
        m_workspace.setPage(Page::project);
    });
    const auto enableReveal = [this, reveal] { reveal->setEnabled(m_workspace.queue().state().project.has_value()); };
    connect(&m_workspace, &Workspace::projectFieldsChanged, reveal, enableReveal);
    enableReveal();
}

void MainWindow::showTitle()
{
    const auto &project = m_workspace.queue().state().project;
    setWindowTitle(project && !project->name.isEmpty() ? project->name : QStringLiteral("Vantor"));
}

void MainWindow::showPage() { m_pages->setCurrentIndex(int(m_workspace.page())); }

void MainWindow::watchForNotifications()
{
    QueueService &queue = m_workspace.queue();
    for (const MediaJob &job : queue.state().jobs) {
        if (job.status == JobStatus::failed)
            m_failed.insert(job.id);
    }
    connect(new QueueChanges(queue, this), &QueueChanges::changed, this, &MainWindow::announceFailures);
    connect(&queue, &QueueService::idle, this, [this, &queue] {
        announceFailures();
        if (isActiveWindow())
            return;
        qint64 complete = 0, failed = 0;
        for (const MediaJob &job : queue.state().jobs) {
            complete += job.status == JobStatus::complete;
            failed += job.status == JobStatus::failed;
        }
        Desktop::instance().notify(tr("Queue finished"), tr("%1 complete, %2 failed").arg(complete).arg(failed));
    });
}

void MainWindow::announceFailures()
{
    QSet<QUuid> failed;
    for (const MediaJob &job : m_workspace.queue().state().jobs) {
        if (job.status != JobStatus::failed)
            continue;
        failed.insert(job.id);
        if (!m_failed.contains(job.id) && !isActiveWindow())
            Desktop::instance().notify(tr("Job failed"),
                                       job.source.section(u'/', -1) + QStringLiteral(": ") + job.error.value_or(QString()));
    }
    m_failed = failed;
}

bool MainWindow::confirmQuit()
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Vantor"), tr("Quit with jobs in progress?"),
                    QMessageBox::NoButton, this);
    box.setObjectName(QStringLiteral("quit-dialog"));
    box.setInformativeText(tr("Unfinished work will be stopped safely and can be retried next time. Completed "
                              "copies and original media will be preserved."));
    // Both in one role, so they keep this order on every desktop.
    QPushButton *keep = box.addButton(tr("Keep working"), QMessageBox::ActionRole);
    QPushButton *quit = box.addButton(tr("Quit"), QMessageBox::ActionRole);
    keep->setObjectName(QStringLiteral("quit-keep-working"));
    quit->setObjectName(QStringLiteral("quit-confirm"));
    box.setDefaultButton(keep);
    box.setEscapeButton(keep);
    box.exec();
    return box.clickedButton() == quit;
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_quitting) {
        event->accept();
        return;
    }
    if (m_workspace.queue().running() && !confirmQuit()) {
        event->ignore();
        return;
    }
    m_quitting = true;
    // The cancelled job is left for recovery at the next start; nothing is deleted here.
    m_workspace.queue().prepareToQuit();
    event->accept();
}

} // namespace vantor::ui
