#pragma once

#include <QString>

namespace vantor {

// A mounted file system on a drive the user can take away (a camera card, a shuttle drive), as
// UDisks2 describes it.
struct RemovableVolume {
    QString objectPath; // the block device's UDisks2 object: the volume's identity
    QString drivePath;  // the drive it is on
    QString label;      // the file system's label, else the mount folder's name
    qint64 size = 0;    // bytes
    QString mountPoint;
    bool canPowerOff = false;

    bool operator==(const RemovableVolume &) const = default;
};

} // namespace vantor
