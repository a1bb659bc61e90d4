#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace vantor {

// The open project: also the content of the "Project.vantor" marker in its folder.
struct ProjectContext {
    QString name; // trimmed; also the project folder's name
    QString client; // as typed, may be empty
    QString date; // normally yyyy-MM-dd
    QString root; // absolute path of the project folder; a folder URL ending in "/" in JSON

    static constexpr char typeName[] = "ProjectContext";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.string("name", self.name);
        v.string("client", self.client);
        v.string("date", self.date);
        v.folderUrl("root", self.root);
    }
    static ProjectContext fromJson(const QJsonValue &value); // strict; throws DecodingError
    // The marker file's bytes: compact JSON with forward slashes escaped as "\/", the form other
    // Vantor installations write, so markers stay interchangeable.
    QByteArray markerData() const;
    bool operator==(const ProjectContext &) const = default;
};

} // namespace vantor
