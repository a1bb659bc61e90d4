#include "UiFixture.h"

#include "state/StateStore.h"

#include <QAbstractItemView>
#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QStackedWidget>

using namespace vantor;

namespace {

class ShellTest : public test::UiTest {
public:
    void press(const QKeySequence &keys)
    {
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
        QTest::keySequence(window.get(), keys);
    }
    QString projectFolder() const { return dir.makeDir("Harbour Lights"); }
};

// Every menu command: its label and shortcut, and what pressing the shortcut does.
TEST_F(ShellTest, MenuCommandsAndShortcuts)
{
    struct Case {
        const char *action, *label, *keys;
        std::function<void(ShellTest &)> before;
        std::function<bool(ShellTest &)> after;
    };
    const auto onPage = [](Page page, bool templates) {
        return [=](ShellTest &t) { return t.workspace->page() == page && t.workspace->editingTemplates() == templates; };
    };
    const std::vector<Case> cases = {
        {"action-new-project", "New project", "Ctrl+N", [](ShellTest &t) { t.workspace->setEditingTemplates(true); },
         onPage(Page::project, false)},
        {"action-templates", "Templates", "Ctrl+Shift+T", nullptr, onPage(Page::project, true)},
        {"action-settings", "Settings", "Ctrl+,", nullptr, onPage(Page::settings, false)},
        {"action-show-queue", "Show queue", "Ctrl+J", nullptr, onPage(Page::queue, false)},
        {"action-open-project", "Open project\u2026", "Ctrl+O",
         [](ShellTest &t) { t.answers.folders << t.projectFolder(); },
         [](ShellTest &t) {
             return t.queue().state().project && t.queue().state().project->name == "Harbour Lights" &&
                    t.window->windowTitle() == "Harbour Lights";
         }},
        {"action-add-sources", "Add source media\u2026", "Ctrl+I",
         [](ShellTest &t) { t.answers.files << QStringList{t.dir.write("card/A001.MOV", "clip")}; },
         [](ShellTest &t) { return t.workspace->sources().size() == 1; }},
        {"action-reveal-project", "Reveal in File Manager", "Ctrl+Shift+F",
         [](ShellTest &t) { t.workspace->openProjectFolder(t.projectFolder()); },
         [](ShellTest &t) { return t.desktop.opened == QList<QUrl>{QUrl::fromLocalFile(t.projectFolder())}; }},
        {"action-pause", "Pause", "Ctrl+P", [](ShellTest &t) { t.enqueue({"wait.MOV"}); },
         [](ShellTest &t) { return t.queue().paused(); }},
        {"action-start", "Start / resume", "Ctrl+R",
         [](ShellTest &t) {
             t.enqueue({"wait.MOV"});
             t.queue().start();
             t.queue().pause();
         },
         [](ShellTest &t) { return !t.queue().paused() && t.queue().running(); }},
        {"action-quit", "Quit", "Ctrl+Q", nullptr, [](ShellTest &t) { return !t.window->isVisible(); }},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.action);
        open();
        auto *action = window->findChild<QAction *>(QLatin1String(test.action));
        ASSERT_NE(action, nullptr);
        EXPECT_EQ(action->text(), QString::fromUtf8(test.label));
        EXPECT_EQ(action->shortcut(), QKeySequence(QLatin1String(test.keys)));
        if (test.before)
            test.before(*this);
        press(action->shortcut());
        EXPECT_TRUE(waitUntil([&] { return test.after(*this); }));
        release = true;
        queue().cancelAll();
        if (queue().activeID())
            queue().cancel(*queue().activeID());
        EXPECT_TRUE(waitUntil([&] { return !queue().running(); }));
        release = false;
    }
}

TEST_F(ShellTest, CancelPendingJobsCancelsWhatHasNotRun)
{
    open();
    enqueue({"a.MOV", "b.MOV"});
    window->findChild<QAction *>("action-cancel-pending")->trigger();
    for (const MediaJob &job : queue().state().jobs)
        EXPECT_EQ(job.status, JobStatus::cancelled);
}

// Quitting while a job runs asks first; "Keep working" changes nothing, "Quit" cancels the job
// and the state on disk shows it before the window is gone. An idle queue quits without asking.
TEST_F(ShellTest, QuitPolicy)
{
    open();
    enqueue({"wait.MOV"});
    queue().start();
    ASSERT_TRUE(firstIs(JobStatus::copying));

    answerDialog("quit-keep-working");
    window->close();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(queue().running());
    EXPECT_EQ(queue().state().jobs.front().status, JobStatus::copying);

    answerDialog("quit-confirm");
    window->close();
    EXPECT_FALSE(window->isVisible());
    // The worker stops at its next checkpoint; the job ends cancelled and that is saved.
    ASSERT_TRUE(waitUntil([&] { return !queue().running(); }));
    queue().flush();
    const AppState saved = StateStore::load(support);
    ASSERT_EQ(saved.jobs.size(), 1u);
    EXPECT_EQ(saved.jobs.front().status, JobStatus::cancelled);

    // With nothing running, quitting asks nothing (a dialog here would block the test).
    open();
    window->close();
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(StateStore::load(support).jobs.size(), 1u);
}

TEST_F(ShellTest, SidebarEntriesCountsAndLink)
{
    open();
    const std::vector<std::pair<const char *, Page>> entries = {{"page-import", Page::ingest},
        {"page-transcode", Page::transcode}, {"page-queue", Page::queue}, {"page-project", Page::project},
        {"page-settings", Page::settings}};
    for (const auto &[name, page] : entries) {
        click(QLatin1String(name));
        EXPECT_EQ(workspace->page(), page) << name;
        EXPECT_EQ(find<QStackedWidget>("pages")->currentIndex(), int(page)) << name;
    }
    workspace->setPage(Page::transcode);
    EXPECT_TRUE(find<QAbstractButton>("page-transcode")->isChecked());

    enqueue({"a.MOV", "fail.MOV", "c.MOV"});
    EXPECT_TRUE(shows("sidebar-count-waiting", "3"));
    queue().start();
    ASSERT_TRUE(waitUntil([&] { return !queue().running(); }));
    EXPECT_TRUE(shows("sidebar-count-complete", "2"));
    EXPECT_TRUE(shows("sidebar-count-failed", "1"));
    EXPECT_TRUE(shows("sidebar-count-waiting", "0"));

    click("open-quillory");
    EXPECT_EQ(desktop.opened, QList<QUrl>{QUrl("https://quillory.com")});
}

TEST_F(ShellTest, BannerShowsTheErrorUntilDismissed)
{
    open();
    auto *banner = find("banner");
    EXPECT_FALSE(banner->isVisible());
    workspace->setError("Choose a template.");
    EXPECT_TRUE(banner->isVisible());
    EXPECT_EQ(find<QLabel>("banner-text")->text(), "Choose a template.");
    click("banner-dismiss");
    EXPECT_FALSE(workspace->error().has_value());
    EXPECT_FALSE(banner->isVisible());

    workspace->setNotice("3 jobs queued");
    EXPECT_EQ(find<QLabel>("notice")->text(), "3 jobs queued");
}

// While another window has the focus, a failure and the end of the run are announced.
TEST_F(ShellTest, NotifiesWhenTheWindowIsNotActive)
{
    open();
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    enqueue({"fail.MOV", "b.MOV"});
    queue().start();
    ASSERT_TRUE(waitUntil([&] { return desktop.notifications.size() == 2; }));
    EXPECT_EQ(desktop.notifications, QStringList({"Job failed|fail.MOV: The source changed after it was queued.",
                                                  "Queue finished|1 complete, 1 failed"}));

    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    queue().retryFailed();
    queue().start();
    ASSERT_TRUE(waitUntil([&] { return !queue().running(); }));
    EXPECT_EQ(desktop.notifications.size(), 2);
}

// Every control a user can reach has a name for tests and an accessible name equal to its label,
// and Tab reaches each control of the Queue page.
TEST_F(ShellTest, ControlsAreNamedAndReachableByKeyboard)
{
    open();
    enqueue({"a.MOV", "b.MOV"});
    workspace->setPage(Page::queue);
    for (QWidget *widget : window->findChildren<QWidget *>()) {
        const bool interactive = qobject_cast<QAbstractButton *>(widget) || qobject_cast<QLineEdit *>(widget) ||
                                 qobject_cast<QAbstractItemView *>(widget);
        if (!interactive || !widget->isVisibleTo(window.get()) || widget->focusPolicy() == Qt::NoFocus)
            continue;
        EXPECT_FALSE(widget->objectName().isEmpty()) << widget->metaObject()->className();
        EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
        if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            EXPECT_EQ(button->accessibleName(), button->text()) << widget->objectName().toStdString();
        }
    }

    QStringList reached;
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    find("page-import")->setFocus();
    for (int i = 0; i < 40; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        reached << QApplication::focusWidget()->objectName();
    }
    // The page entries are one group: Tab stops at the current one, the arrow keys move within.
    EXPECT_TRUE(std::any_of(reached.begin(), reached.end(), [](const QString &name) { return name.startsWith("page-"); }));
    const QStringList queueControls = {"queue-run", "queue-retry-failed", "queue-export", "queue-remove-completed",
                                       "queue-clear", "queue-jobs"};
    const qsizetype first = reached.indexOf(queueControls.first());
    ASSERT_GE(first, 0);
    EXPECT_EQ(reached.mid(first, queueControls.size()), queueControls);
    EXPECT_TRUE(reached.contains("open-quillory"));
    find("page-queue")->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "page-project");
}

} // namespace
