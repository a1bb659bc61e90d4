#pragma once

#include "files/FileGrant.h"
#include "base/Timestamp.h"
#include "presets/TranscodePreset.h"

#include <QJsonObject>
#include <QMap>
#include <QUuid>

namespace vantor {

// A folder-automation rule: a watched folder, where its transcodes go, the preset they use, and
// the version of every file it has already queued.
struct WatchFolder {
    QUuid id;
    FileGrant source;
    FileGrant destination;
    TranscodePreset preset;
    bool enabled = false;
    QMap<QString, QString> seen; // file path -> version signature

    // A new rule: fresh id, disabled, nothing seen yet.
    static WatchFolder make(
        const FileGrant &source, const FileGrant &destination, const TranscodePreset &preset);

    // "734003200:1731690000.123456": the size, a colon, and the modification time in seconds
    // since 1970 as the shortest decimal text that reads back to the same double (".0" after a
    // whole number). Equal texts mean the same version.
    static QString versionSignature(qint64 size, Timestamp modified);

    static constexpr char typeName[] = "WatchFolder";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.uuid("id", self.id);
        v.record("source", self.source);
        v.record("destination", self.destination);
        v.record("preset", self.preset);
        v.boolean("enabled", self.enabled);
        v.stringMap("seen", self.seen);
    }
    QJsonObject toJson() const;
    bool operator==(const WatchFolder &) const = default;
};

} // namespace vantor
