#include "queue/PowerPolicy.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <unistd.h>

namespace vantor {

namespace {
const QString login1Service = QStringLiteral("org.freedesktop.login1");
const QString login1Path = QStringLiteral("/org/freedesktop/login1");
const QString login1Manager = QStringLiteral("org.freedesktop.login1.Manager");
} // namespace

PowerPolicy::PowerPolicy(QObject *parent) : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (bus.isConnected()) {
        // QtDBus delivers bus signals only to named slots.
        m_connected = bus.connect(login1Service, login1Path, login1Manager, QStringLiteral("PrepareForSleep"), this,
                                  SLOT(handlePrepareForSleep(bool)));
    }
}

PowerPolicy::~PowerPolicy()
{
    releaseActivity();
}

void PowerPolicy::holdActivity()
{
    if (m_inhibitorFd >= 0 || !m_connected)
        return;
    QDBusInterface manager(login1Service, login1Path, login1Manager, QDBusConnection::systemBus());
    const QDBusReply<QDBusUnixFileDescriptor> reply =
        manager.call(QStringLiteral("Inhibit"), QStringLiteral("idle:sleep"), QStringLiteral("Vantor"),
                     QStringLiteral("Preparing media"), QStringLiteral("block"));
    if (reply.isValid() && reply.value().isValid())
        m_inhibitorFd = ::dup(reply.value().fileDescriptor());
}

void PowerPolicy::releaseActivity()
{
    if (m_inhibitorFd >= 0) {
        ::close(m_inhibitorFd);
        m_inhibitorFd = -1;
    }
}

void PowerPolicy::handlePrepareForSleep(bool goingToSleep)
{
    if (goingToSleep)
        Q_EMIT sleeping();
    else
        Q_EMIT woke();
}

} // namespace vantor
