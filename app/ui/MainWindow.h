#pragma once

#include <QMainWindow>
#include <QSet>
#include <QUuid>

class QLabel;
class QStackedWidget;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

class MessageBanner;

// The one main window: the sidebar, one page per workspace page, the menus with their
// shortcuts, the banner and the quit policy that protects running jobs.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(Workspace &workspace, QWidget *parent = nullptr);

    // Puts `page` in the slot of `which`, replacing what was there.
    void setPage(int which, QWidget *page);
    QWidget *page(int which) const;

protected:
    // Closing the window is quitting: asks first while a job runs, then cancels, saves and flushes.
    void closeEvent(QCloseEvent *event) override;

private:
    void buildMenus();
    void showTitle();
    void showPage();
    void watchForNotifications();
    void announceFailures();
    bool confirmQuit();

    Workspace &m_workspace;
    QStackedWidget *m_pages;
    MessageBanner *m_banner;
    QLabel *m_notice;
    QSet<QUuid> m_failed;
    bool m_quitting = false;
};

} // namespace vantor::ui
