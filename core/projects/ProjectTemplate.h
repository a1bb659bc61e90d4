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

    static constexpr char typeName[] = "ProjectTemplate";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.uuid("id", self.id);
        v.string("name", self.name);
        v.strings("folders", self.folders);
    }
    QJsonObject toJson() const;
    static ProjectTemplate fromJson(const QJsonValue &value); // strict; throws DecodingError
    bool operator==(const ProjectTemplate &) const = default;
};

} // namespace vantor
