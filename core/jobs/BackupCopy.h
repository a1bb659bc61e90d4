#pragma once

#include "files/FileGrant.h"
#include "jobs/PublishRecord.h"

#include <QString>
#include <optional>

namespace vantor {

// A destination a copy job owes besides its project copy: a folder on another drive that gets
// the same bytes from the same read of the source, and is verified and published on its own.
// A failure here fails this destination only; a retry copies only what is not committed yet.
struct BackupCopy {
    QString root;     // the backup folder the user chose
    FileGrant grant;  // covers `root`
    QString path;     // the copy's final name: the project copy's place, below `root`
    bool committed = false; // verified (when the job verifies) and published
    // Cascade: copied from the verified project copy once the card has its verdict, not from the card.
    bool deferred = false;
    std::optional<QString> hash;  // the committed copy's digest as read back from its device
    std::optional<QString> error; // why the last attempt at this destination failed
    std::optional<PublishRecord> publish; // saved just before the publish, as for the project copy

    static constexpr char typeName[] = "BackupCopy";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.folderUrl("root", self.root);
        v.record("grant", self.grant);
        v.fileUrl("path", self.path);
        v.boolean("committed", self.committed);
        v.boolean("deferred", self.deferred);
        v.string("hash", self.hash);
        v.string("error", self.error);
        v.record("publish", self.publish);
    }
};

} // namespace vantor
