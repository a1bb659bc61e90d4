#pragma once

#include "Desktop.h"
#include "MainWindow.h"
#include "ScriptedPhases.h"
#include "TempDir.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "workspace/UserChoices.h"
#include "workspace/Workspace.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace vantor::test {

// Answers the workspace's questions from queues the test fills, and records each title asked.
struct ScriptedAnswers : UserChoices {
    QList<std::optional<QString>> folders;
    QList<QStringList> files;
    QList<bool> confirmations;
    QStringList asked;

    std::optional<QString> chooseFolder(const QString &title) override
    {
        asked << title;
        return folders.isEmpty() ? std::nullopt : folders.takeFirst();
    }
    QStringList chooseFiles(const QString &title) override
    {
        asked << title;
        return files.isEmpty() ? QStringList() : files.takeFirst();
    }
    bool confirm(const QString &title, const QString &) override
    {
        asked << title;
        return !confirmations.isEmpty() && confirmations.takeFirst();
    }
};

// Records what the window asks of the desktop instead of opening anything.
struct RecordingDesktop : ui::Desktop {
    QList<QUrl> opened;
    QStringList revealed;
    QStringList notifications;
    void openUrl(const QUrl &url) override { opened << url; }
    void reveal(const QString &path) override { revealed << path; }
    void notify(const QString &summary, const QString &body) override { notifications << summary + u'|' + body; }
};

// The controls that Tab reaches inside `root`, in order, each as "objectName=accessible name".
inline QStringList tabChain(QWidget *root)
{
    QStringList chain;
    for (QWidget *widget = root->nextInFocusChain(); widget != root; widget = widget->nextInFocusChain()) {
        if (root->isAncestorOf(widget) && widget->isVisible() && widget->isEnabled()
            && (widget->focusPolicy() & Qt::TabFocus) && !widget->objectName().startsWith(QStringLiteral("qt_")))
            chain << widget->objectName() + u'=' + widget->accessibleName();
    }
    return chain;
}

// A real workspace and window on a private support folder. The jobs' phases do no file work; a
// source named "wait…" runs until released or cancelled, "fail…" fails, any other completes.
class UiTest : public ::testing::Test {
public: // the table-driven cases reach the fixture from lambdas
    TempDir dir, settings;
    const QString support = dir.file("support");
    ScriptedAnswers answers;
    RecordingDesktop desktop;
    std::atomic<bool> release{false};
    std::unique_ptr<Workspace> workspace;
    std::unique_ptr<ui::MainWindow> window;

    UiTest()
    {
        QStandardPaths::setTestModeEnabled(true);
        for (const QSettings::Format format : {QSettings::NativeFormat, QSettings::IniFormat})
            QSettings::setPath(format, QSettings::UserScope, settings.path());
        ui::Desktop::install(&desktop);
    }
    ~UiTest() override
    {
        release = true;
        window.reset();
        workspace.reset();
        ui::Desktop::install(nullptr);
    }

    JobPhases phases() { return test::scriptedPhases(release, std::chrono::milliseconds(10)); }

    ui::MainWindow &open()
    {
        window.reset();
        workspace.reset();
        workspace = std::make_unique<Workspace>(support, phases(), &answers);
        window = std::make_unique<ui::MainWindow>(*workspace);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        return *window;
    }
    QueueService &queue() { return workspace->queue(); }

    MediaJob job(const QString &name) const
    {
        const QString root = dir.file("project");
        return MediaJob::make(dir.file("card/" + name), FileGrant(dir.file("card")),
                              root, FileGrant(root), root + u'/' + name, std::nullopt, JobOperation::copy,
                              std::nullopt, ChecksumAlgorithm(), 1, Timestamp{});
    }
    void enqueue(const QStringList &names)
    {
        std::vector<MediaJob> jobs;
        for (const QString &name : names)
            jobs.push_back(job(name));
        queue().enqueue(jobs);
    }
    bool waitUntil(const std::function<bool()> &done) { return QTest::qWaitFor(done, 10000); }
    bool firstIs(JobStatus status)
    {
        return waitUntil([&] { return !queue().state().jobs.empty() && queue().state().jobs.front().status == status; });
    }

    // Views follow the queue within a short interval; waits until the label shows `text`.
    bool shows(const QString &label, const QString &text)
    {
        return waitUntil([&] { return find<QLabel>(label)->text() == text; });
    }
    // The child of `root` named `name`, which must exist.
    template <typename T = QWidget> static T *findIn(const QObject *root, const QString &name)
    {
        T *found = root->findChild<T *>(name);
        EXPECT_NE(found, nullptr) << name.toStdString();
        return found;
    }
    template <typename T = QWidget> T *find(const QString &name) const { return findIn<T>(window.get(), name); }
    // Clicks the button named `name` inside `root` as a user would: it must be shown and enabled.
    static void clickIn(const QObject *root, const QString &name)
    {
        auto *button = findIn<QAbstractButton>(root, name);
        ASSERT_TRUE(button && button->isVisible() && button->isEnabled()) << name.toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
    }
    void click(const QString &name) { clickIn(window.get(), name); }
    // Clicks the button named `button` in the next modal dialog, once it shows.
    static void answerDialog(const QString &button)
    {
        auto *timer = new QTimer;
        timer->setInterval(20);
        QObject::connect(timer, &QTimer::timeout, [timer, button] {
            QWidget *modal = QApplication::activeModalWidget();
            if (!modal)
                return;
            if (auto *target = modal->findChild<QAbstractButton *>(button))
                target->click();
            timer->deleteLater();
        });
        timer->start();
    }
};

} // namespace vantor::test
