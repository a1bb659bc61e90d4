#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QMap>
#include <QMutex>
#include <QStringList>
#include <QVariantMap>

namespace vantor::test {

// A drive with one file system on it, as UDisks2 describes them.
struct FakeCard {
    QString name; // names both objects: block_devices/<name>, drives/<name>
    QString label;
    qint64 size = 0;
    QString mountPoint; // empty: not mounted
    bool removable = true;
    bool canPowerOff = true;
};

// UDisks2 served by the test itself on a private bus: its object manager, and the Block,
// Filesystem and Drive objects of the cards added. Unmount and PowerOff are recorded in order;
// a successful Unmount empties the mount points first, as UDisks2 does.
class FakeUDisks : public QDBusVirtualObject {
public:
    explicit FakeUDisks(const QString &busAddress);
    ~FakeUDisks() override;

    static QString blockPath(const QString &name);
    static QString drivePath(const QString &name);
    // `announce` sends InterfacesAdded, as when a card arrives while the program runs.
    void add(const FakeCard &card, bool announce = true);
    void remove(const QString &name);                                   // InterfacesRemoved
    void setMountPoint(const QString &name, const QString &mountPoint); // PropertiesChanged
    // The next call of `method` fails with UDisks2's error and this message.
    void failNext(const QString &method, const QString &message);
    // "Unmount <block path>", "PowerOff <drive path>", in the order they came.
    QStringList calls() const;

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    void emitSignal(const QString &path, const QString &interface, const QString &name, const QVariantList &arguments);

    QString m_connectionName;
    QDBusConnection m_bus;
    mutable QMutex m_mutex; // messages may be handled on QtDBus's own thread
    QMap<QString, QMap<QString, QVariantMap>> m_objects;
    QMap<QString, QString> m_failures;
    QStringList m_calls;
};

} // namespace vantor::test
