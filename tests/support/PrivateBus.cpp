#include "PrivateBus.h"

namespace vantor::test {

PrivateBus::PrivateBus()
{
    m_daemon.setStandardErrorFile(QProcess::nullDevice());
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--print-address"), QStringLiteral("--nofork")});
    // The daemon prints its address once it listens.
    while (m_daemon.waitForReadyRead(10000)) {
        if (m_daemon.canReadLine()) {
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
            break;
        }
    }
}

PrivateBus::~PrivateBus()
{
    m_daemon.kill();
    m_daemon.waitForFinished();
}

} // namespace vantor::test
