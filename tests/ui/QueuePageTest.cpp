#include "UiFixture.h"

#include "jobs/JobReport.h"
#include "models/JobListModel.h"

#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>

using namespace vantor;

namespace {

class QueuePageTest : public test::UiTest {
public:
    ui::MainWindow &openQueue()
    {
        open();
        workspace->setPage(Page::queue);
        return *window;
    }
    QListView *list() { return find<QListView>(QStringLiteral("queue-jobs")); }
    // The list shows what the queue holds.
    bool synced()
    {
        return waitUntil([&] {
            QStringList shown;
            const QAbstractItemModel *model = list()->model();
            for (int row = 0; row < model->rowCount(); ++row)
                shown << model->index(row, 0).data().toString() + u' ' +
                             model->index(row, 0).data(ui::JobListModel::StatusLabelRole).toString();
            return shown == order();
        });
    }
    void select(int row)
    {
        ASSERT_TRUE(synced());
        QListView *view = list();
        const QRect cell = view->visualRect(view->model()->index(row, 0));
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, cell.center());
    }
    QStringList order()
    {
        QStringList names;
        for (const MediaJob &job : queue().state().jobs)
            names << job.source.section(u'/', -1) + u' ' + job.status.rawValue();
        return names;
    }
    bool runToEnd()
    {
        queue().start();
        return waitUntil([&] { return !queue().running(); });
    }
    // Chooses `path` in the next file dialog.
    static void answerFileDialog(const QString &path)
    {
        auto *timer = new QTimer;
        timer->setInterval(20);
        QObject::connect(timer, &QTimer::timeout, [timer, path] {
            if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
                dialog->selectFile(path);
                // Typed, as a user would: the proposed name may still fill the field.
                if (auto *name = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
                    name->setText(QFileInfo(path).fileName());
                QMetaObject::invokeMethod(dialog, "accept");
                timer->deleteLater();
            }
        });
        timer->start();
    }
};

TEST_F(QueuePageTest, EmptyQueueShowsOnlyTheEmptyTextsAndGoesToImport)
{
    openQueue();
    EXPECT_TRUE(find(QStringLiteral("queue-empty"))->isVisible());
    for (const char *hidden : {"queue-run", "queue-clear", "queue-jobs", "queue-count-waiting"})
        EXPECT_FALSE(find(QLatin1String(hidden))->isVisible()) << hidden;
    QStringList texts;
    for (QLabel *label : find(QStringLiteral("queue-empty"))->findChildren<QLabel *>())
        texts << label->text();
    EXPECT_EQ(texts, QStringList({QStringLiteral("No queued jobs"),
                                  QStringLiteral("Add media to build your first ingest or proxy job.")}));
    click(QStringLiteral("queue-go-to-import"));
    EXPECT_EQ(workspace->page(), Page::ingest);

    enqueue({QStringLiteral("a.MOV")});
    workspace->setPage(Page::queue);
    EXPECT_FALSE(find(QStringLiteral("queue-empty"))->isVisible());
    EXPECT_TRUE(find(QStringLiteral("queue-jobs"))->isVisible());
}

// The main button starts, pauses and resumes, and its label says which it will do.
TEST_F(QueuePageTest, RunButtonFollowsTheQueue)
{
    openQueue();
    enqueue({QStringLiteral("wait.MOV")});
    auto *run = find<QAbstractButton>(QStringLiteral("queue-run"));
    const std::vector<std::pair<QString, std::function<bool()>>> steps = {
        {QStringLiteral("Start queue"), [&] { return queue().running() && !queue().paused(); }},
        {QStringLiteral("Pause"), [&] { return queue().paused(); }},
        {QStringLiteral("Resume"), [&] { return queue().running() && !queue().paused(); }},
        {QStringLiteral("Pause"), [&] { return queue().paused(); }},
    };
    for (const auto &[label, after] : steps) {
        EXPECT_EQ(run->text(), label);
        EXPECT_EQ(run->accessibleName(), label);
        click(QStringLiteral("queue-run"));
        EXPECT_TRUE(waitUntil(after)) << label.toStdString();
    }
}

TEST_F(QueuePageTest, QueueButtonsAndCounts)
{
    openQueue();
    enqueue({QStringLiteral("a.MOV"), QStringLiteral("fail.MOV"), QStringLiteral("wait.MOV")});
    release = true;
    ASSERT_TRUE(runToEnd());
    EXPECT_TRUE(shows(QStringLiteral("queue-count-complete"), QStringLiteral("2")));
    EXPECT_TRUE(shows(QStringLiteral("queue-count-failed"), QStringLiteral("1")));

    click(QStringLiteral("queue-retry-failed"));
    EXPECT_EQ(order(), QStringList({QStringLiteral("a.MOV COMPLETE"), QStringLiteral("fail.MOV WAITING"),
                                    QStringLiteral("wait.MOV COMPLETE")}));
    EXPECT_TRUE(shows(QStringLiteral("queue-count-waiting"), QStringLiteral("1")));
    click(QStringLiteral("queue-remove-completed"));
    EXPECT_EQ(order(), QStringList{QStringLiteral("fail.MOV WAITING")});
}

// Clearing asks first; cancelling keeps everything, confirming removes the finished jobs and no
// file on disk.
TEST_F(QueuePageTest, ClearAsksFirstAndDeletesNoMedia)
{
    dir.write(QStringLiteral("card/a.MOV"), "original");
    openQueue();
    enqueue({QStringLiteral("a.MOV"), QStringLiteral("fail.MOV")});
    ASSERT_TRUE(runToEnd());
    dir.write(QStringLiteral("project/a.MOV"), "copy"); // what the copy left
    enqueue({QStringLiteral("b.MOV")});
    const auto media = [&] {
        return test::listTree(dir.file(QStringLiteral("card"))) + test::listTree(dir.file(QStringLiteral("project")));
    };
    const QStringList files = media();

    answerDialog(QStringLiteral("clear-cancel"));
    click(QStringLiteral("queue-clear"));
    EXPECT_EQ(queue().state().jobs.size(), 3u);

    answerDialog(QStringLiteral("clear-confirm"));
    click(QStringLiteral("queue-clear"));
    EXPECT_EQ(order(), QStringList{QStringLiteral("b.MOV WAITING")});
    queue().flush();
    EXPECT_EQ(media(), files);
    EXPECT_EQ(test::readFile(dir.file(QStringLiteral("project/a.MOV"))), "copy");
}

// The chosen file's extension picks the form: the JSON job report, or the offload report.
TEST_F(QueuePageTest, ExportWritesTheQueueReport)
{
    openQueue();
    enqueue({QStringLiteral("a.MOV"), QStringLiteral("fail.MOV")});
    ASSERT_TRUE(runToEnd());
    const struct {
        const char *file;
        QByteArray begins;
    } cases[] = {
        {"json/Vantor-queue-report.json", JobReport::encodeQueue(queue().state().jobs)},
        {"html/offload.html", "<!DOCTYPE html>"},
        {"pdf/offload.pdf", "%PDF-"},
    };
    for (const auto &c : cases) {
        // A folder each: the dialog's proposed name must not meet an earlier export.
        const QString path = dir.file(QStringLiteral("reports/") + QLatin1String(c.file));
        QDir().mkpath(QFileInfo(path).path());
        answerFileDialog(path);
        click(QStringLiteral("queue-export"));
        EXPECT_TRUE(test::readFile(path).startsWith(c.begins)) << c.file;
        EXPECT_EQ(workspace->notice(), QStringLiteral("Queue report saved: ") + path);
    }
}

// Each card gets a line with its files and verdict once its last job ended, and the reasons
// when it is not safe to format.
TEST_F(QueuePageTest, CardLinesShowEachCardsVerdict)
{
    openQueue();
    std::vector<MediaJob> jobs;
    for (const QString &name : {QStringLiteral("a.MOV"), QStringLiteral("fail.MOV")}) {
        jobs.push_back(job(name));
        jobs.back().sourceRoot = dir.file(QStringLiteral("card"));
    }
    queue().enqueue(jobs);
    auto *cards = find<QListView>(QStringLiteral("queue-cards"));
    const auto line = [&] { return cards->model()->index(0, 0).data().toString().split(u'\n'); };
    EXPECT_TRUE(waitUntil([&] { return line().first() == QStringLiteral("card \u00b7 2 files \u00b7 In progress"); }));
    ASSERT_TRUE(runToEnd());
    EXPECT_TRUE(waitUntil([&] { return line().first() == QStringLiteral("card \u00b7 2 files \u00b7 Not safe to format"); }));
    const QString failed = QStringLiteral("The copy failed: %1 \u2192 %2. The source changed after it was queued.")
                               .arg(jobs[1].source, *jobs[1].copyDestination);
    EXPECT_TRUE(line().contains(failed));
    // Only a card that is safe to format, and still mounted, can be ejected from here.
    cards->setCurrentIndex(cards->model()->index(0, 0));
    EXPECT_FALSE(find<QPushButton>(QStringLiteral("queue-eject-card"))->isEnabled());
}

// Each row action works on the selected job, and only when its state allows it.
TEST_F(QueuePageTest, RowActionsOnTheSelectedJob)
{
    openQueue();
    enqueue({QStringLiteral("fail.MOV")});
    ASSERT_TRUE(runToEnd());
    enqueue({QStringLiteral("a.MOV"), QStringLiteral("b.MOV"), QStringLiteral("c.MOV")});

    struct Case {
        int row;
        const char *button;
        QStringList expected;
    };
    const auto names = [](std::initializer_list<const char *> list) {
        QStringList out;
        for (const char *name : list)
            out << QString::fromUtf8(name);
        return out;
    };
    const std::vector<Case> cases = {
        {1, "job-move-later", names({"fail.MOV FAILED", "b.MOV WAITING", "a.MOV WAITING", "c.MOV WAITING"})},
        {2, "job-move-earlier", names({"fail.MOV FAILED", "a.MOV WAITING", "b.MOV WAITING", "c.MOV WAITING"})},
        {0, "job-retry", names({"fail.MOV WAITING", "a.MOV WAITING", "b.MOV WAITING", "c.MOV WAITING"})},
        {3, "job-cancel", names({"fail.MOV WAITING", "a.MOV WAITING", "b.MOV WAITING", "c.MOV CANCELLED"})},
        {2, "job-remove", names({"fail.MOV WAITING", "a.MOV WAITING", "c.MOV CANCELLED"})},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.button);
        select(test.row);
        click(QLatin1String(test.button));
        EXPECT_EQ(order(), test.expected);
    }
    // What a state does not allow is not offered.
    select(2);
    EXPECT_FALSE(find(QStringLiteral("job-move-later"))->isEnabled());
    EXPECT_FALSE(find(QStringLiteral("job-cancel"))->isEnabled());
    select(0);
    EXPECT_FALSE(find(QStringLiteral("job-move-earlier"))->isEnabled());
    EXPECT_FALSE(find(QStringLiteral("job-retry"))->isEnabled());

    click(QStringLiteral("job-reveal"));
    EXPECT_EQ(desktop.revealed, QStringList{dir.file(QStringLiteral("card/fail.MOV"))});
}

TEST_F(QueuePageTest, FileDetailsOfTheSelectedJob)
{
    openQueue();
    enqueue({QStringLiteral("a.MOV")});
    ASSERT_TRUE(runToEnd());
    select(0);
    EXPECT_TRUE(shows(QStringLiteral("details-from"), QStringLiteral("FROM  ") + dir.file(QStringLiteral("card/a.MOV"))));
    EXPECT_TRUE(shows(QStringLiteral("details-to"), QStringLiteral("TO    ") + dir.file(QStringLiteral("project/a.MOV"))));
    EXPECT_TRUE(shows(QStringLiteral("details-hash"), QStringLiteral("Hash  aaaa  aaaa")));
    const QModelIndex row = list()->model()->index(0, 0);
    EXPECT_EQ(row.data(ui::JobListModel::ElapsedRole).toString().left(8), QStringLiteral("Elapsed "));
    EXPECT_EQ(row.data(ui::JobListModel::RemainingRole).toString(), QStringLiteral("Remaining ~00:00:00"));
    EXPECT_EQ(row.data(ui::JobListModel::ChecksumRole).toString(), QStringLiteral("xxHash64"));
    EXPECT_EQ(row.data(ui::JobListModel::OperationRole).toString(), QStringLiteral("Copy & organize"));
}

TEST_F(QueuePageTest, DestinationLinesOfAJobWithBackups)
{
    openQueue();
    MediaJob owed = job(QStringLiteral("a.MOV"));
    const auto backup = [&](const QString &root) {
        BackupCopy copy;
        copy.root = dir.file(root);
        copy.grant = FileGrant(copy.root);
        copy.path = copy.root + QStringLiteral("/project/a.MOV");
        return copy;
    };
    owed.backups = {backup(QStringLiteral("one")), backup(QStringLiteral("two")), backup(QStringLiteral("three"))};
    owed.backups[0].committed = true;
    owed.backups[0].hash = QStringLiteral("0123456789abcdef");
    owed.backups[1].error = QStringLiteral("No space left on device: ") + owed.backups[1].path;
    owed.backups[2].deferred = true;
    queue().enqueue({owed, job(QStringLiteral("b.MOV"))});

    select(0);
    auto *destinations = find<QListView>(QStringLiteral("details-destinations"));
    ASSERT_TRUE(destinations->isVisible());
    QStringList shown;
    for (int row = 0; row < destinations->model()->rowCount(); ++row)
        shown << destinations->model()->index(row, 0).data().toString();
    const QString dot = QStringLiteral("  \u00B7  ");
    EXPECT_EQ(shown, QStringList({dir.file("project") + dot + "Waiting",
                                  dir.file("one") + dot + "Verified" + dot + "0123456789abcdef",
                                  dir.file("two") + dot + "Failed: No space left on device: " + owed.backups[1].path,
                                  dir.file("three") + dot + "Copied later from the first copy"}));
    select(1); // one destination: the TO line says it all
    EXPECT_FALSE(destinations->isVisible());
}

} // namespace
