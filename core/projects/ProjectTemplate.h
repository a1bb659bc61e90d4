#pragma once

#include <QJsonObject>
#include <QStringList>
#include <QUuid>

namespace vantor {

// A named list of relative folder paths, in creation order; the paths may hold the tokens
// {PROJECT}, {CLIENT} and {DATE}.
struct ProjectTemplate {
    QUuid id;
    QString name;
    QStringList folders;

    QJsonObject toJson() const;
    static ProjectTemplate fromJson(const QJsonValue &value); // all three keys required
    bool operator==(const ProjectTemplate &) const = default;
};

} // namespace vantor
