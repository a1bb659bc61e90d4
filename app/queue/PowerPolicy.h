#pragma once

#include <QObject>
#include <memory>

namespace vantor {

// The queue's link to system power: logind's PrepareForSleep signal on the system bus becomes
// sleeping()/woke(), and an "idle:sleep" inhibitor lock is held while the queue works. Without a
// system bus (containers, CI) both are simply absent; tests drive the handlers directly.
class PowerPolicy : public QObject {
    Q_OBJECT
public:
    explicit PowerPolicy(QObject *parent = nullptr);
    ~PowerPolicy() override;

    bool connectedToSystem() const { return m_connected; }
    void holdActivity();    // takes the inhibitor lock, if logind grants one
    void releaseActivity(); // closes it
    bool activityHeld() const { return m_inhibitorFd >= 0; }

Q_SIGNALS:
    void sleeping();
    void woke();

public Q_SLOTS:
    // logind says true before sleeping and false after waking.
    void handlePrepareForSleep(bool goingToSleep);

private:
    bool m_connected = false;
    int m_inhibitorFd = -1;
};

} // namespace vantor
