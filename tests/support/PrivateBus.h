#pragma once

#include <QProcess>
#include <QString>

namespace vantor::test {

// A message bus of the test's own: dbus-daemon started for the life of the object.
// address() is empty when it could not be started.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;
    QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
};

} // namespace vantor::test
