#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace vantor {

// The persisted permission to use a picked file or folder. Linux has no security-scoped
// bookmarks: a grant is its path, and a bookmark read from a state file is carried unchanged so
// state files stay interchangeable.
struct FileGrant {
    QString path;
    std::optional<QByteArray> bookmark;

    FileGrant() = default;
    explicit FileGrant(const QString &pickedPath) : path(pickedPath) {}

    QString resolve() const { return path; }

    static constexpr char typeName[] = "FileGrant";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.string("path", self.path);
        v.base64("bookmark", self.bookmark);
    }
    bool operator==(const FileGrant &) const = default;
};

} // namespace vantor
