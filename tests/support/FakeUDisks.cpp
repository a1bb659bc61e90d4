#include "FakeUDisks.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QFile>
#include <atomic>

namespace vantor::test {

namespace {

const QString managerPath = QStringLiteral("/org/freedesktop/UDisks2");
const QString objectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
const QString blockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString filesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");
const QString driveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");

using Interfaces = QMap<QString, QVariantMap>;
using ManagedObjects = QMap<QDBusObjectPath, Interfaces>;

// UDisks2 sends mount points as NUL-terminated byte strings.
QVariant mountPoints(const QString &mountPoint)
{
    QByteArrayList points;
    if (!mountPoint.isEmpty())
        points << QFile::encodeName(mountPoint) + '\0';
    return QVariant::fromValue(points);
}

} // namespace

namespace {

QString nextConnectionName()
{
    static std::atomic<int> next{0};
    return QStringLiteral("fake-udisks-%1").arg(next++);
}

} // namespace

FakeUDisks::FakeUDisks(const QString &busAddress)
    : m_connectionName(nextConnectionName()), m_bus(QDBusConnection::connectToBus(busAddress, m_connectionName))
{
    qDBusRegisterMetaType<QByteArrayList>();
    qDBusRegisterMetaType<Interfaces>();
    qDBusRegisterMetaType<ManagedObjects>();
    m_bus.registerVirtualObject(managerPath, this, QDBusConnection::SubPath);
    m_bus.registerService(QStringLiteral("org.freedesktop.UDisks2"));
}

FakeUDisks::~FakeUDisks()
{
    m_bus.unregisterService(QStringLiteral("org.freedesktop.UDisks2"));
    m_bus.unregisterObject(managerPath, QDBusConnection::UnregisterTree);
    QDBusConnection::disconnectFromBus(m_connectionName);
}

QString FakeUDisks::blockPath(const QString &name) { return managerPath + QStringLiteral("/block_devices/") + name; }
QString FakeUDisks::drivePath(const QString &name) { return managerPath + QStringLiteral("/drives/") + name; }

void FakeUDisks::add(const FakeCard &card, bool announce)
{
    const Interfaces drive{{driveInterface,
                            {{QStringLiteral("Removable"), card.removable},
                             {QStringLiteral("Ejectable"), card.removable},
                             {QStringLiteral("CanPowerOff"), card.canPowerOff}}}};
    const Interfaces block{{blockInterface,
                            {{QStringLiteral("IdLabel"), card.label},
                             {QStringLiteral("Size"), quint64(card.size)},
                             {QStringLiteral("Drive"), QVariant::fromValue(QDBusObjectPath(drivePath(card.name)))}}},
                           {filesystemInterface, {{QStringLiteral("MountPoints"), mountPoints(card.mountPoint)}}}};
    {
        const QMutexLocker lock(&m_mutex);
        m_objects.insert(drivePath(card.name), drive);
        m_objects.insert(blockPath(card.name), block);
    }
    if (!announce)
        return;
    for (const auto &[path, interfaces] : {std::pair(drivePath(card.name), drive), std::pair(blockPath(card.name), block)})
        emitSignal(managerPath, objectManager, QStringLiteral("InterfacesAdded"),
                   {QVariant::fromValue(QDBusObjectPath(path)), QVariant::fromValue(interfaces)});
}

void FakeUDisks::remove(const QString &name)
{
    for (const QString &path : {blockPath(name), drivePath(name)}) {
        QStringList interfaces;
        {
            const QMutexLocker lock(&m_mutex);
            interfaces = m_objects.take(path).keys();
        }
        emitSignal(managerPath, objectManager, QStringLiteral("InterfacesRemoved"),
                   {QVariant::fromValue(QDBusObjectPath(path)), interfaces});
    }
}

void FakeUDisks::setMountPoint(const QString &name, const QString &mountPoint)
{
    {
        const QMutexLocker lock(&m_mutex);
        m_objects[blockPath(name)][filesystemInterface].insert(QStringLiteral("MountPoints"), mountPoints(mountPoint));
    }
    emitSignal(blockPath(name), QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"),
               {filesystemInterface, QVariantMap{{QStringLiteral("MountPoints"), mountPoints(mountPoint)}}, QStringList()});
}

void FakeUDisks::failNext(const QString &method, const QString &message)
{
    const QMutexLocker lock(&m_mutex);
    m_failures.insert(method, message);
}

QStringList FakeUDisks::calls() const
{
    const QMutexLocker lock(&m_mutex);
    return m_calls;
}

QString FakeUDisks::introspect(const QString &) const { return {}; }

bool FakeUDisks::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString member = message.member();
    if (message.interface() == objectManager && member == QLatin1String("GetManagedObjects")) {
        ManagedObjects objects;
        {
            const QMutexLocker lock(&m_mutex);
            for (auto object = m_objects.cbegin(); object != m_objects.cend(); ++object)
                objects.insert(QDBusObjectPath(object.key()), object.value());
        }
        connection.send(message.createReply(QVariant::fromValue(objects)));
        return true;
    }
    const bool unmount = message.interface() == filesystemInterface && member == QLatin1String("Unmount");
    const bool powerOff = message.interface() == driveInterface && member == QLatin1String("PowerOff");
    if (!unmount && !powerOff)
        return false;
    if (message.signature() != QLatin1String("a{sv}")) {
        connection.send(message.createErrorReply(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                                                 QStringLiteral("Expected the options a{sv}")));
        return true;
    }
    QString failure;
    {
        const QMutexLocker lock(&m_mutex);
        m_calls << member + u' ' + message.path();
        failure = m_failures.take(member);
    }
    if (!failure.isEmpty()) {
        connection.send(message.createErrorReply(QStringLiteral("org.freedesktop.UDisks2.Error.Failed"), failure));
        return true;
    }
    if (unmount)
        setMountPoint(message.path().section(u'/', -1), QString());
    connection.send(message.createReply());
    return true;
}

void FakeUDisks::emitSignal(const QString &path, const QString &interface, const QString &name,
                            const QVariantList &arguments)
{
    QDBusMessage signal = QDBusMessage::createSignal(path, interface, name);
    signal.setArguments(arguments);
    m_bus.send(signal);
}

} // namespace vantor::test
