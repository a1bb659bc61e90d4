#pragma once

#include "platform/RemovableVolume.h"

#include <QDBusConnection>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QVariantMap>
#include <functional>
#include <optional>
#include <vector>

class QDBusMessage;
class QDBusObjectPath;

namespace vantor {

// Mounted removable volumes as UDisks2 reports them on the system bus, kept current from its
// object manager's signals once start()ed (only the window does: a command never wakes UDisks2),
// and their eject (unmount, then power off where the drive can). The bus is
// VANTOR_SYSTEM_BUS_ADDRESS, else DBUS_SYSTEM_BUS_ADDRESS, else the system bus. Without a bus or
// without UDisks2 the list stays empty and nothing is reported. Every bus call is asynchronous:
// a slow or stuck drive never holds the main thread.
class RemovableVolumes : public QObject {
    Q_OBJECT
public:
    using Interfaces = QMap<QString, QVariantMap>; // interface -> property -> value

    explicit RemovableVolumes(QObject *parent = nullptr);
    ~RemovableVolumes() override;
    void start();

    bool connectedToSystem() const { return m_bus.isConnected(); }
    // Ordered by mount point.
    const std::vector<RemovableVolume> &volumes() const { return m_volumes; }
    // The volume whose mount point holds `path` (or is it).
    std::optional<RemovableVolume> containing(const QString &path) const;
    bool ejecting(const RemovableVolume &volume) const { return m_ejecting.contains(volume.objectPath); }

    // Unmounts the volume, then powers its drive off where it can. Ends in ejected() or
    // ejectFailed(); a second request while one runs is ignored.
    void eject(const RemovableVolume &volume);

Q_SIGNALS:
    void volumeMounted(const RemovableVolume &volume);
    void volumeRemoved(const RemovableVolume &volume);
    void ejectingChanged(const RemovableVolume &volume);
    void ejected(const RemovableVolume &volume);
    // `message` is a whole sentence: "“A001” could not be ejected: " and the reason.
    void ejectFailed(const RemovableVolume &volume, const QString &message);

private Q_SLOTS:
    // QtDBus delivers bus signals only to named slots.
    void handleInterfacesAdded(const QDBusObjectPath &path, const QMap<QString, QVariantMap> &interfaces);
    void handleInterfacesRemoved(const QDBusObjectPath &path, const QStringList &interfaces);
    void handlePropertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated,
                                 const QDBusMessage &message);
    void handleServiceGone();

private:
    void requestObjects();
    void update();
    std::optional<RemovableVolume> volumeAt(const QString &objectPath) const;
    void call(const QString &path, const QString &interface, const QString &method,
              const std::function<void(const QString &error)> &then);
    void finishEject(const RemovableVolume &volume, const std::optional<QString> &message);

    QString m_connectionName;
    QDBusConnection m_bus;
    QMap<QString, Interfaces> m_objects; // UDisks2's objects: path -> interfaces
    std::vector<RemovableVolume> m_volumes;
    QSet<QString> m_ejecting;
};

} // namespace vantor
