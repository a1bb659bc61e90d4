#pragma once

#include <QString>
#include <QUrl>

namespace vantor::ui {

// What the window asks of the desktop: opening addresses, showing files in the file manager and
// posting notifications. The real one talks to the session; tests install one that records.
class Desktop {
public:
    virtual ~Desktop() = default;
    virtual void openUrl(const QUrl &url);
    // Shows `path` selected in the file manager, else opens the folder holding it.
    virtual void reveal(const QString &path);
    // A desktop notification; nothing happens without a session bus.
    virtual void notify(const QString &summary, const QString &body);

    static Desktop &instance();
    // Replaces the desktop the window uses; null restores the real one. Not owned.
    static void install(Desktop *desktop);
};

} // namespace vantor::ui
