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

    QJsonObject toJson() const;
    static ProjectContext fromJson(const QJsonValue &value); // all four keys required
    // The marker file's bytes: compact JSON with forward slashes escaped as "\/", the form other
    // Vantor installations write, so markers stay interchangeable.
    QByteArray markerData() const;
    bool operator==(const ProjectContext &) const = default;
};

} // namespace vantor
