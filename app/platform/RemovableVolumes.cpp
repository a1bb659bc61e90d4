#include "platform/RemovableVolumes.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <atomic>

namespace vantor {

namespace {

const QString service = QStringLiteral("org.freedesktop.UDisks2");
const QString managerPath = QStringLiteral("/org/freedesktop/UDisks2");
const QString objectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString blockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString filesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");
const QString driveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");
// An unmount first writes out what the system still holds for the card: give a slow one time.
constexpr int callTimeoutMs = 120000;

using ManagedObjects = QMap<QDBusObjectPath, QMap<QString, QVariantMap>>;

QDBusConnection connectBus(const QString &name)
{
    const QString address = qEnvironmentVariable("VANTOR_SYSTEM_BUS_ADDRESS");
    if (!address.isEmpty())
        return QDBusConnection::connectToBus(address, name);
    // libdbus itself honours DBUS_SYSTEM_BUS_ADDRESS.
    return QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
}

QString connectionName()
{
    static std::atomic<int> next{0};
    return QStringLiteral("vantor-volumes-%1").arg(next++);
}

// Properties as plain values: byte-string arrays (mount points) decoded, other compound values
// (which Vantor does not read) dropped, so nothing refers back to the message they came in.
QVariantMap plain(const QVariantMap &properties)
{
    QVariantMap values;
    for (auto property = properties.cbegin(); property != properties.cend(); ++property) {
        if (property.value().userType() != qMetaTypeId<QDBusArgument>()) {
            values.insert(property.key(), property.value());
            continue;
        }
        const QDBusArgument argument = property.value().value<QDBusArgument>();
        if (argument.currentSignature() == QLatin1String("aay"))
            values.insert(property.key(), QVariant::fromValue(qdbus_cast<QByteArrayList>(argument)));
    }
    return values;
}

QString mountPointOf(const QVariantMap &filesystem)
{
    const QByteArrayList points = filesystem.value(QStringLiteral("MountPoints")).value<QByteArrayList>();
    if (points.isEmpty())
        return {};
    QByteArray point = points.first();
    while (point.endsWith('\0'))
        point.chop(1);
    return point.isEmpty() ? QString() : QDir::cleanPath(QFile::decodeName(point));
}

QString sentence(QString text)
{
    text = text.trimmed();
    if (!text.endsWith(u'.'))
        text += u'.';
    return text;
}

QString quoted(const RemovableVolume &volume)
{
    return QStringLiteral("\u201C") + volume.label + QStringLiteral("\u201D");
}

} // namespace

RemovableVolumes::RemovableVolumes(QObject *parent)
    : QObject(parent), m_connectionName(connectionName()), m_bus(m_connectionName)
{
}

void RemovableVolumes::start()
{
    if (m_bus.isConnected())
        return;
    m_bus = connectBus(m_connectionName);
    if (!m_bus.isConnected())
        return;
    qDBusRegisterMetaType<QMap<QString, QVariantMap>>();
    qDBusRegisterMetaType<ManagedObjects>();
    m_bus.connect(service, managerPath, objectManager, QStringLiteral("InterfacesAdded"), this,
                  SLOT(handleInterfacesAdded(QDBusObjectPath, QMap<QString, QVariantMap>)));
    m_bus.connect(service, managerPath, objectManager, QStringLiteral("InterfacesRemoved"), this,
                  SLOT(handleInterfacesRemoved(QDBusObjectPath, QStringList)));
    // Every object's changes: an empty path matches them all.
    m_bus.connect(service, QString(), propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                  SLOT(handlePropertiesChanged(QString, QVariantMap, QStringList, QDBusMessage)));
    auto *watcher = new QDBusServiceWatcher(service, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &RemovableVolumes::requestObjects);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &RemovableVolumes::handleServiceGone);
    requestObjects();
}

RemovableVolumes::~RemovableVolumes()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

std::optional<RemovableVolume> RemovableVolumes::containing(const QString &path) const
{
    const QString clean = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    std::optional<RemovableVolume> found;
    for (const RemovableVolume &volume : m_volumes) {
        const bool inside = clean == volume.mountPoint || clean.startsWith(volume.mountPoint + u'/');
        if (inside && (!found || volume.mountPoint.size() > found->mountPoint.size()))
            found = volume;
    }
    return found;
}

std::optional<RemovableVolume> RemovableVolumes::volumeAt(const QString &objectPath) const
{
    for (const RemovableVolume &volume : m_volumes) {
        if (volume.objectPath == objectPath)
            return volume;
    }
    return std::nullopt;
}

// ---- Following UDisks2

void RemovableVolumes::requestObjects()
{
    const QDBusMessage request =
        QDBusMessage::createMethodCall(service, managerPath, objectManager, QStringLiteral("GetManagedObjects"));
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(request, callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusMessage reply = call->reply();
        // No UDisks2 on this bus: the list stays empty, and nothing is said.
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return;
        // The answer holds every signal sent before it, so it replaces what they built.
        const auto objects = qdbus_cast<ManagedObjects>(reply.arguments().first());
        m_objects.clear();
        for (auto object = objects.cbegin(); object != objects.cend(); ++object) {
            Interfaces &interfaces = m_objects[object.key().path()];
            for (auto interface = object.value().cbegin(); interface != object.value().cend(); ++interface)
                interfaces.insert(interface.key(), plain(interface.value()));
        }
        update();
    });
}

void RemovableVolumes::handleInterfacesAdded(const QDBusObjectPath &path, const QMap<QString, QVariantMap> &interfaces)
{
    Interfaces &known = m_objects[path.path()];
    for (auto interface = interfaces.cbegin(); interface != interfaces.cend(); ++interface)
        known.insert(interface.key(), plain(interface.value()));
    update();
}

void RemovableVolumes::handleInterfacesRemoved(const QDBusObjectPath &path, const QStringList &interfaces)
{
    auto object = m_objects.find(path.path());
    if (object == m_objects.end())
        return;
    for (const QString &interface : interfaces)
        object->remove(interface);
    if (object->isEmpty())
        m_objects.erase(object);
    update();
}

void RemovableVolumes::handlePropertiesChanged(const QString &interface, const QVariantMap &changed,
                                               const QStringList &invalidated, const QDBusMessage &message)
{
    auto object = m_objects.find(message.path());
    // An object not yet announced arrives whole with InterfacesAdded or the initial answer.
    if (object == m_objects.end() || !object->contains(interface))
        return;
    const QVariantMap values = plain(changed);
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        (*object)[interface].insert(value.key(), value.value());
    if (!invalidated.isEmpty()) {
        requestObjects(); // their new values come only on request
        return;
    }
    update();
}

void RemovableVolumes::handleServiceGone()
{
    m_objects.clear();
    update();
}

// A mounted file system whose drive the user can remove.
void RemovableVolumes::update()
{
    std::vector<RemovableVolume> now;
    for (auto object = m_objects.cbegin(); object != m_objects.cend(); ++object) {
        const QVariantMap block = object->value(blockInterface);
        const QString mountPoint = mountPointOf(object->value(filesystemInterface));
        if (block.isEmpty() || mountPoint.isEmpty())
            continue;
        const QString drivePath = block.value(QStringLiteral("Drive")).value<QDBusObjectPath>().path();
        const QVariantMap drive = m_objects.value(drivePath).value(driveInterface);
        if (!drive.value(QStringLiteral("Removable")).toBool())
            continue;
        RemovableVolume volume;
        volume.objectPath = object.key();
        volume.drivePath = drivePath;
        volume.mountPoint = mountPoint;
        volume.label = block.value(QStringLiteral("IdLabel")).toString();
        if (volume.label.isEmpty())
            volume.label = QFileInfo(mountPoint).fileName();
        volume.size = block.value(QStringLiteral("Size")).toLongLong();
        volume.canPowerOff = drive.value(QStringLiteral("CanPowerOff")).toBool();
        now.push_back(volume);
    }
    std::sort(now.begin(), now.end(), [](const RemovableVolume &a, const RemovableVolume &b) {
        return a.mountPoint < b.mountPoint;
    });
    const std::vector<RemovableVolume> before = std::exchange(m_volumes, now);
    for (const RemovableVolume &volume : before) {
        if (std::find(m_volumes.begin(), m_volumes.end(), volume) == m_volumes.end())
            Q_EMIT volumeRemoved(volume);
    }
    for (const RemovableVolume &volume : m_volumes) {
        if (std::find(before.begin(), before.end(), volume) == before.end())
            Q_EMIT volumeMounted(volume);
    }
}

// ---- Eject

void RemovableVolumes::eject(const RemovableVolume &requested)
{
    if (m_ejecting.contains(requested.objectPath))
        return;
    const std::optional<RemovableVolume> volume = volumeAt(requested.objectPath);
    if (!volume) {
        Q_EMIT ejectFailed(requested, quoted(requested) + QStringLiteral(" could not be ejected: it is no longer mounted."));
        return;
    }
    m_ejecting.insert(volume->objectPath);
    Q_EMIT ejectingChanged(*volume);
    call(volume->objectPath, filesystemInterface, QStringLiteral("Unmount"), [this, volume = *volume](const QString &error) {
        if (!error.isEmpty()) {
            finishEject(volume, quoted(volume) + QStringLiteral(" could not be ejected: ") + error);
            return;
        }
        // A drive stays on while another of its file systems is mounted.
        const bool shared = std::any_of(m_volumes.begin(), m_volumes.end(), [&](const RemovableVolume &other) {
            return other.drivePath == volume.drivePath && other.objectPath != volume.objectPath;
        });
        if (!volume.canPowerOff || shared) {
            finishEject(volume, std::nullopt);
            return;
        }
        call(volume.drivePath, driveInterface, QStringLiteral("PowerOff"), [this, volume](const QString &error) {
            finishEject(volume, error.isEmpty() ? std::nullopt
                                                : std::optional(quoted(volume) + QStringLiteral(
                                                      " was unmounted but could not be powered off: ") + error));
        });
    });
}

void RemovableVolumes::call(const QString &path, const QString &interface, const QString &method,
                            const std::function<void(const QString &error)> &then)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message << QVariantMap(); // no options
    // The system may ask the user to authorise it.
    message.setInteractiveAuthorizationAllowed(true);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [then](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        if (!done->isError()) {
            then(QString());
            return;
        }
        const QDBusError error = done->error();
        then(sentence(error.message().isEmpty() ? error.name() : error.message()));
    });
}

void RemovableVolumes::finishEject(const RemovableVolume &volume, const std::optional<QString> &message)
{
    m_ejecting.remove(volume.objectPath);
    Q_EMIT ejectingChanged(volume);
    if (message)
        Q_EMIT ejectFailed(volume, *message);
    else
        Q_EMIT ejected(volume);
}

} // namespace vantor
