#include "Desktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QVariantMap>

namespace vantor::ui {

namespace {

Desktop *installed = nullptr;

bool hasService(const QString &name)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface() && bus.interface()->isServiceRegistered(name).value();
}

} // namespace

void Desktop::openUrl(const QUrl &url) { QDesktopServices::openUrl(url); }

void Desktop::reveal(const QString &path)
{
    const QString service = QStringLiteral("org.freedesktop.FileManager1");
    if (QFileInfo::exists(path) && hasService(service)) {
        QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/FileManager1"),
                                                           service, QStringLiteral("ShowItems"));
        call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
        QDBusConnection::sessionBus().asyncCall(call);
        return;
    }
    const QFileInfo info(path);
    openUrl(QUrl::fromLocalFile(info.isDir() ? info.absoluteFilePath() : info.absolutePath()));
}

void Desktop::notify(const QString &summary, const QString &body)
{
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    if (!QDBusConnection::sessionBus().isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/Notifications"),
                                                       service, QStringLiteral("Notify"));
    call << QStringLiteral("Vantor") << uint(0) << QStringLiteral("com.quillory.Vantor") << summary << body
         << QStringList() << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("com.quillory.Vantor")}}
         << int(-1);
    QDBusConnection::sessionBus().asyncCall(call);
}

Desktop &Desktop::instance()
{
    static Desktop real;
    return installed ? *installed : real;
}

void Desktop::install(Desktop *desktop) { installed = desktop; }

} // namespace vantor::ui
